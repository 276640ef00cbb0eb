#pragma once

#include "infra/kelExport.hpp"

#include <cstddef>

namespace tarvo::util {

/// Bytes to Base64 text and back, in the two alphabets of RFC 4648: the standard one, which ends in "+/", and
/// the one that is safe in URLs and file names, which ends in "-_". Both pad with "=".
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
/// Text is UTF-16 code units, bytes are `char`; all sizes count units or bytes. The caller provides every
/// buffer. A member writes exactly as many units or bytes as it returns: no terminator, no line breaks.
/// Source and destination must not overlap. For an empty source a member returns 0 and touches nothing, so
/// pointers may be null.
///
/// Threads: the class has no state; any number of threads may use it at once.
///
/// Errors: every failure is a Base64Exception with one argument; its message carries the file
/// "src/infra/oss/../util/kelBase64.cpp". Only the error itself is allocated.
class KELINFRA_API Base64 {
 public:
  Base64() = delete;

  // --- sizes

  /// The number of units into which `byteCount` bytes are encoded, padding included: four for each group of
  /// up to three bytes. If the number is too large for size_t, returns the largest size_t; it is not a
  /// multiple of four, and no buffer is that large. Raises nothing.
  static std::size_t encodeSize(std::size_t byteCount);
  /// The most bytes that `unitCount` units can decode to: three for each group of up to four units. Padding
  /// is not subtracted. Never wraps. Raises nothing.
  static std::size_t decodeSize(std::size_t unitCount);

  // --- encode

  /// Each writes `srcBytes` bytes as padded text and returns the units written, encodeSize(srcBytes).
  ///   destUnits   units that `dest` can take
  ///   raises      ERR_BUFFER_SIZE_TOO_SMALL (destUnits): the text does not fit; nothing is written. The
  ///               argument is the signed decimal of its low 32 bits.
  static std::size_t encode(unsigned short* dest, std::size_t destUnits, const char* src,
                            std::size_t srcBytes);
  static std::size_t encodeSafe(unsigned short* dest, std::size_t destUnits, const char* src,
                                std::size_t srcBytes);

  // --- decode

  /// Each reads `srcUnits` units of padded text and returns the bytes written. Decoding is strict: white
  /// space and the other alphabet's two characters are refused, the padding is required, and its unused bits
  /// must be zero.
  ///   destBytes   bytes that `dest` can take; nothing after them is touched
  ///   src         must hold a NUL unit at its end or after it: for misaligned data the error's argument is
  ///               read up to the first NUL, regardless of `srcUnits`
  ///   raises      in the order of the text, and with the bytes before the error left in `dest`:
  ///               ERR_BUFFER_SIZE_TOO_SMALL (destBytes): there is one more byte than fits; the argument is
  ///               the signed decimal of its low 32 bits
  ///               ERR_BASE64_INVALID_DATA (the unit as a text of length 1): it is neither in the alphabet
  ///               nor "="
  ///               ERR_BASE64_MISALIGNED_DATA (the text up to its first NUL): a "=" at the first or second
  ///               place of a group of four, a single "=" at the third, unused bits before the padding that
  ///               are not zero, anything after the padding, or a count of units that is no multiple of 4
  static std::size_t decode(char* dest, std::size_t destBytes, const unsigned short* src,
                            std::size_t srcUnits);
  static std::size_t decodeSafe(char* dest, std::size_t destBytes, const unsigned short* src,
                                std::size_t srcUnits);
};

}  // namespace tarvo::util
