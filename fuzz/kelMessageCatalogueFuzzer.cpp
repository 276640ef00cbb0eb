#include "infra/util/kelExtendedProperties.hpp"
#include "infra/util/kelMessageCatalogue.hpp"

#include "kelFuzz.hpp"
#include "support/kelPropertiesModel.hpp"

#include <unicode/unistr.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

/// Any bytes as a catalogue. Its identifiers are those keys that `ExtendedProperties` reads, each of them is
/// rendered, and texts without the characters of a pattern appear as they are.
namespace {

using tarvo::fuzz::expect;
using tarvo::fuzz::Input;
using tarvo::fuzz::unicode;
using tarvo::fuzz::units;
using tarvo::oss::Message;
using tarvo::test::modelLoad;
using tarvo::test::PropertiesModel;
using tarvo::util::MessageCatalogue;

constexpr const char* languages[] = {"", "de", "pl", "ja"};

/// Returns the bytes with each non-ASCII character replaced by its escapes, which any reader reads in the
/// same way. Empty if a character has no escape.
std::string escaped(const icu::UnicodeString& text) {
  std::string bytes;
  for (const char16_t unit : units(text)) {
    if (unit < 0x80) {
      bytes += static_cast<char>(unit);
      continue;
    }
    if (unit >= 0xD800) return {};
    char escape[8];
    std::snprintf(escape, sizeof escape, "\\u%04X", static_cast<unsigned int>(unit));
    bytes += escape;
  }
  // An escape at the end of the data is not accepted.
  if (!text.isEmpty() && text.charAt(text.length() - 1) >= 0x80) bytes += '\n';
  return bytes;
}

void renderAll(const MessageCatalogue& catalogue, const char* language, const PropertiesModel& texts,
               Input& input) {
  for (const auto& [id, text] : texts) {
    Message message(unicode(id), Message::LEVEL_ERROR, "store.cpp", 7);
    for (unsigned int count = input.below(5); count > 0; --count)
      message.addArgument(static_cast<int>(input.word()) - 0x8000);
    icu::UnicodeString out = u"former";
    catalogue.render(message, language, out);
    expect(!out.isBogus(), "a rendered message");
    if (text.find_first_of(u"{}'") == std::u16string::npos) expect(units(out) == text, "a plain text");
    expect(catalogue.hasText(unicode(id), language), "a text that was read");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, std::min<std::size_t>(size, 8));
  const char* const language = languages[input.below(4)];
  data += std::min<std::size_t>(size, 8);
  size -= std::min<std::size_t>(size, 8);
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  MessageCatalogue catalogue;
  catalogue.load(language, bytes.data(), bytes.size());

  PropertiesModel texts;
  const icu::UnicodeString decoded = icu::UnicodeString::fromUTF8(bytes);
  std::string again;
  decoded.toUTF8String(again);
  if (again != bytes) {
    modelLoad(texts, bytes);  // malformed UTF-8: both read ISO-8859-1
  } else {
    const std::string asEscapes = escaped(decoded.startsWith(u'\uFEFF') ? decoded.tempSubString(1) : decoded);
    // A backslash before an escape would swallow the escape's own backslash.
    if (asEscapes.find("\\\\u") == std::string::npos) modelLoad(texts, asEscapes);
  }
  renderAll(catalogue, language, texts, input);
  return 0;
}
