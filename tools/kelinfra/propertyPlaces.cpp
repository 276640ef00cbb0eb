#include "propertyPlaces.hpp"

#include "infra/util/kelExtendedProperties.hpp"

#include <unicode/utf8.h>

#include <algorithm>
#include <cctype>
#include <cstdint>

namespace kelinfra {

namespace {

bool isLineEnd(char byte) {
  return byte == '\r' || byte == '\n';
}

bool isBlank(char byte) {
  return byte == ' ' || byte == '\t';
}

/// Walks over the bytes of one property as the library reads them.
class Walk {
 public:
  Walk(const std::string& bytes, std::size_t position) : bytes_(bytes), position_(position) {}

  std::size_t position() const { return position_; }

  void skipBlanks() {
    for (;;) {
      while (isBlank(at(position_))) ++position_;
      if (at(position_) != '\\' || !isLineEnd(at(position_ + 1))) return;
      ++position_;
      skipLineEnd();
    }
  }

  void skipSeparator() {
    skipBlanks();
    if (at(position_) != '=' && at(position_) != ':') return;
    ++position_;
    skipBlanks();
  }

  /// Moves to the next unit and past it; returns its first byte.
  std::size_t skipUnit() {
    while (at(position_) == '\\' && isLineEnd(at(position_ + 1))) skipBlanks();
    const std::size_t first = position_;
    position_ += at(first) != '\\' ? 1U : isUnicodeEscape(first) ? 6U : 2U;
    return first;
  }

 private:
  char at(std::size_t position) const { return position < bytes_.size() ? bytes_[position] : '\0'; }

  void skipLineEnd() {
    const bool pair = at(position_) == '\r' && at(position_ + 1) == '\n';
    position_ += pair ? 2 : 1;
  }

  /// Escapes that the library reads as one unit. It reads any other as the letter u.
  bool isUnicodeEscape(std::size_t position) const {
    if (at(position + 1) != 'u' || position + 6 >= bytes_.size()) return false;
    const std::string digits = bytes_.substr(position + 2, 4);
    if (!std::all_of(digits.begin(), digits.end(), [](unsigned char c) { return std::isxdigit(c) != 0; }))
      return false;
    const unsigned long unit = std::stoul(digits, nullptr, 16);
    return (unit < 0xD800 || unit > 0xDFFF) && (unit < 0xFDD0 || unit > 0xFDEF) && unit < 0xFFFE;
  }

  const std::string& bytes_;
  std::size_t position_;
};

PlacedProperty placed(const std::string& bytes, std::size_t from, const icu::UnicodeString& key,
                      const icu::UnicodeString& value) {
  Walk walk(bytes, from);
  walk.skipBlanks();
  PlacedProperty property{key, value, walk.position(), {}};
  for (std::int32_t i = 0; i < key.length(); ++i) walk.skipUnit();
  walk.skipSeparator();
  for (std::int32_t i = 0; i < value.length(); ++i) property.valueAt.push_back(walk.skipUnit());
  property.valueAt.push_back(walk.position());
  return property;
}

}  // namespace

std::vector<PlacedProperty> placedProperties(const std::string& bytes) {
  std::vector<PlacedProperty> all;
  std::size_t position = 0;
  for (;;) {
    const std::size_t from = position;
    tarvo::util::ExtendedProperties line;
    if (!line.parseLine(position, bytes.data(), bytes.size())) return all;
    for (const auto& [key, value] : line) all.push_back(placed(bytes, from, key, value));
  }
}

Places::Places(const std::string& bytes) : bytes_(bytes), lines_{0}, malformedAt_(0) {
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (bytes[i] == '\n' || (bytes[i] == '\r' && bytes.compare(i + 1, 1, "\n") != 0)) lines_.push_back(i + 1);
  }
  const auto* const units = reinterpret_cast<const std::uint8_t*>(bytes.data());
  for (std::size_t next = 0; malformedAt_ < bytes.size(); malformedAt_ = next) {
    UChar32 character = 0;
    U8_NEXT(units, next, bytes.size(), character);
    if (character < 0) break;
  }
}

Places::Place Places::of(std::size_t byte) const {
  const auto line = std::prev(std::upper_bound(lines_.begin(), lines_.end(), byte));
  const auto begin = bytes_.begin() + static_cast<std::ptrdiff_t>(*line);
  const auto end = bytes_.begin() + static_cast<std::ptrdiff_t>(std::min(byte, bytes_.size()));
  const auto following = isUtf8() ? std::count_if(begin, end, [](char c) { return (c & 0xC0) == 0x80; }) : 0;
  return {static_cast<std::size_t>(line - lines_.begin()) + 1,
          static_cast<std::size_t>(end - begin - following) + 1};
}

Places::Place Places::inCharacters(std::size_t line, std::size_t column) const {
  return of(lines_.at(line - 1) + column - 1);
}

}  // namespace kelinfra
