#pragma once

namespace tarvo::test {

/// Until the end of the scope, the C runtime formats numbers with a decimal comma, in the whole process or
/// only in the calling thread. It sets a German locale. Throws std::runtime_error if the system cannot
/// provide that locale, so the test fails.
class CommaLocale {
 public:
  enum class For { process, thread };

  explicit CommaLocale(For whom);
  CommaLocale(const CommaLocale&) = delete;
  CommaLocale& operator=(const CommaLocale&) = delete;
  ~CommaLocale();

 private:
  For whom_;
  void* former_;
};

}  // namespace tarvo::test
