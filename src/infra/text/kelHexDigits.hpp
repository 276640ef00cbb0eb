#pragma once

#include "text/kelWords.hpp"

#include <cstddef>
#include <cstring>

/// Writes bytes as two hexadecimal digits each, sixteen bytes at a time. The digits are computed, because a
/// table would cost a load and a store for each byte. The compilers' vector extension works for every
/// processor.
namespace tarvo::text {

/// Returns the digits of values below 16. `letters` is the number of characters between '9' and the letter
/// for 10. The comparison is signed, because a signed comparison takes only one instruction.
inline SixteenBytes hexDigitsOf(SixteenBytes values, unsigned char letters) {
  using Signed [[gnu::vector_size(sizeof values)]] = signed char;
  constexpr unsigned char zero = '0';
  constexpr signed char nine = 9;
  const auto above = reinterpret_cast<Signed>(values) > nine;
  return values + zero + (reinterpret_cast<SixteenBytes>(above) & letters);
}

inline void writeSixteenAsHex(const char* data, char* digits, unsigned char letters) {
  SixteenBytes bytes;
  std::memcpy(&bytes, data, sizeof bytes);
  const SixteenBytes high = hexDigitsOf(bytes >> 4, letters);
  const SixteenBytes low = hexDigitsOf(bytes & 15, letters);
  const SixteenBytes first =
      __builtin_shufflevector(high, low, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
  const SixteenBytes second =
      __builtin_shufflevector(high, low, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31);
  std::memcpy(digits, &first, sizeof first);
  std::memcpy(digits + sizeof first, &second, sizeof second);
}

inline void writeHex(const char* data, std::size_t count, char* digits, bool upperCase) {
  const unsigned char letters = (upperCase ? 'A' : 'a') - '9' - 1;
  std::size_t done = 0;
  for (; count - done >= sizeof(SixteenBytes); done += sizeof(SixteenBytes)) {
    writeSixteenAsHex(data + done, digits + 2 * done, letters);
  }
  for (; done < count; ++done) {
    const auto byte = static_cast<unsigned char>(data[done]);
    const char* const table = upperCase ? "0123456789ABCDEF" : "0123456789abcdef";
    digits[2 * done] = table[byte >> 4U];
    digits[2 * done + 1] = table[byte & 15U];
  }
}

}  // namespace tarvo::text
