#include "support/kelDefaultCodePageSeam.hpp"

#include <unicode/ucnv.h>

#include <memory>
#include <string>
#include <utility>

namespace {

/// The name that ICU is to report; nullptr selects ICU's real default.
const char* defaultName = nullptr;

const char* icusOwn() {
  static const std::string name = [] {
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<UConverter, void (*)(UConverter*)> own(ucnv_open(nullptr, &status), &ucnv_close);
    return std::string(ucnv_getName(own.get(), &status));
  }();
  return name.c_str();
}

}  // namespace

// The linker resolves calls to this definition instead of ICU's.
extern "C" const char* ucnv_getDefaultName(void) {
  return defaultName == nullptr ? icusOwn() : defaultName;
}

namespace tarvo::test {

DefaultCodePage::DefaultCodePage(const char* name) : former_(std::exchange(defaultName, name)) {}

DefaultCodePage::~DefaultCodePage() {
  defaultName = former_;
}

}  // namespace tarvo::test
