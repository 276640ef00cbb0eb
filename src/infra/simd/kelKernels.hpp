#pragma once

#include <cstddef>
#include <cstdint>

/// What exists once for each kind of processor: the inner loops of Base64, of UTF-8 and of UTF-16.
///
/// The files that define the wider ones are compiled with wider instruction sets, file by file and not function by
/// function: only then GCC 12 clears the upper halves of the vector registers before it leaves, without which all
/// SSE code of the process runs several times slower afterwards. For the same reason such a file must not emit a
/// function that the linker could take for everybody's: it defines its table of kernels and nothing else that has
/// external linkage, and uses no inline function of the standard library. tests/inspect looks at both.
namespace tarvo::simd {

enum Base64Alphabet : unsigned char { standardAlphabet, safeAlphabet };

/// How far a kernel got.
struct Converted {
  std::size_t taken;    ///< units or bytes of the text, whole characters
  std::size_t written;  ///< of the destination
};

/// So many bytes behind a text are read where its characters are spread.
constexpr std::size_t spreadReadsBehind = 23;

struct Kernels {
  /// Encodes groups of three bytes to four units each, at most `groups` of them, none touched behind; returns
  /// how many it took. What it leaves is the caller's.
  using EncodeGroups = std::size_t (*)(unsigned short* dest, const char* src, std::size_t groups);
  /// Decodes groups of four units to three bytes each while all their units are in the alphabet, at most `groups`
  /// of them, and returns how many it took; not a byte behind those is written. What it leaves is the caller's
  /// to look at: not every group left holds a fault.
  using DecodeGroups = std::size_t (*)(char* dest, const unsigned short* src, std::size_t groups);
  /// The characters of a text, or -1 when it is malformed, by the Unicode Standard's table of well-formed byte
  /// sequences. Reads nothing behind `length` bytes.
  using CountWellFormed = std::ptrdiff_t (*)(const char* text, std::size_t length);
  /// The same, and copies the text on the way, `length` bytes exactly; what a malformed text leaves in `dest` is
  /// not said. The two must not overlap.
  using CopyWellFormed = std::ptrdiff_t (*)(char* dest, const char* text, std::size_t length);
  /// Writes each character that begins within the first `length` bytes of a well-formed text to eight bytes of its own,
  /// zeros behind it; returns how many. The text must go on for as many bytes more as `spreadReadsBehind` says, of
  /// whatever kind, and `dest` have room for `length` characters, rounded up to a multiple of 16.
  using SpreadCharacters = std::size_t (*)(std::uint64_t* dest, const char* text, std::size_t length);
  /// Writes a text's UTF-16, from its beginning as far as it is worth it; takes ASCII alone where the text is malformed. What
  /// it leaves is the caller's. Anything may be written within `length` units.
  using Utf16FromUtf8 = Converted (*)(unsigned short* dest, const char* text, std::size_t length);
  /// The same the other way round. Takes ASCII alone where half of a surrogate pair stands alone. No byte is written behind
  /// those of the whole text, so when the caller has written the rest all are as they should be.
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

}  // namespace tarvo::simd
