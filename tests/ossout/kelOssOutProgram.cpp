#include "infra/oss/kelPrintStream.hpp"

#include "kelOssOutLibrary.hpp"

#include <cstdlib>

namespace {

using tarvo::oss::ossOut;

void atExit(void (*handler)()) {
  if (std::atexit(handler) != 0) ossOut << "the handler is not registered\n";
}

/// Prints before main and after it. The handler that its constructor registers runs after its destructor.
struct Program {
  Program() {
    ossOut << "program starts " << 2U << '\n';
    atExit([] { ossOut << "early handler " << 6.5 << '\n'; });
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;
  ~Program() { ossOut << "program ends " << 5L << '\n'; }
};

const Program program;

}  // namespace

int main() {
  ossOut << "main " << threeOfTheLibrary() << '\n';
  atExit([] { ossOut << "late handler " << 4ULL << '\n'; });
  return 0;
}
