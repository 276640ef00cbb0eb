#include "support/kelThreadEnd.hpp"

#include <utility>

namespace tarvo::test {
namespace {

struct Last {
  explicit Last(std::function<void()> what) : action(std::move(what)) {}
  Last(const Last&) = delete;
  Last& operator=(const Last&) = delete;
  ~Last() { action(); }

  std::function<void()> action;
};

}  // namespace

void atThreadEnd(std::function<void()> action) {
  static thread_local const Last last(std::move(action));
}

}  // namespace tarvo::test
