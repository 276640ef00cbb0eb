#pragma once

#include <cstddef>
#include <cstdint>

/// The kernels: the inner loops of Base64, UTF-8 and UTF-16. For each kind of processor there is a version of
/// each kernel.
///
/// Kernels with wider vectors need a later instruction set, and each file of such kernels is compiled for its
/// instruction set as a whole. (Single functions must not have a separate instruction set: on return from
/// such functions GCC 12 does not clear the upper halves of the vector registers. Afterwards all SSE code of
/// the process runs several times slower.) The linker can merge copies of a function from several files, and
/// the merged copy might run on a processor without these instructions. Therefore such a file must not define
/// a function that the linker could merge. The table of kernels is the only definition with external linkage
/// in such a file, and such a file uses no inline functions of the standard library. tests/inspect checks
/// both rules.
///
/// docs/platforms.md lists the kernels of each processor.
namespace tarvo::simd {

enum Base64Alphabet : unsigned char { standardAlphabet, safeAlphabet };

/// The result of a conversion: how much of a text a kernel has converted.
struct Converted {
  std::size_t taken;    ///< units or bytes of the text, up to the end of a character
  std::size_t written;  ///< units or bytes of the destination
};

/// `spreadCharacters` reads this many bytes after the text.
constexpr std::size_t spreadReadsAfter = 23;

struct Kernels {
  /// Encodes at most `groups` groups of three bytes to four units each, and returns the number of groups
  /// encoded. The kernel reads and writes nothing after these groups. The caller encodes the other groups.
  using EncodeGroups = std::size_t (*)(unsigned short* dest, const char* src, std::size_t groups);
  /// Decodes at most `groups` groups of four units to three bytes each, and returns the number of groups
  /// decoded. Stops before a unit that is not in the alphabet. The kernel writes no byte after these groups.
  /// The caller decodes the rest of the text, which may still contain valid groups.
  using DecodeGroups = std::size_t (*)(char* dest, const unsigned short* src, std::size_t groups);
  /// Returns the number of characters of a text, or -1 if it is malformed by the Unicode Standard's table of
  /// well-formed byte sequences. Reads nothing after `length` bytes.
  using CountWellFormed = std::ptrdiff_t (*)(const char* text, std::size_t length);
  /// Counts as `CountWellFormed` does, and copies exactly `length` bytes of the text to `dest`. If the text
  /// is malformed, the contents of `dest` are unspecified. The two ranges must not overlap.
  using CopyWellFormed = std::ptrdiff_t (*)(char* dest, const char* text, std::size_t length);
  /// Writes each character that begins within the first `length` bytes of a well-formed text into a word of
  /// eight bytes, followed by zeros, and returns the number of characters. After the text, `spreadReadsAfter`
  /// more bytes of any value must be readable. `dest` must have room for `length` words, rounded up to a
  /// multiple of 16.
  using SpreadCharacters = std::size_t (*)(std::uint64_t* dest, const char* text, std::size_t length);
  /// Converts the beginning of a text to UTF-16; if the text is malformed, only ASCII. The kernel stops where
  /// the caller's loop would be faster, and the caller converts the rest. The kernel may write anything to
  /// the units after the result, up to `length` units.
  using Utf16FromUtf8 = Converted (*)(unsigned short* dest, const char* text, std::size_t length);
  /// Converts the beginning of a UTF-16 text to UTF-8. If the text contains an unpaired surrogate, the kernel
  /// may convert only ASCII. The kernel may write anything to the bytes after the result, up to the size of
  /// the whole text, because the caller then writes the rest.
  using Utf8FromUtf16 = Converted (*)(char* dest, const unsigned short* units, std::size_t count);

  const char* name;
  EncodeGroups encodeGroups[2];  ///< by Base64Alphabet
  DecodeGroups decodeGroups[2];  ///< by Base64Alphabet
  CountWellFormed countWellFormed;
  CopyWellFormed copyWellFormed;
  SpreadCharacters spreadCharacters;
  Utf16FromUtf8 utf16FromUtf8;
  Utf8FromUtf16 utf8FromUtf16;
};

extern const Kernels plainKernels;
extern const Kernels ssse3Kernels;
extern const Kernels avx2Kernels;
extern const Kernels avx512Kernels;
extern const Kernels vectorKernels;  ///< on processors other than x86

}  // namespace tarvo::simd
