#pragma once

#include <functional>
#include <string>
#include <vector>

namespace tarvo::test {

/// While an object of this class exists, it records the socket calls of its thread and can make them fail. A
/// thread may have at most one object.
class SystemCalls {
 public:
  SystemCalls();
  SystemCalls(const SystemCalls&) = delete;
  SystemCalls& operator=(const SystemCalls&) = delete;
  ~SystemCalls();

  /// The calls since the last `take`, separated by blanks. Calls that set or get an option include its name:
  /// "setsockopt(NODELAY)".
  std::string take();
  /// Makes every call of that name fail with the errno value `error`; the system call is not made.
  void refuse(const std::string& call, int error);
  /// Runs `action` before or after each call of that name.
  void before(const std::string& call, std::function<void()> action);
  void after(const std::string& call, std::function<void()> action);

  struct Rule {
    std::string call;
    int error;
    std::function<void()> before;
    std::function<void()> after;
  };
  /// For the wrappers: records a call. Returns the errno value with which the call must fail, or 0.
  int record(const std::string& call);
  void finish(const std::string& call) const;

 private:
  std::string calls_;
  std::vector<Rule> rules_;
};

}  // namespace tarvo::test
