#pragma once

#include <cstddef>
#include <optional>
#include <random>
#include <string>
#include <vector>

/// A slow model of UTF-8. It follows the Unicode Standard's table of well-formed byte sequences row by row.
/// Tests compare the library with it.
namespace tarvo::test {

/// The size in bytes of the well-formed character at `at`, or 0 if there is no such character.
std::size_t modelCharacterSize(const char* text, std::size_t length, std::size_t at);

/// Returns the number of characters, or nullopt if the text is not well-formed.
std::optional<std::size_t> modelCount(const char* text, std::size_t length);

/// Returns the characters, or nullopt if the text is not well-formed.
std::optional<std::vector<std::string>> modelCharacters(const std::string& text);

/// The number of characters if only lead bytes are checked, or nullopt if a character begins with another
/// byte.
std::optional<int> modelLenientCount(const std::string& text);

/// A random text without zero bytes, with well-formed characters of all sizes. `damage` percent of the pieces
/// are random bytes or truncated characters instead.
std::string randomUtf8(std::mt19937& engine, std::size_t pieces, unsigned int damage);

}  // namespace tarvo::test
