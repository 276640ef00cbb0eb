#include "machine/kelByteOrder.hpp"
#include "simd/kelKernels.hpp"
#include "simd/kelUTF8Words.hpp"

// The kernels for any processor. The kernels of Base64 and UTF-16 convert nothing: the loops of their callers
// are the fastest code without vectors.
namespace tarvo::simd {

namespace {

std::size_t encodeNone(unsigned short*, const char*, std::size_t) {
  return 0;
}

std::size_t decodeNone(char*, const unsigned short*, std::size_t) {
  return 0;
}

std::ptrdiff_t copyByWords(char* dest, const char* text, std::size_t length) {
  if (length > 0) std::memcpy(dest, text, length);
  return countByWords(dest, length);
}

/// No branch depends on the text. A word is written for each byte; if the byte does not start a character,
/// the next word overwrites it.
std::size_t spreadByWords(std::uint64_t* dest, const char* text, std::size_t length) {
  constexpr std::uint64_t ofLead[16] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF,   0xFF,   0xFF,     0xFF,
                                        0,    0,    0,    0,    0xFFFF, 0xFFFF, 0xFFFFFF, 0xFFFFFFFF};
  std::uint64_t* to = dest;
  for (std::size_t at = 0; at < length; ++at) {
    const std::uint64_t word = wordAt(text + at);
    *to = machine::littleEndian(word & ofLead[word >> 4U & 0xFU]);
    to += (word & 0xC0U) != 0x80U ? 1 : 0;
  }
  return static_cast<std::size_t>(to - dest);
}

Converted widenNone(unsigned short*, const char*, std::size_t) {
  return {0, 0};
}

Converted narrowNone(char*, const unsigned short*, std::size_t) {
  return {0, 0};
}

}  // namespace

const Kernels plainKernels = {"plain",
                              {encodeNone, encodeNone},
                              {decodeNone, decodeNone},
                              countByWords,
                              copyByWords,
                              spreadByWords,
                              widenNone,
                              narrowNone};

}  // namespace tarvo::simd
