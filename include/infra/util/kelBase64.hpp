#pragma once

#include "infra/kelExport.hpp"

#include <cstddef>

namespace tarvo::util {

/// Encodes bytes as Base64 text and decodes Base64 text, in the two alphabets of RFC 4648. The standard
/// alphabet ends in "+/". The safe alphabet, for URLs and file names, ends in "-_". Both alphabets use "=" as
/// padding.
///
///     const std::string bytes = "KELINFRA";
///     std::vector<unsigned short> text(Base64::encodeSize(bytes.size()));
///     Base64::encode(text.data(), text.size(), bytes.data(), bytes.size());      // -> 12
///
///     icu::UnicodeString document = u"S0VMSU5GUkE=";
///     std::string room(Base64::decodeSize(document.length()), '\0');
///     const auto* units = reinterpret_cast<const unsigned short*>(document.getTerminatedBuffer());
///     room.resize(Base64::decode(room.data(), room.size(), units, document.length())); // room -> "KELINFRA"
///
/// A text consists of UTF-16 code units; the data that it encodes consists of bytes. Sizes of text are
/// numbers of units, and sizes of data are numbers of bytes. The caller provides every buffer. A member
/// writes exactly as many units or bytes as it returns, without a terminator or line breaks. Source and
/// destination must not overlap. If the source is empty, a member returns 0, and reads and writes nothing;
/// the pointers may then be null.
///
/// Threads: the class has no state; any number of threads may use it at once.
///
/// Errors: every failure is a Base64Exception with one argument and the file
/// "src/infra/oss/../util/kelBase64.cpp". The members allocate memory only for the exception.
class KELINFRA_API Base64 {
 public:
  Base64() = delete;

  // --- sizes

  /// Returns the number of units that `byteCount` bytes are encoded to, including padding: four for each
  /// group of up to three bytes. If the number is too large for size_t, the result is the largest size_t.
  /// The largest size_t cannot be a valid size, because it is not a multiple of four. Raises nothing.
  static std::size_t encodeSize(std::size_t byteCount);
  /// Returns the largest number of bytes to which `unitCount` units can be decoded: three for each group of
  /// up to four units. Padding is not subtracted. The result never overflows. Raises nothing.
  static std::size_t decodeSize(std::size_t unitCount);

  // --- encode

  /// `encode` and `encodeSafe` encode `srcBytes` bytes as padded text. They return the number of units
  /// written, which is encodeSize(srcBytes). `encodeSafe` uses the safe alphabet.
  ///   destUnits   the number of units that fit into `dest`
  ///   raises      ERR_BUFFER_SIZE_TOO_SMALL (destUnits): the text does not fit; nothing is written. The
  ///               argument is the signed decimal of its low 32 bits.
  static std::size_t encode(unsigned short* dest, std::size_t destUnits, const char* src,
                            std::size_t srcBytes);
  static std::size_t encodeSafe(unsigned short* dest, std::size_t destUnits, const char* src,
                                std::size_t srcBytes);

  // --- decode

  /// `decode` and `decodeSafe` decode `srcUnits` units of padded text and return the number of bytes written.
  /// `decodeSafe` uses the safe alphabet. Decoding is strict: white space and the last two characters of the
  /// other alphabet are errors, padding is required, and the unused bits before the padding must be zero.
  ///   destBytes   the number of bytes that fit into `dest`; nothing after them is changed
  ///   src         a NUL unit must follow the text or be a part of it: for misaligned data the error's
  ///               argument is read up to the first NUL, regardless of `srcUnits`
  ///   raises      the error that comes first in the text; the bytes decoded before it are in `dest`:
  ///               ERR_BUFFER_SIZE_TOO_SMALL (destBytes): more bytes than fit; the argument is the signed
  ///               decimal of its low 32 bits
  ///               ERR_BASE64_INVALID_DATA (the unit as a text of length 1): the unit is neither in the
  ///               alphabet nor "="
  ///               ERR_BASE64_MISALIGNED_DATA (the text up to its first NUL): a "=" at the first or second
  ///               place of a group of four, a "=" at the third place without one at the fourth, unused bits
  ///               before the padding that are not zero, anything after the padding, or a number of units
  ///               that is not a multiple of 4
  static std::size_t decode(char* dest, std::size_t destBytes, const unsigned short* src,
                            std::size_t srcUnits);
  static std::size_t decodeSafe(char* dest, std::size_t destBytes, const unsigned short* src,
                                std::size_t srcUnits);
};

}  // namespace tarvo::util
