// Objects of the types whose description is not in the library's debug information.

#include "infra/oss/kelDefaultAlternateBuffer.hpp"
#include "infra/oss/kelSizeableBuffer.hpp"

#include <unicode/unistr.h>

tarvo::oss::SizeableBuffer<int, 2> sizeable;
tarvo::oss::DefaultAlternateBuffer<char> heap;
icu::UnicodeString text;

int main() {
  return text.length();
}
