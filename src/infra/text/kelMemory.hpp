#pragma once

#include <unicode/unistr.h>

#include <new>

/// ICU raises nothing: a string that there was no memory for is bogus. The functions here throw
/// std::bad_alloc instead, so that the failure is not lost.
namespace tarvo::text {

/// Checks a string that was just made from a valid text.
inline icu::UnicodeString made(icu::UnicodeString text) {
  if (text.isBogus()) throw std::bad_alloc();
  return text;
}

/// A copy, which is bogus if `text` is. It owns its text, so copying the copy takes no memory.
inline icu::UnicodeString copied(const icu::UnicodeString& text) {
  icu::UnicodeString copy(text);
  if (copy.isBogus() && !text.isBogus()) throw std::bad_alloc();
  return copy;
}

/// Whether the caller holds the text's buffer open (`getBuffer(minCapacity)`). Most changes of such a text
/// have no effect, but an assignment would release the buffer.
inline bool isHeldOpen(const icu::UnicodeString& text) {
  return text.getBuffer() == nullptr && !text.isBogus();
}

}  // namespace tarvo::text
