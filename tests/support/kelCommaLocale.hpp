#pragma once

namespace tarvo::test {

/// Until the end of the scope the runtime's numbers have a decimal comma: for the whole process, or for the
/// calling thread alone. The locale is a real one. Raises std::runtime_error when it cannot be had: a test that
/// needs it fails then.
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
