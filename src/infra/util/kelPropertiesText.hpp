#pragma once

#include "infra/oss/kelOutputStream.hpp"

#include <unicode/unistr.h>

#include <cstddef>
#include <memory>
#include <string_view>

/// The text format of properties, line by line; `ExtendedProperties` describes it.
namespace tarvo::util {

/// The code page of the bytes that a reader reads.
enum class PropertiesBytes : bool { latin1, wellFormedUtf8 };

/// Reads lines, with their continuations, from bytes. Any bytes are accepted.
class PropertiesReader {
 public:
  /// `position` may be beyond the end. Bytes in UTF-8 must be well-formed, and the reader must keep their
  /// texts.
  PropertiesReader(const char* data, std::size_t length, std::size_t position,
                   PropertiesBytes bytes = PropertiesBytes::latin1)
      : data_(reinterpret_cast<const unsigned char*>(data)),
        length_(length),
        position_(position),
        isUtf8_(bytes == PropertiesBytes::wellFormedUtf8) {}

  /// From now on keys and values stay valid as long as the reader.
  void keepTexts();

  /// Reads the next line; returns false at the end of the data.
  bool readLine();

  /// The position after the last line read.
  std::size_t position() const { return position_; }
  /// Whether the last line read has a property. Without `keepTexts`, key and value are valid until the next
  /// line is read.
  bool hasProperty() const { return hasProperty_; }
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
  void readEscape();
  void readUnicodeEscape();

  const unsigned char* data_;
  std::size_t length_;
  std::size_t position_;
  bool hasProperty_ = false;
  bool keepsTexts_ = false;
  bool isUtf8_;
  /// Key and value of the line, after those of former lines if these are kept. Not a string, which would fill
  /// its storage with zeros first.
  std::unique_ptr<char16_t[]> texts_;
  std::size_t used_ = 0;
  std::size_t capacity_ = 0;
  std::size_t keyAt_ = 0;
  std::size_t valueAt_ = 0;
};

/// Writes the lines that the reader reads, one `write(char)` for each character of a text.
class PropertiesWriter {
 public:
  explicit PropertiesWriter(oss::OutputStream& out) : out_(out) {}

  void writeHeader();
  void writeInclude(const icu::UnicodeString& name);
  void writeProperty(const icu::UnicodeString& key, const icu::UnicodeString& value);

 private:
  struct Escapes;

  void write(const icu::UnicodeString& text, const Escapes& escapes);
  void writeUnicodeEscape(char32_t character);
  void endLine();

  oss::OutputStream& out_;
};

}  // namespace tarvo::util
