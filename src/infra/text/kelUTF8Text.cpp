#include "text/kelUTF8Text.hpp"

#include "simd/kelKernelChoice.hpp"
#include "text/kelWords.hpp"

namespace tarvo::text {

namespace {

/// Returns the size of a character according to its first byte, which is above 7F. If the first byte is 80 to
/// BF or F8 to FF, it is not a lead byte, and the function returns 0.
constexpr std::size_t sizeByLead(unsigned char lead) {
  if (lead < 0xC0) return 0;
  if (lead < 0xE0) return 2;
  if (lead < 0xF0) return 3;
  return lead < 0xF8 ? 4 : 0;
}

std::ptrdiff_t countByLeads(const char* text, std::size_t length) {
  std::size_t at = 0;
  std::size_t count = 0;
  while (at < length) {
    const auto lead = static_cast<unsigned char>(text[at]);
    if (lead < 0x80) {
      const bool eight = length - at >= 8 && (wordAt(text + at) & inEachByte(0x80)) == 0;
      at += eight ? 8 : 1;
      count += eight ? 8 : 1;
      continue;
    }
    const std::size_t size = sizeByLead(lead);
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

/// If the text is well-formed, counts its characters with the fast function, because both functions then
/// return the same count.
std::ptrdiff_t countLeniently(const char* text, std::size_t length) {
  const std::ptrdiff_t wellFormed = countWellFormed(text, length);
  return wellFormed >= 0 ? wellFormed : countByLeads(text, length);
}

}  // namespace tarvo::text
