#pragma once

#include "infra/kelExport.hpp"

#include <unicode/unistr.h>

#include <cstddef>
#include <cstdint>

namespace tarvo::oss {

class StrictStream;

/// Converts one stream of bytes from one code page to another, and stops at every byte or character that
/// cannot be converted. `Converter`, in contrast, writes a substitute for such a byte or character.
///
///     StrictConverter stream("UTF-8", "ISO-8859-1");
///     const char* source = "Gr\xC3\xBC\xC3\x9F\n5 \xE2\x82\xAC";
///     const char* const end = source + 12;
///     char latin[64];
///     char* target = latin;
///     stream.convert(source, end, target, latin + 64, true) == StrictConverter::FAULT;   // -> true
///     stream.fault().kind == StrictConverter::Fault::UNMAPPABLE;                         // -> true
///     const std::uint64_t offset = stream.fault().offset;                                // -> 9
///     const std::uint64_t line = stream.fault().line;                                    // -> 2
///     const std::string before(latin, target);   // before.size() -> 7
///
/// A code page is given by the name of an ICU converter, NUL-terminated; null and "" mean ICU's default
/// converter. Every code page of ICU can be used, also a code page whose bytes depend on the bytes before
/// them (ISO-2022-JP, UTF-7, SCSU) or that uses byte order marks (UTF-16). If both names are equal, the bytes
/// are checked and converted, too. If ICU does not remove byte order marks for a source code page, such as
/// UTF-8, a byte order mark is converted as the character U+FEFF.
///
/// The caller gives the source and the target in pieces, called windows. A window may have any size, down to
/// one byte. The sizes of the windows change neither the converted bytes nor the faults and their places. A
/// source window and a target window must not overlap.
///
/// Threads: only one thread at a time may use an object. Memory: the constructor allocates about 50 KiB. A
/// conversion from bytes to bytes may allocate further memory to be faster; if this allocation fails, the
/// conversion is slower, but does not fail.
class KELINFRA_API StrictConverter {
 public:
  enum Status {
    INPUT_EMPTY,  ///< all of the source window is read; after the last window, the stream is complete
    OUTPUT_FULL,  ///< the target window is full: call again with another target window
    FAULT         ///< `fault` describes a fault: call again to skip the fault and to continue
  };

  /// Bytes or a character of the source that cannot be converted.
  struct Fault {
    enum Kind {
      ILLEGAL,    ///< bytes that have no meaning in the source code page, or half of a surrogate pair
      TRUNCATED,  ///< the stream ends inside a character
      UNMAPPABLE  ///< the target code page does not contain the character
    };
    Kind kind;
    std::uint64_t offset;    ///< the number of bytes of the stream before the fault
    std::uint64_t line;      ///< the number of line feeds (U+000A) before the fault, plus 1
    std::uint64_t column;    ///< the number of code points before the fault in its line, plus 1. An earlier
                             ///< fault counts as one code point
    std::int32_t length;     ///< the number of valid elements of `bytes`; 0 if the fault is a character
    char bytes[8];           ///< the bytes that have no meaning or are an incomplete character
    std::int32_t character;  ///< the code point of an UNMAPPABLE character or of half of a surrogate pair;
                             ///< -1 if the fault is in `bytes`
  };

  ///   raises   NLSException ERR_CONV_CONVERSION_ERROR (to, from): ICU does not know a code page. The
  ///            arguments are the given names; the name of ICU's default converter replaces null and ""
  ///            std::bad_alloc: no memory
  StrictConverter(const char* fromCodePage, const char* toCodePage);
  StrictConverter(const StrictConverter& other) = delete;
  StrictConverter& operator=(const StrictConverter& other) = delete;
  ~StrictConverter();

  /// Converts as much of the source window as possible. `convert` moves `source` to the first byte that it
  /// has not read, and `target` to the end of the converted bytes. The bytes between `target` and `targetEnd`
  /// may have been overwritten.
  ///
  ///   last      true if no bytes follow this source window. Pass true again in each call until the result is
  ///             INPUT_EMPTY. Then the stream is complete, and further calls do nothing
  ///   returns   INPUT_EMPTY, OUTPUT_FULL or FAULT. If the result is FAULT, everything before the fault has
  ///             been written, and nothing else. `source` is then at the end of the fault or after it
  Status convert(const char*& source, const char* sourceEnd, char*& target, char* targetEnd, bool last);

  /// Converts bytes as the overload above does, and appends the Unicode text to `target`. The target code
  /// page must be `unicode()`. Never returns OUTPUT_FULL.
  ///   raises   NLSException ERR_CONV_CONVERSION_ERROR (to, from): the target code page is another one
  ///            std::bad_alloc: no memory. `target` is then bogus, and its text is lost
  Status convert(const char*& source, const char* sourceEnd, icu::UnicodeString& target, bool last);

  /// Converts the units of `source` from the index `start` on, and moves `start` to the first unit that was
  /// not read. The source code page must be `unicode()`. In `Fault::offset`, each unit counts as two bytes.
  ///   raises   NLSException ERR_CONV_CONVERSION_ERROR (to, from): the source code page is another one
  Status convert(const icu::UnicodeString& source, std::int32_t& start, char*& target, char* targetEnd,
                 bool last);

  /// Describes the fault at which the last call of `convert` stopped. The reference is valid until the next
  /// call of `convert`.
  const Fault& fault() const KELINFRA_LIFETIMEBOUND;

  /// Call `replaceFault` after `convert` has returned FAULT. The next call of `convert` then writes
  /// `character` in place of the fault. If the target code page does not contain `character`, the next call
  /// of `convert` returns FAULT again, with the offset, line and column of the replaced fault.
  void replaceFault(std::int32_t character);

  /// Returns the name of the code page of icu::UnicodeString: UTF-16 in the byte order of this machine,
  /// without byte order marks.
  static const char* unicode();

  /// Returns the offset of the first malformed sequence of a UTF-8 text, or `length` if the text is
  /// well-formed. A character that is incomplete at the end is malformed. `bytes` may be null if the length
  /// is 0.
  static std::size_t findMalformed(const char* bytes, std::size_t length);

 private:
  StrictStream* stream_;
};

}  // namespace tarvo::oss
