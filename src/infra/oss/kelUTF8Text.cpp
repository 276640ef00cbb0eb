#include "oss/kelUTF8Text.hpp"

#include "simd/kelKernelChoice.hpp"

namespace tarvo::oss {

namespace {

std::ptrdiff_t countByLeads(const char* text, std::size_t length) {
  std::size_t at = 0;
  std::size_t count = 0;
  while (at < length) {
    const auto lead = static_cast<unsigned char>(text[at]);
    if (lead < 0x80) {
      const bool eight = length - at >= 8 && (wordAt(text + at) & foreignBits) == 0;
      at += eight ? 8 : 1;
      count += eight ? 8 : 1;
      continue;
    }
    const std::size_t size = characterSize(lead);
    if (size == 0) return -1;
    at += size;
    ++count;
  }
  return static_cast<std::ptrdiff_t>(count);
}

}  // namespace

std::ptrdiff_t countWellFormed(const char* text, std::size_t length) {
  return simd::kernels().countWellFormed(text, length);
}

std::ptrdiff_t copyWellFormed(char* dest, const char* text, std::size_t length) {
  return simd::kernels().copyWellFormed(dest, text, length);
}

std::size_t spreadCharacters(std::uint64_t* dest, const char* text, std::size_t length) {
  return simd::kernels().spreadCharacters(dest, text, length);
}

/// A well-formed text has as many either way, and mostly it is one.
std::ptrdiff_t countLeniently(const char* text, std::size_t length) {
  const std::ptrdiff_t wellFormed = countWellFormed(text, length);
  return wellFormed >= 0 ? wellFormed : countByLeads(text, length);
}

}  // namespace tarvo::oss
