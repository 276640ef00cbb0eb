#pragma once

namespace tarvo::test {

/// Until the end of the scope, ICU reports another default converter to the library and the tests, as on
/// systems where the code page is a setting. Works only in programs that are linked with the library's
/// objects. ICU's own functions still use the real default.
class DefaultCodePage {
 public:
  explicit DefaultCodePage(const char* name);
  DefaultCodePage(const DefaultCodePage&) = delete;
  DefaultCodePage& operator=(const DefaultCodePage&) = delete;
  ~DefaultCodePage();

 private:
  const char* former_;
};

}  // namespace tarvo::test
