#pragma once

#include <cstddef>
#include <optional>
#include <random>
#include <string>
#include <vector>

/// UTF-8 the slow way, row by row of the Unicode Standard's table of well-formed byte sequences, to hold the
/// library against. Never for production.
namespace tarvo::test {

/// The size of the well-formed character at a position, or 0.
std::size_t modelCharacterSize(const char* text, std::size_t length, std::size_t at);

/// The number of characters, or nothing when the text is not well-formed.
std::optional<std::size_t> modelCount(const char* text, std::size_t length);

/// The characters of a well-formed text, or nothing.
std::optional<std::vector<std::string>> modelCharacters(const std::string& text);

/// The number of characters by lead bytes alone, or nothing where a byte leads none.
std::optional<int> modelLenientCount(const std::string& text);

/// Bytes without 0 in which sound characters of every size are mixed; `damage` says how many of a hundred
/// pieces are random bytes or cut short instead.
std::string randomUtf8(std::mt19937& engine, std::size_t pieces, unsigned int damage);

}  // namespace tarvo::test
