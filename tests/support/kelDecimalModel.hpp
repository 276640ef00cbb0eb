#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tarvo::test {

/// The slow model of the integer parse, straight from its words: `text` is trimmed, what is left is an
/// optional sign (if `isSigned`) and 1 to `mostDigits` digits, and the value is reduced modulo 2^width by long
/// division on the decimal digits. Gives the low `width` bits; none for a text that is no number.
std::optional<std::uint64_t> modelInteger(const std::u16string& text, bool isSigned, std::size_t mostDigits,
                                          int width);

}  // namespace tarvo::test
