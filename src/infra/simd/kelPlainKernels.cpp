#include "simd/kelKernels.hpp"
#include "simd/kelUtf8Words.hpp"

// Any processor. Base64 leaves everything to its caller, whose loop of single groups is as good as it gets here.
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

}  // namespace

const Kernels plainKernels = {
    "plain", {encodeNone, encodeNone}, {decodeNone, decodeNone}, countByWords, copyByWords};

}  // namespace tarvo::simd
