#include "infra/oss/kelMessage.hpp"

#include "text/kelDecimalText.hpp"
#include "text/kelInvariant.hpp"
#include "text/kelMemory.hpp"
#include "text/kelTranscoding.hpp"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <new>
#include <string_view>
#include <utility>

namespace tarvo::oss {

/// Returns the severity in another coding, in which each level is one bit.
constexpr int Message::bitCodedSeverity(Level level) {
  switch (level) {
    case LEVEL_INFO:
      return 2;
    case LEVEL_ERROR:
      return 8;
    case LEVEL_SEVERE:
      return 16;
    default:
      return 4;
  }
}

Message::Message() {
  static_assert(bitCodedSeverity(LEVEL_INFO) == 2 && bitCodedSeverity(LEVEL_WARNING) == 4 &&
                bitCodedSeverity(LEVEL_ERROR) == 8 && bitCodedSeverity(LEVEL_SEVERE) == 16);
}

Message::Message(const icu::UnicodeString& id, const icu::UnicodeString& text, Level level)
    : id_(text::copied(id)), text_(text::copied(text)), level_(level) {}

Message::Message(const icu::UnicodeString& id, Level level, const char* fileName, unsigned int lineNumber)
    : id_(text::copied(id)),
      level_(level),
      fileName_(text::invariantText(fileName)),
      lineNumber_(lineNumber) {}

Message::Message(const Message& other) = default;

Message::~Message() = default;

const icu::UnicodeString& Message::getMessageID() const {
  return id_;
}
const icu::UnicodeString& Message::getMessageCode() const {
  return id_;
}
const icu::UnicodeString& Message::getFormattedMessage() const {
  return text_;
}
Message::Level Message::getMessageLevel() const {
  return level_;
}
const icu::UnicodeString& Message::getFileName() const {
  return fileName_;
}
unsigned int Message::getLineNumber() const {
  return lineNumber_;
}
int Message::getMessageArgsCount() const {
  return static_cast<int>(arguments_.size());
}
const std::list<icu::UnicodeString>& Message::getMessageArgs() const {
  return arguments_;
}

/// Passes the parts of the message's one-line text to `take`, in their order.
template <class Take>
void Message::render(Take take) const {
  const auto view = [](const icu::UnicodeString& text) {
    return std::u16string_view(text.getBuffer(),
                               text.isBogus() ? 0 : static_cast<std::size_t>(text.length()));
  };
  take(view(id_));
  take(u": [");
  take(view(text_));
  take(arguments_.empty() ? u"]" : u"] -");
  for (const icu::UnicodeString& argument : arguments_) {
    take(u" [");
    take(view(argument));
    take(u"]");
  }
}

const icu::UnicodeString& Message::toString(icu::UnicodeString& out) const {
  if (text::isHeldOpen(out)) return out;
  std::size_t length = 0;
  render([&](std::u16string_view piece) { length += piece.size(); });
  out.remove();  // makes a bogus string valid, too
  char16_t* next = length <= std::numeric_limits<std::int32_t>::max()
                       ? out.getBuffer(static_cast<std::int32_t>(length))
                       : nullptr;
  if (next == nullptr) throw std::bad_alloc();
  render([&](std::u16string_view piece) { next = std::copy(piece.begin(), piece.end(), next); });
  out.releaseBuffer(static_cast<std::int32_t>(length));
  return out;
}

void Message::setMessageID(const icu::UnicodeString& id) {
  id_ = text::copied(id);
}
void Message::setMessageText(const icu::UnicodeString& text) {
  text_ = text::copied(text);
}
void Message::setMessageLevel(Level level) {
  level_ = level;
}
void Message::setFileName(const char* fileName) {
  fileName_ = text::invariantText(fileName);
}
void Message::setLineNumber(unsigned int lineNumber) {
  lineNumber_ = lineNumber;
}

void Message::addArgument(const icu::UnicodeString& value) {
  arguments_.push_back(text::copied(value));
}

void Message::addArgument(const char* value, const char* codepage) {
  if (value == nullptr || *value == '\0') return;
  icu::UnicodeString text = text::toUnicode(value, -1, codepage);
  if (text.isBogus())
    text.remove();  // an unknown code page: an empty argument keeps the others in their places
  arguments_.push_back(std::move(text));
}

// A number of any type is reduced to a signed number of 32 bits. The reduction is intended, because the
// message catalogues of programs depend on the resulting texts.
template <class Integer>
void Message::addLow32Bits(Integer value) {
  arguments_.push_back(text::invariantText(text::DecimalText(static_cast<std::int32_t>(value)).view()));
}

void Message::addArgument(unsigned char value) {
  addLow32Bits(value);
}
void Message::addArgument(unsigned short value) {
  addLow32Bits(value);
}
void Message::addArgument(unsigned int value) {
  addLow32Bits(value);
}
void Message::addArgument(unsigned long value) {
  addLow32Bits(value);
}
void Message::addArgument(unsigned long long value) {
  addLow32Bits(value);
}
void Message::addArgument(signed char value) {
  addLow32Bits(value);
}
void Message::addArgument(short value) {
  addLow32Bits(value);
}
void Message::addArgument(int value) {
  addLow32Bits(value);
}
void Message::addArgument(long value) {
  addLow32Bits(value);
}
void Message::addArgument(long long value) {
  addLow32Bits(value);
}

void Message::clear() {
  id_.setToBogus();
  text_.setToBogus();
  fileName_.setToBogus();
  level_ = LEVEL_ERROR;
  lineNumber_ = 0;
  arguments_.clear();
}

void Message::setMessage(const Message& other) {
  if (&other == this) return;
  id_ = other.id_;
  text_ = other.text_;
  level_ = other.level_;
  fileName_ = other.fileName_;
  lineNumber_ = other.lineNumber_;
  arguments_ = other.arguments_;
}

// All copies are made before the reset, because the strings may be fields of this message and there may be no
// memory for a copy.
void Message::setMessage(const icu::UnicodeString& id, const icu::UnicodeString& text, Level level) {
  icu::UnicodeString newId = text::copied(id);
  icu::UnicodeString newText = text::copied(text);
  clear();
  id_ = std::move(newId);
  text_ = std::move(newText);
  level_ = level;
}

void Message::setMessage(const icu::UnicodeString& id, Level level, const char* fileName,
                         unsigned int lineNumber) {
  icu::UnicodeString newId = text::copied(id);
  icu::UnicodeString newFileName = text::invariantText(fileName);
  clear();
  id_ = std::move(newId);
  level_ = level;
  fileName_ = std::move(newFileName);
  lineNumber_ = lineNumber;
}

}  // namespace tarvo::oss
