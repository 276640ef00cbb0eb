#include "support/kelBase64Model.hpp"

#include <bitset>

namespace tarvo::test {
namespace {

std::u16string charactersOf(Base64Alphabet alphabet) {
  std::u16string characters;
  for (char16_t c = u'A'; c <= u'Z'; ++c) characters += c;
  for (char16_t c = u'a'; c <= u'z'; ++c) characters += c;
  for (char16_t c = u'0'; c <= u'9'; ++c) characters += c;
  return characters + (alphabet == Base64Alphabet::standard ? u"+/" : u"-_");
}

std::u16string decimal(std::size_t number) {
  const std::string digits = std::to_string(number);
  return {digits.begin(), digits.end()};
}

/// The decoder's state. `bits` contains all bits decoded so far; the first 8 * bytes.size() are already in
/// `bytes`.
struct Decoder {
  std::u16string text;
  std::size_t capacity;
  std::string bits;
  Base64Decoding result;

  bool fails(const char* error, const std::u16string& argument) {
    result.error = error;
    result.argument = argument;
    return false;
  }

  bool misaligned() { return fails("ERR_BASE64_MISALIGNED_DATA", text.substr(0, text.find(u'\0'))); }

  bool emitsWholeBytes() {
    while (bits.size() >= 8 * (result.bytes.size() + 1)) {
      if (result.bytes.size() == capacity) return fails("ERR_BUFFER_SIZE_TOO_SMALL", decimal(capacity));
      const std::bitset<8> byte(bits, 8 * result.bytes.size(), 8);
      result.bytes += static_cast<char>(byte.to_ulong());
    }
    return true;
  }

  /// Checks the padding: the text from the first "=" to the end.
  bool takesPadding(std::size_t at) {
    const std::u16string padding = text.substr(at);
    if (padding != (at % 4 == 2 ? u"==" : u"=") || at % 4 < 2) return misaligned();
    const std::string unused = bits.substr(8 * result.bytes.size());
    return unused.find('1') == std::string::npos || misaligned();
  }
};

}  // namespace

std::u16string modelEncode(Base64Alphabet alphabet, const std::string& bytes) {
  const std::u16string characters = charactersOf(alphabet);
  std::string bits;
  for (const char byte : bytes) bits += std::bitset<8>(static_cast<unsigned char>(byte)).to_string();
  while (bits.size() % 6 != 0) bits += '0';
  std::u16string text;
  for (std::size_t i = 0; i < bits.size(); i += 6) text += characters[std::bitset<6>(bits, i, 6).to_ulong()];
  while (text.size() % 4 != 0) text += u'=';
  return text;
}

Base64Decoding modelDecode(Base64Alphabet alphabet, const std::u16string& text, std::size_t capacity) {
  const std::u16string characters = charactersOf(alphabet);
  Decoder decoder{text, capacity, {}, {}};
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == u'=') {
      decoder.takesPadding(i);
      return decoder.result;
    }
    const std::size_t value = characters.find(text[i]);
    if (value == std::u16string::npos) {
      decoder.fails("ERR_BASE64_INVALID_DATA", text.substr(i, 1));
      return decoder.result;
    }
    decoder.bits += std::bitset<6>(value).to_string();
    if (!decoder.emitsWholeBytes()) return decoder.result;
  }
  if (text.size() % 4 != 0) decoder.misaligned();
  return decoder.result;
}

}  // namespace tarvo::test
