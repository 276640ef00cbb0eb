#include "infra/oss/kelFormatter.hpp"

#include "kelFuzz.hpp"
#include "support/kelDecimalModel.hpp"

#include <cmath>
#include <cstring>
#include <optional>
#include <string>

/// Texts read as numbers: integers compared with the model, floating-point numbers with the runtime's parser.
namespace {

using tarvo::fuzz::errorOf;
using tarvo::fuzz::expect;
using tarvo::fuzz::Input;
using tarvo::fuzz::ToldError;
using tarvo::fuzz::units;
using tarvo::oss::Formatter;

std::u16string trimmed(const icu::UnicodeString& text) {
  icu::UnicodeString copy(text);
  return units(copy.trim());
}

/// Errors contain the text as Unicode, in which an unpaired surrogate becomes U+FFFD.
ToldError noNumber(const char16_t* type, const std::u16string& text) {
  std::string bytes;
  tarvo::fuzz::unicode(text).toUTF8String(bytes);
  return {"ERR_STR_TO_NUM_CONV_ERR", {type, units(icu::UnicodeString::fromUTF8(bytes))}};
}

template <class Number>
void compareInteger(Number (*parse)(const icu::UnicodeString&), void (*write)(icu::UnicodeString&, Number),
                    const icu::UnicodeString& text, const char16_t* type, std::size_t mostDigits) {
  constexpr bool isSigned = static_cast<Number>(-1) < static_cast<Number>(0);
  const auto expected = tarvo::test::modelInteger(units(text), isSigned, mostDigits, 8 * sizeof(Number));
  Number value = 0;
  const auto error = errorOf([&] { value = parse(text); });
  if (!expected) {
    expect(error == noNumber(type, trimmed(text)), "a text that is no integer");
    return;
  }
  expect(!error && value == static_cast<Number>(*expected), "an integer");
  icu::UnicodeString written;
  write(written, value);
  const std::string digits = std::to_string(value);
  expect(written == icu::UnicodeString::fromUTF8(digits), "an integer written");
}

bool same(double one, double other) {
  if (std::isnan(one) || std::isnan(other)) return std::isnan(one) && std::isnan(other);
  return std::memcmp(&one, &other, sizeof one) == 0;
}

/// The program never sets a locale, so the runtime parses in the "C" locale.
std::optional<double> runtimeReads(const std::u16string& text) {
  std::string narrow;
  for (const char16_t unit : text) {
    if (unit == 0 || unit > 0x7F) return std::nullopt;
    narrow += static_cast<char>(unit);
  }
  if (narrow.empty()) return std::nullopt;
  char* end = nullptr;
  const double value = std::strtod(narrow.c_str(), &end);
  if (end != narrow.c_str() + narrow.size()) return std::nullopt;
  return value;
}

template <class Text>
void compareDouble(const Text& text, const std::u16string& trimmedText) {
  const std::optional<double> expected = runtimeReads(trimmedText);
  double value = 0;
  const auto error = errorOf([&] { value = Formatter::stringToDouble(text); });
  if (!expected) {
    expect(error == noNumber(u"double", trimmedText), "a text that is no floating-point number");
  } else {
    expect(!error && same(value, *expected), "a floating-point number");
  }
}

void compare(const icu::UnicodeString& text) {
  compareInteger(&Formatter::stringToInt32, &Formatter::int32ToString, text, u"int32_t", 10);
  compareInteger(&Formatter::stringToUint32, &Formatter::uint32ToString, text, u"uint32_t", 10);
  compareInteger(&Formatter::stringToInt64, &Formatter::int64ToString, text, u"int64_t", 19);
  compareInteger(&Formatter::stringToUint64, &Formatter::uint64ToString, text, u"uint64_t", 20);
  compareDouble(text, trimmed(text));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  if (input.flag()) {
    std::u16string wide;
    for (int i = 0; i < 64 && !input.isEmpty(); ++i) wide += static_cast<char16_t>(input.word());
    compare(tarvo::fuzz::unicode(wide));
  } else {
    const std::string bytes = input.bytes(800);
    const icu::UnicodeString text = icu::UnicodeString::fromUTF8(bytes.c_str());
    compare(text);
    compareDouble(bytes.c_str(), trimmed(text));
  }
  return 0;
}
