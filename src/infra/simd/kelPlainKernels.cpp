#include "simd/kelKernels.hpp"
#include "simd/kelUtf8Words.hpp"

// Any processor. Base64 and UTF-16 leave everything to their callers, whose loops are as good as it gets here.
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

Converted widenNone(unsigned short*, const char*, std::size_t) {
  return {0, 0};
}

Converted narrowNone(char*, const unsigned short*, std::size_t) {
  return {0, 0};
}

}  // namespace

const Kernels plainKernels = {
    "plain",   {encodeNone, encodeNone}, {decodeNone, decodeNone}, countByWords, copyByWords, widenNone,
    narrowNone};

}  // namespace tarvo::simd
