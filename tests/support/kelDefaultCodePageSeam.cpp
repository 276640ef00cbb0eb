#include "support/kelDefaultCodePageSeam.hpp"

#include <unicode/ucnv.h>

#include <utility>

namespace {

const char* defaultName = "UTF-8";

}  // namespace

// Found before ICU's own.
extern "C" const char* ucnv_getDefaultName(void) {
  return defaultName;
}

namespace tarvo::test {

DefaultCodePage::DefaultCodePage(const char* name) : former_(std::exchange(defaultName, name)) {}

DefaultCodePage::~DefaultCodePage() {
  defaultName = former_;
}

}  // namespace tarvo::test
