#pragma once

#include "infra/oss/kelOutputStream.hpp"

#include <unicode/unistr.h>

#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

/// A reader and a writer for the text format of properties. `ExtendedProperties` describes the format.
namespace tarvo::util {

/// The code page of the bytes that a reader reads.
enum class PropertiesBytes : bool { latin1, wellFormedUtf8 };

/// Returns whether the reader reads the escape \uXXXX of a code unit as this unit. The result is false for
/// surrogates and for code points that are never characters.
constexpr bool isReadFromEscape(unsigned int unit) {
  return (unit < 0xD800 || unit > 0xDFFF) && (unit < 0xFDD0 || unit > 0xFDEF) && unit < 0xFFFE;
}

constexpr unsigned int noDigit = 16;

/// Returns the value of a hexadecimal digit, upper-case or lower-case, or `noDigit` for other characters.
constexpr unsigned int hexDigit(char16_t unit) {
  if (unit >= '0' && unit <= '9') return unit - static_cast<unsigned int>('0');
  if (unit >= 'A' && unit <= 'F') return unit - static_cast<unsigned int>('A') + 10;
  if (unit >= 'a' && unit <= 'f') return unit - static_cast<unsigned int>('a') + 10;
  return noDigit;
}

/// The byte positions of the key and the value of a property.
struct PropertyBytes {
  std::size_t key = 0;
  std::size_t keyEnd = 0;
  std::size_t value = 0;
  std::size_t valueEnd = 0;
};

/// An escape or a continuation in a key or value.
struct PropertyEscape {
  std::size_t at;       ///< the position of its backslash
  std::size_t end;      ///< the position after it and the bytes that are skipped with it
  std::size_t unit;     ///< the number of units of the line before it
  std::size_t unitEnd;  ///< the number of units of the line with it
};

/// Reads the lines of a text, with their continuations, one by one. Any bytes are accepted.
class PropertiesReader {
 public:
  /// Starts at `position`, which may be after the end of the data. If the bytes are UTF-8, they must be
  /// well-formed, and `keepTexts` must be called.
  PropertiesReader(const char* data, std::size_t length, std::size_t position,
                   PropertiesBytes bytes = PropertiesBytes::latin1)
      : data_(reinterpret_cast<const unsigned char*>(data)),
        length_(length),
        position_(position),
        isUtf8_(bytes == PropertiesBytes::wellFormedUtf8) {}

  /// After this call, keys and values stay valid as long as the reader exists.
  void keepTexts();
  /// After this call, the reader stores in `escapes` the escapes of the last line that defines a property.
  /// The vector must outlive the reader.
  void noteEscapes(std::vector<PropertyEscape>& escapes) { escapes_ = &escapes; }

  /// Reads the next line; returns false at the end of the data.
  bool readLine();

  /// Returns the position after the line that was read last.
  std::size_t position() const { return position_; }
  /// Returns whether the line that was read last has a property. If `keepTexts` was not called, key and value
  /// are valid until the next line is read.
  bool hasProperty() const { return hasProperty_; }
  /// Returns the positions of the line's property. If the line has no property, the positions are not valid.
  const PropertyBytes& bytes() const { return bytes_; }
  std::u16string_view key() const { return {texts_.get() + keyAt_, valueAt_ - keyAt_}; }
  std::u16string_view value() const { return {texts_.get() + valueAt_, used_ - valueAt_}; }

 private:
  bool atEnd() const { return position_ >= length_; }
  bool at(unsigned char kinds) const;
  void skip(unsigned char kinds);
  bool takeLineEnd();
  bool takeContinuation();
  void skipBlanks();
  void skipComment();
  template <unsigned int ends>
  void readText();
  template <unsigned int stops>
  void readPlain();
  void append(char16_t unit);
  void grow(std::size_t capacity);
  void noteEscape();
  void readEscape();
  void readUnicodeEscape();

  const unsigned char* data_;
  std::size_t length_;
  std::size_t position_;
  PropertyBytes bytes_;
  std::vector<PropertyEscape>* escapes_ = nullptr;
  bool hasProperty_ = false;
  bool keepsTexts_ = false;
  bool isUtf8_;
  /// The units of the key and value of the line. If `keepTexts` was called, the units of earlier lines
  /// precede them. A std::u16string is not used, because it would fill its storage with zeros first.
  std::unique_ptr<char16_t[]> texts_;
  std::size_t used_ = 0;
  std::size_t capacity_ = 0;
  std::size_t keyAt_ = 0;
  std::size_t valueAt_ = 0;
};

/// Writes properties in the text format. Calls `write(char)` of the stream for each character.
class PropertiesWriter {
 public:
  explicit PropertiesWriter(oss::OutputStream& out) : out_(out) {}

  void writeHeader();
  void writeInclude(const icu::UnicodeString& name);
  void writeProperty(const icu::UnicodeString& key, const icu::UnicodeString& value);
  void writeComment(const icu::UnicodeString& text);
  void writeKey(const icu::UnicodeString& key);
  void writeValue(const icu::UnicodeString& value);

 private:
  struct Escapes;

  void write(const icu::UnicodeString& text, const Escapes& escapes);
  void writeUnicodeEscape(char32_t character);
  void endLine();

  oss::OutputStream& out_;
};

}  // namespace tarvo::util
