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

  /// Escapes that the library reads as one unit. It reads any other as the letter u.
  bool isUnicodeEscape(std::size_t position) const {
    if (at(position) != '\\' || at(position + 1) != 'u' || position + 6 >= bytes_.size()) return false;
    const std::string digits = bytes_.substr(position + 2, 4);
    if (!std::all_of(digits.begin(), digits.end(), [](unsigned char c) { return std::isxdigit(c) != 0; }))
      return false;
    const unsigned long unit = std::stoul(digits, nullptr, 16);
    return (unit < 0xD800 || unit > 0xDFFF) && (unit < 0xFDD0 || unit > 0xFDEF) && unit < 0xFFFE;
  }

 private:
  char at(std::size_t position) const { return position < bytes_.size() ? bytes_[position] : '\0'; }

  void skipLineEnd() {
    const bool pair = at(position_) == '\r' && at(position_ + 1) == '\n';
    position_ += pair ? 2 : 1;
  }

  const std::string& bytes_;
  std::size_t position_;
};

/// Reads the units of a key or a value, which a library function has read as ISO-8859-1.
class Units {
 public:
  Units(Walk& walk, bool isUtf8) : walk_(walk), isUtf8_(isUtf8) {}

  void read(const icu::UnicodeString& latin1) {
    for (std::int32_t i = 0; i < latin1.length(); ++i) {
      const std::size_t first = walk_.skipUnit();
      const bool isWhole = !isUtf8_ || latin1[i] < 0x80 || walk_.isUnicodeEscape(first);
      const std::int32_t more = isWhole ? 0 : U8_COUNT_TRAIL_BYTES_UNSAFE(latin1[i]);
      append(isWhole ? latin1.tempSubString(i, 1) : decoded(latin1.tempSubString(i, more + 1)), first);
      for (std::int32_t byte = 0; byte < more; ++byte) walk_.skipUnit();
      i += more;
    }
  }

  icu::UnicodeString text;
  std::vector<std::size_t> at;  ///< for each unit the first byte

 private:
  static icu::UnicodeString decoded(const icu::UnicodeString& bytes) {
    std::string utf8;
    for (std::int32_t i = 0; i < bytes.length(); ++i) utf8 += static_cast<char>(bytes[i]);
    return icu::UnicodeString::fromUTF8(utf8);
  }

  void append(const icu::UnicodeString& units, std::size_t byte) {
    text += units;
    at.insert(at.end(), static_cast<std::size_t>(units.length()), byte);
  }

  Walk& walk_;
  bool isUtf8_;
};

PlacedProperty placed(const std::string& bytes, bool isUtf8, std::size_t from, const icu::UnicodeString& key,
                      const icu::UnicodeString& value) {
  Walk walk(bytes, from);
  walk.skipBlanks();
  const std::size_t keyAt = walk.position();
  Units keyUnits(walk, isUtf8);
  keyUnits.read(key);
  walk.skipSeparator();
  Units valueUnits(walk, isUtf8);
  valueUnits.read(value);
  valueUnits.at.push_back(walk.position());
  return {keyUnits.text, valueUnits.text, keyAt, valueUnits.at};
}

}  // namespace

std::vector<PlacedProperty> placedProperties(const std::string& bytes, bool isUtf8) {
  std::vector<PlacedProperty> all;
  std::size_t position = 0;
  for (;;) {
    const std::size_t from = position;
    tarvo::util::ExtendedProperties line;
    if (!line.parseLine(position, bytes.data(), bytes.size())) return all;
    for (const auto& [key, value] : line) all.push_back(placed(bytes, isUtf8, from, key, value));
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

/// Counts from the last place if that is before the byte in the same line, because a long line may have many
/// findings.
Places::Place Places::of(std::size_t byte) const {
  const std::size_t end = std::min(byte, bytes_.size());
  const auto line = std::prev(std::upper_bound(lines_.begin(), lines_.end(), byte));
  if (last_ < *line || last_ > end) {
    last_ = *line;
    columnsBefore_ = 0;
  }
  for (; last_ < end; ++last_) {
    if (!isUtf8() || !U8_IS_TRAIL(bytes_[last_])) ++columnsBefore_;
  }
  return {static_cast<std::size_t>(line - lines_.begin()) + 1, columnsBefore_ + 1};
}

Places::Place Places::inCharacters(std::size_t line, std::size_t column) const {
  return of(lines_.at(line - 1) + column - 1);
}

}  // namespace kelinfra
