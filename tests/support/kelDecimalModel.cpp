#include "support/kelDecimalModel.hpp"

#include <unicode/unistr.h>

namespace tarvo::test {
namespace {

/// Halves a number that is given as decimal digits; returns the remainder.
bool halve(std::string& digits) {
  int remainder = 0;
  for (char& digit : digits) {
    const int value = 10 * remainder + (digit - '0');
    digit = static_cast<char>('0' + value / 2);
    remainder = value % 2;
  }
  return remainder == 1;
}

}  // namespace

std::optional<std::uint64_t> modelInteger(const std::u16string& text, bool isSigned, std::size_t mostDigits,
                                          int width) {
  icu::UnicodeString trimmed(text.data(), static_cast<std::int32_t>(text.size()));
  trimmed.trim();
  std::string bytes;
  trimmed.toUTF8String(bytes);
  bool negative = false;
  if (isSigned && !bytes.empty() && (bytes[0] == '+' || bytes[0] == '-')) {
    negative = bytes[0] == '-';
    bytes.erase(0, 1);
  }
  if (bytes.empty() || bytes.size() > mostDigits) return std::nullopt;
  if (bytes.find_first_not_of("0123456789") != std::string::npos) return std::nullopt;
  std::uint64_t bits = 0;
  bool borrow = false;  // to negate a number in two's complement, invert all bits above its lowest 1
  for (int i = 0; i < width; ++i) {
    const bool bit = halve(bytes);
    if (bit != borrow) bits |= std::uint64_t{1} << i;
    borrow = borrow || (negative && bit);
  }
  return bits;
}

}  // namespace tarvo::test
