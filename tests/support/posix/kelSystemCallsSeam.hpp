#pragma once

#include <functional>
#include <string>
#include <vector>

namespace tarvo::test {

/// For its life, records the socket calls that this thread makes, and lets them fail. One object a thread.
class SystemCalls {
 public:
  SystemCalls();
  SystemCalls(const SystemCalls&) = delete;
  SystemCalls& operator=(const SystemCalls&) = delete;
  ~SystemCalls();

  /// The calls so far, separated by blanks, since the last `take`. Options carry their name:
  /// "setsockopt(NODELAY)".
  std::string take();
  /// Makes every call of that name fail with an errno value, without making it.
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
  /// For the wrappers: records a call. Returns the errno value with which it is to fail, or 0.
  int record(const std::string& call);
  void finish(const std::string& call) const;

 private:
  std::string calls_;
  std::vector<Rule> rules_;
};

}  // namespace tarvo::test
