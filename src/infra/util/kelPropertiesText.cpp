#include "util/kelPropertiesText.hpp"

#include "machine/kelByteOrder.hpp"
#include "platform/kelStandardLibrary.hpp"
#include "text/kelInvariant.hpp"
#include "text/kelUTF8Conversion.hpp"
#include "text/kelWords.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <utility>

namespace tarvo::util {

// --- reading

namespace {

// The kinds of bytes. Each kind is one bit.
constexpr unsigned char lineEnd = 1;
constexpr unsigned char blank = 2;
constexpr unsigned char separator = 4;
constexpr unsigned char commentMark = 8;
constexpr unsigned char backslash = 16;

constexpr auto kindOf = [] {
  std::array<unsigned char, 256> kinds{};
  kinds['\r'] = kinds['\n'] = lineEnd;
  kinds['\t'] = kinds[' '] = blank;
  kinds[':'] = kinds['='] = separator;
  kinds['#'] = kinds['!'] = commentMark;
  kinds['\\'] = backslash;
  return kinds;
}();

/// A set of the bytes that belong to at least one of the kinds.
template <unsigned int kinds>
constexpr auto bytesOfKinds = [] {
  constexpr auto isOne = [](unsigned char kind) { return (kind & kinds) != 0; };
  constexpr auto total = static_cast<std::size_t>(std::count_if(kindOf.begin(), kindOf.end(), isOne));
  std::array<unsigned char, total> bytes{};
  std::size_t count = 0;
  for (std::size_t byte = 0; byte < kindOf.size(); ++byte) {
    if (isOne(kindOf[byte])) bytes[count++] = static_cast<unsigned char>(byte);
  }
  return bytes;
}();

/// Returns the number of bytes in a block before the first byte that is in `bytes`.
template <const auto& bytes, std::size_t... i>
std::size_t bytesBefore(text::SixteenBytes block, std::index_sequence<i...> /*all*/) {
  const text::SixteenBytes found = (... | text::SixteenBytes(block == bytes[i]));
  const auto [first, second] = std::bit_cast<std::array<std::uint64_t, 2>>(found);
  const int zeros = first != 0 ? std::countr_zero(machine::littleEndian(first))
                               : 64 + std::countr_zero(machine::littleEndian(second));
  return static_cast<std::size_t>(zeros) / 8;
}

/// Widens the bytes before the first byte of these kinds, and returns the number of widened bytes. The
/// function may also overwrite later units, up to `count` units.
template <unsigned int kinds>
std::size_t widenBefore(const unsigned char* bytes, std::size_t count, char16_t* units) {
  std::size_t done = 0;
  for (; count - done >= text::plainBlock; done += text::plainBlock) {
    text::SixteenBytes block;
    std::memcpy(&block, bytes + done, sizeof block);
    for (std::size_t i = 0; i < text::plainBlock; i += 8) {
      text::widenEight(reinterpret_cast<const char*>(bytes) + done + i, units + done + i);
    }
    const std::size_t plain =
        bytesBefore<bytesOfKinds<kinds>>(block, std::make_index_sequence<bytesOfKinds<kinds>.size()>());
    if (plain < text::plainBlock) return done + plain;
  }
  while (done < count && (kindOf[bytes[done]] & kinds) == 0) {
    units[done] = bytes[done];
    ++done;
  }
  return done;
}

/// Decodes well-formed bytes, and returns the number of units.
std::size_t decodeUtf8(const unsigned char* bytes, std::size_t count, char16_t* units) {
  return static_cast<std::size_t>(text::utf16FromUtf8(reinterpret_cast<const char*>(bytes), count, units));
}

}  // namespace

/// Makes room for one unit for each byte of the data. The keys and values never need more room, so they never
/// move in memory.
void PropertiesReader::keepTexts() {
  if (!atEnd()) grow(used_ + (length_ - position_));
  keepsTexts_ = true;
}

bool PropertiesReader::readLine() {
  hasProperty_ = false;
  if (atEnd()) return false;
  skipBlanks();
  if (atEnd() || takeLineEnd()) return true;
  if (at(commentMark)) {
    skipComment();
    return true;
  }
  if (!keepsTexts_) used_ = 0;
  if (escapes_ != nullptr) escapes_->clear();
  keyAt_ = used_;
  bytes_.key = position_;
  readText<separator | blank | lineEnd>();
  bytes_.keyEnd = position_;
  valueAt_ = used_;
  skipBlanks();
  if (at(separator)) {
    ++position_;
    skipBlanks();
  }
  bytes_.value = position_;
  readText<lineEnd>();
  bytes_.valueEnd = position_;
  takeLineEnd();
  hasProperty_ = true;
  return true;
}

bool PropertiesReader::at(unsigned char kinds) const {
  return !atEnd() && (kindOf[data_[position_]] & kinds) != 0;
}

void PropertiesReader::skip(unsigned char kinds) {
  while (at(kinds)) ++position_;
}

bool PropertiesReader::takeLineEnd() {
  if (!at(lineEnd)) return false;
  const bool carriageReturn = data_[position_++] == '\r';
  if (carriageReturn && !atEnd() && data_[position_] == '\n') ++position_;
  return true;
}

bool PropertiesReader::takeContinuation() {
  if (!at(backslash)) return false;
  ++position_;
  if (takeLineEnd()) return true;
  --position_;
  return false;
}

void PropertiesReader::skipBlanks() {
  while (at(blank | backslash)) {
    skip(blank);
    if (!takeContinuation()) return;
  }
}

void PropertiesReader::skipComment() {
  while (!atEnd() && !at(lineEnd)) ++position_;
  takeLineEnd();
}

/// Reads a key or value, up to a byte of one of the kinds in `ends`.
template <unsigned int ends>
void PropertiesReader::readText() {
  for (;;) {
    readPlain<ends | backslash>();
    if (!at(backslash)) return;
    if (escapes_ == nullptr) {
      readEscape();
    } else {
      noteEscape();
    }
  }
}

/// Reads bytes up to one of the kinds in `stops`. The function widens the bytes while it searches, as long as
/// there is room. If the data is UTF-8, the function decodes the bytes afterwards. The bytes consist of
/// complete characters, because they end before an ASCII character or at the end of the data.
template <unsigned int stops>
void PropertiesReader::readPlain() {
  for (;;) {
    const unsigned char* const from = data_ + position_;
    char16_t* const to = texts_.get() + used_;
    const std::size_t most = std::min(length_ - position_, capacity_ - used_);
    const std::size_t count = widenBefore<stops>(from, most, to);
    position_ += count;
    used_ += isUtf8_ ? decodeUtf8(from, count, to) : count;
    if (count < most || atEnd()) return;
    grow(2 * capacity_ + 64);
  }
}

/// Appends the unit of an escape. The units always fit, because an escape has more bytes than units.
void PropertiesReader::append(char16_t unit) {
  texts_[used_++] = unit;
}

void PropertiesReader::grow(std::size_t capacity) {
  auto larger = platform::makeUniqueForOverwrite<char16_t[]>(capacity);
  std::copy_n(texts_.get(), used_, larger.get());
  texts_ = std::move(larger);
  capacity_ = capacity;
}

void PropertiesReader::noteEscape() {
  const std::size_t at = position_;
  const std::size_t unit = used_ - keyAt_;
  readEscape();
  escapes_->push_back({at, position_, unit, used_ - keyAt_});
}

void PropertiesReader::readEscape() {
  if (takeContinuation()) {
    skipBlanks();
    return;
  }
  ++position_;
  if (atEnd()) return;
  const unsigned char byte = data_[position_++];
  switch (byte) {
    case 'n':
      append(u'\n');
      break;
    case 'r':
      append(u'\r');
      break;
    case 't':
      append(u'\t');
      break;
    case 'u':
      readUnicodeEscape();
      break;
    default:
      if (isUtf8_ && byte >= 0x80) {
        --position_;  // the backslash is dropped, and the character is read as any other
      } else {
        append(static_cast<char16_t>(byte));
      }
  }
}

/// Reads the four digits after "\u". At least one byte must follow the digits: an escape at the end of the
/// data is not accepted.
void PropertiesReader::readUnicodeEscape() {
  unsigned int unit = 0;
  bool whole = length_ - position_ > 4;
  for (std::size_t i = 0; whole && i < 4; ++i) {
    const unsigned int digit = hexDigit(data_[position_ + i]);
    whole = digit != noDigit;
    unit = unit << 4U | digit;
  }
  if (!whole || !isReadFromEscape(unit)) {
    append(u'u');
    return;
  }
  append(static_cast<char16_t>(unit));
  position_ += 4;
}

// --- writing

/// Contains for each ASCII character the letter that is written after a backslash for it; 0 for characters
/// that are written unchanged.
struct PropertiesWriter::Escapes {
  std::array<char, 128> letters{};

  consteval Escapes(std::string_view escapedByThemselves, bool lineEndsAndTabs) {
    for (const char character : escapedByThemselves) {
      letters[static_cast<unsigned char>(character)] = character;
    }
    if (!lineEndsAndTabs) return;
    letters['\r'] = 'r';
    letters['\n'] = 'n';
    letters['\t'] = 't';
  }

  static const Escapes ofComment;
  static const Escapes ofKey;
  static const Escapes ofValue;
};

constexpr PropertiesWriter::Escapes PropertiesWriter::Escapes::ofComment("", false);
constexpr PropertiesWriter::Escapes PropertiesWriter::Escapes::ofKey("!#:=\\ ", true);
constexpr PropertiesWriter::Escapes PropertiesWriter::Escapes::ofValue("!#:=\\", true);

void PropertiesWriter::writeHeader() {
  // The SPACE at the end of the first line is intended. The line cannot change, because programs depend on
  // the format.
  write(text::invariantText("#saved by ExtendedProperties on "), Escapes::ofComment);
  endLine();
}

void PropertiesWriter::writeInclude(const icu::UnicodeString& name) {
  write(text::invariantText("#include "), Escapes::ofComment);
  write(name, Escapes::ofComment);
  endLine();
}

void PropertiesWriter::writeProperty(const icu::UnicodeString& key, const icu::UnicodeString& value) {
  writeKey(key);
  out_.write('=');
  writeValue(value);
  endLine();
}

void PropertiesWriter::writeComment(const icu::UnicodeString& text) {
  write(text, Escapes::ofComment);
}

void PropertiesWriter::writeKey(const icu::UnicodeString& key) {
  write(key, Escapes::ofKey);
}

void PropertiesWriter::writeValue(const icu::UnicodeString& value) {
  write(value, Escapes::ofValue);
}

void PropertiesWriter::write(const icu::UnicodeString& text, const Escapes& escapes) {
  const char16_t* const units = text.getBuffer();
  const std::int32_t length = text.length();
  for (std::int32_t i = 0; i < length; ++i) {
    const char16_t unit = units[i];
    if (unit > 127) {
      // For each surrogate of a pair char32At returns the whole character, so the function writes the
      // character twice. Writing it twice is intended: the format cannot change, because programs depend on
      // it.
      writeUnicodeEscape(static_cast<char32_t>(text.char32At(i)));
      continue;
    }
    const char letter = escapes.letters[unit];
    if (letter == 0) {
      out_.write(static_cast<char>(unit));
    } else {
      out_.write('\\');
      out_.write(letter);
    }
  }
}

void PropertiesWriter::writeUnicodeEscape(char32_t character) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  out_.write('\\');
  out_.write('u');
  for (int shift = 12; shift >= 0; shift -= 4) {
    out_.write(digits[(character >> static_cast<unsigned int>(shift)) & 15U]);
  }
}

void PropertiesWriter::endLine() {
  out_.write("\r\n");
}

}  // namespace tarvo::util
