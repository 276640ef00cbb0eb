#include "kelOssOutLibrary.hpp"

#include "infra/oss/kelPrintStream.hpp"

namespace {

/// Prints while its library is loaded and while it is finished.
struct LoadTime {
  LoadTime() { tarvo::oss::ossOut << "library starts " << 1 << '\n'; }
  LoadTime(const LoadTime&) = delete;
  LoadTime& operator=(const LoadTime&) = delete;
  ~LoadTime() { tarvo::oss::ossOut << "library ends " << 7 << '\n'; }
};

const LoadTime loadTime;

}  // namespace

int threeOfTheLibrary() {
  return 3;
}
