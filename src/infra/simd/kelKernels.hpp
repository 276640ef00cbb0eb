#pragma once

#include <cstddef>

/// What exists once for each kind of processor: the inner loops of Base64 and of UTF-8.
///
/// The files that define the wider ones are compiled with wider instruction sets, file by file and not function by
/// function: only then GCC 12 clears the upper halves of the vector registers before it leaves, without which all
/// SSE code of the process runs several times slower afterwards. For the same reason such a file must not emit a
/// function that the linker could take for everybody's: it defines its table of kernels and nothing else that has
/// external linkage, and uses no inline function of the standard library. tests/inspect looks at both.
namespace tarvo::simd {

enum Base64Alphabet : unsigned char { standardAlphabet, safeAlphabet };

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

  const char* name;
  EncodeGroups encodeGroups[2];  ///< by Base64Alphabet
  DecodeGroups decodeGroups[2];  ///< by Base64Alphabet
  CountWellFormed countWellFormed;
  CopyWellFormed copyWellFormed;
};

extern const Kernels plainKernels;
extern const Kernels ssse3Kernels;
extern const Kernels avx2Kernels;
extern const Kernels avx512Kernels;

}  // namespace tarvo::simd
