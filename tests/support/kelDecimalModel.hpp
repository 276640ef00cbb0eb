#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tarvo::test {

/// A slow model of the integer parse. It trims `text`, takes an optional sign (if `isSigned`) and 1 to
/// `mostDigits` digits, and reduces the value modulo 2^width by long division of the decimal digits. Returns
/// the low `width` bits, or nullopt if the text is not a number.
std::optional<std::uint64_t> modelInteger(const std::u16string& text, bool isSigned, std::size_t mostDigits,
                                          int width);

}  // namespace tarvo::test
