#pragma once

#include "infra/kelExport.hpp"

#include <unicode/unistr.h>

#include <cstddef>
#include <cstdint>

namespace tarvo::oss {

class StrictStream;

/// Converts one stream of bytes between code pages, and stops at every byte or character that would be lost.
/// `Converter` writes a substitute for these and does not stop.
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
/// Code pages are ICU converter names, NUL-terminated; null and "" are ICU's default converter. All of ICU's
/// code pages can be used, also those with states (ISO-2022-JP, UTF-7, SCSU) and those with byte order marks
/// (UTF-16). Bytes are checked and converted also if both names are equal. A byte order mark that the source
/// code page does not consume is a character: in UTF-8 it is U+FEFF.
///
/// The source and the target are given in windows of any size, down to one byte. The converted bytes, the
/// faults and their places are the same for all sizes. The windows must not overlap.
///
/// Threads: one at a time for each object. Memory: about 50 KiB for each object, allocated by the
/// constructor; `convert` between bytes allocates nothing that it needs.
class KELINFRA_API StrictConverter {
 public:
  enum Status {
    INPUT_EMPTY,  ///< the source window is used up; after the last window: the stream is complete
    OUTPUT_FULL,  ///< the target window is too small: call again with another one
    FAULT         ///< `fault` describes what cannot be converted: call again to skip it and to continue
  };

  /// A place in the source that cannot be converted.
  struct Fault {
    enum Kind {
      ILLEGAL,    ///< bytes that have no meaning in the source code page, or half of a surrogate pair
      TRUNCATED,  ///< the stream ends inside a character
      UNMAPPABLE  ///< the target code page does not contain the character
    };
    Kind kind;
    std::uint64_t offset;    ///< the number of bytes of the stream before the fault
    std::uint64_t line;      ///< from 1: the number of line feeds (U+000A) before the fault, plus 1
    std::uint64_t column;    ///< from 1: the number of code points since the last line feed, plus 1. A fault
                             ///< counts as one code point
    std::int32_t length;     ///< the number of `bytes`; 0 if `character` is the fault
    char bytes[8];           ///< the bytes that have no meaning or are incomplete
    std::int32_t character;  ///< the character that is not in the target, or half of a pair; otherwise -1
  };

  ///   raises   NLSException ERR_CONV_CONVERSION_ERROR (to, from): ICU does not know a code page. The
  ///            arguments are the given names; the name of ICU's default converter replaces null and ""
  ///            std::bad_alloc: no memory
  StrictConverter(const char* fromCodePage, const char* toCodePage);
  StrictConverter(const StrictConverter& other) = delete;
  StrictConverter& operator=(const StrictConverter& other) = delete;
  ~StrictConverter();

  /// Converts as much as possible. `source` and `target` move past what was read and written; the bytes of
  /// the target window after `target` may have been overwritten.
  ///
  ///   last      no bytes follow this window. Pass it again in each call until the result is INPUT_EMPTY. The
  ///             stream is complete then, and further calls do nothing
  ///   returns   after FAULT, everything before the fault has been written, and nothing of it or after it.
  ///             For a character, `source` is past the fault; for bytes, it may also be at their end
  Status convert(const char*& source, const char* sourceEnd, char*& target, char* targetEnd, bool last);

  /// Converts as above and appends the result to `target`. The target code page must be `unicode()`. Never
  /// returns OUTPUT_FULL.
  ///   raises   NLSException ERR_CONV_CONVERSION_ERROR (to, from): the target code page is another one
  ///            std::bad_alloc: no memory. As after ICU's own operations, `target` is then bogus,
  ///            and its text is lost
  Status convert(const char*& source, const char* sourceEnd, icu::UnicodeString& target, bool last);

  /// Converts `source` from its unit `start`, which moves past what was read. The source code page must be
  /// `unicode()`. In places, a unit counts as two bytes.
  ///   raises   NLSException ERR_CONV_CONVERSION_ERROR (to, from): the source code page is another one
  Status convert(const icu::UnicodeString& source, std::int32_t& start, char*& target, char* targetEnd,
                 bool last);

  /// The fault that the last call of `convert` returned, valid until the next call.
  const Fault& fault() const KELINFRA_LIFETIMEBOUND;

  /// After FAULT: writes this character in place of the fault when `convert` is called again. If the target
  /// code page does not contain it either, that call returns FAULT for it, at the same place.
  void replaceFault(std::int32_t character);

  /// The code page of ICU's strings: UTF-16 in the byte order of this machine, without byte order marks.
  static const char* unicode();

  /// Returns the offset of the first malformed sequence of a UTF-8 text, or `length` if the text is
  /// well-formed. A character that is incomplete at the end is malformed. `bytes` may be null if the length
  /// is 0.
  static std::size_t findMalformed(const char* bytes, std::size_t length);

 private:
  StrictStream* stream_;
};

}  // namespace tarvo::oss
