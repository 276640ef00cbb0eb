#pragma once

namespace tarvo::test {

/// ICU names another default converter until the end of the scope, as it can on systems whose code page is a
/// setting. Only in programs linked with the library's objects; ICU itself keeps to its own.
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
