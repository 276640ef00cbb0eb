#pragma once

#include <unicode/unistr.h>

#include <cstddef>
#include <string>
#include <vector>

/// The properties of a text in the library's format, with the places of their parts.
namespace kelinfra {

struct PlacedProperty {
  icu::UnicodeString key;
  icu::UnicodeString value;
  std::size_t keyAt;  ///< the first byte of the key
  std::vector<std::size_t>
      valueAt;  ///< for each unit of the value the first byte, and the byte after the last
};

/// The bytes are well-formed UTF-8 or ISO-8859-1.
std::vector<PlacedProperty> placedProperties(const std::string& bytes, bool isUtf8);

/// Lines and columns of a text.
class Places {
 public:
  explicit Places(const std::string& bytes);

  struct Place {
    std::size_t line;
    std::size_t column;  ///< in characters if the text is UTF-8, else in bytes
  };
  Place of(std::size_t byte) const;
  /// The place of a line and of a column in bytes, both from 1.
  Place inCharacters(std::size_t line, std::size_t column) const;

  bool isUtf8() const { return malformedAt_ == bytes_.size(); }
  /// The first byte that is not UTF-8.
  std::size_t malformedAt() const { return malformedAt_; }

 private:
  const std::string& bytes_;
  std::vector<std::size_t> lines_;  ///< the first byte of each
  std::size_t malformedAt_;
  mutable std::size_t last_ = 0;           ///< the byte whose place `of` returned last
  mutable std::size_t columnsBefore_ = 0;  ///< the number of columns between it and the start of its line
};

}  // namespace kelinfra
