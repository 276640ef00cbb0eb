#pragma once

#include <unicode/unistr.h>

#include <new>

/// ICU raises nothing: a string that there was no memory for is bogus. The functions here throw
/// std::bad_alloc instead, so that the failure is not lost.
namespace tarvo::oss {

/// A string just made of a valid text.
inline icu::UnicodeString made(icu::UnicodeString text) {
  if (text.isBogus()) throw std::bad_alloc();
  return text;
}

/// A copy, bogus if the string given is. It owns its text, so that copies of the copy take no memory.
inline icu::UnicodeString copied(const icu::UnicodeString& text) {
  icu::UnicodeString copy(text);
  if (copy.isBogus() && !text.isBogus()) throw std::bad_alloc();
  return copy;
}

/// Whether a caller holds the text's buffer open, by its `getBuffer(minCapacity)`. Most changes to such a
/// text have no effect, but an assignment would release the buffer.
inline bool isHeldOpen(const icu::UnicodeString& text) {
  return text.getBuffer() == nullptr && !text.isBogus();
}

}  // namespace tarvo::oss
