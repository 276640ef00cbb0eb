#include "support/kelUTF8Model.hpp"

#include <array>

namespace tarvo::test {
namespace {

struct Bytes {
  unsigned char first;
  unsigned char last;

  bool hold(char byte) const {
    const auto value = static_cast<unsigned char>(byte);
    return first <= value && value <= last;
  }
};

/// A row of the table: the range of bytes that is allowed at each position.
struct Row {
  std::size_t size;
  Bytes places[4];
};

constexpr Bytes any = {0x80, 0xBF};

constexpr Row rows[] = {
    {1, {{0x00, 0x7F}}},
    {2, {{0xC2, 0xDF}, any}},
    {3, {{0xE0, 0xE0}, {0xA0, 0xBF}, any}},
    {3, {{0xE1, 0xEC}, any, any}},
    {3, {{0xED, 0xED}, {0x80, 0x9F}, any}},
    {3, {{0xEE, 0xEF}, any, any}},
    {4, {{0xF0, 0xF0}, {0x90, 0xBF}, any, any}},
    {4, {{0xF1, 0xF3}, any, any, any}},
    {4, {{0xF4, 0xF4}, {0x80, 0x8F}, any, any}},
};

char byteFrom(std::mt19937& engine, Bytes bytes) {
  return static_cast<char>(std::uniform_int_distribution<int>(bytes.first, bytes.last)(engine));
}

}  // namespace

std::size_t modelCharacterSize(const char* text, std::size_t length, std::size_t at) {
  for (const Row& row : rows) {
    if (!row.places[0].hold(text[at])) continue;
    if (length - at < row.size) return 0;
    for (std::size_t place = 1; place < row.size; ++place) {
      if (!row.places[place].hold(text[at + place])) return 0;
    }
    return row.size;
  }
  return 0;
}

std::optional<std::size_t> modelCount(const char* text, std::size_t length) {
  std::size_t count = 0;
  for (std::size_t at = 0; at < length; ++count) {
    const std::size_t size = modelCharacterSize(text, length, at);
    if (size == 0) return std::nullopt;
    at += size;
  }
  return count;
}

std::optional<std::vector<std::string>> modelCharacters(const std::string& text) {
  std::vector<std::string> characters;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t size = modelCharacterSize(text.data(), text.size(), at);
    if (size == 0) return std::nullopt;
    characters.push_back(text.substr(at, size));
    at += size;
  }
  return characters;
}

std::optional<int> modelLenientCount(const std::string& text) {
  int count = 0;
  for (std::size_t at = 0; at < text.size(); ++at, ++count) {
    const auto lead = static_cast<unsigned char>(text[at]);
    if (lead < 0x80) continue;
    if (lead < 0xC0 || lead > 0xF7) return std::nullopt;
    at += lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
  }
  return count;
}

std::string randomUtf8(std::mt19937& engine, std::size_t pieces, unsigned int damage) {
  std::string text;
  for (std::size_t i = 0; i < pieces; ++i) {
    if (engine() % 100 < damage && engine() % 2 == 0) {
      text += byteFrom(engine, {0x01, 0xFF});
      continue;
    }
    // Half of the pieces are ASCII, so that the text contains both runs of ASCII and single ASCII characters.
    const Row& row = engine() % 2 == 0 ? rows[0] : rows[engine() % std::size(rows)];
    std::string character;
    for (std::size_t place = 0; place < row.size; ++place) character += byteFrom(engine, row.places[place]);
    if (character == std::string(1, '\0')) character = "0";
    if (engine() % 100 < damage) character.pop_back();
    text += character;
  }
  return text;
}

}  // namespace tarvo::test
