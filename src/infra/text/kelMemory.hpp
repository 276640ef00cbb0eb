#pragma once

#include <unicode/unistr.h>

#include <new>

/// If ICU has no memory for a string, it raises nothing and makes the string bogus. The functions in this
/// file throw std::bad_alloc instead, so that the failure is not lost.
namespace tarvo::text {

/// Returns a string that was made from a valid text; throws if the string is bogus.
inline icu::UnicodeString made(icu::UnicodeString text) {
  if (text.isBogus()) throw std::bad_alloc();
  return text;
}

/// Returns a copy of `text`; the copy of a bogus string is bogus. The copy owns its units, so copying the
/// copy allocates nothing.
inline icu::UnicodeString copied(const icu::UnicodeString& text) {
  icu::UnicodeString copy(text);
  if (copy.isBogus() && !text.isBogus()) throw std::bad_alloc();
  return copy;
}

/// Returns whether the text's buffer is open: the caller has called `getBuffer(minCapacity)` and not yet
/// `releaseBuffer`. Most changes of a text whose buffer is open have no effect, but an assignment would
/// release the buffer.
inline bool isHeldOpen(const icu::UnicodeString& text) {
  return text.getBuffer() == nullptr && !text.isBogus();
}

}  // namespace tarvo::text
