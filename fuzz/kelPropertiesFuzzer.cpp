#include "infra/util/kelExtendedProperties.hpp"

#include "kelFuzz.hpp"
#include "support/kelPropertiesModel.hpp"
#include "support/kelSaved.hpp"

#include <unicode/unistr.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

/// Any bytes, read, resolved, saved and read again by the library and by the model; and any pair of texts,
/// saved and read again.
namespace {

using tarvo::fuzz::errorOf;
using tarvo::fuzz::expect;
using tarvo::fuzz::ToldError;
using tarvo::fuzz::unicode;
using tarvo::fuzz::units;
using tarvo::test::modelLoad;
using tarvo::test::modelResolve;
using tarvo::test::modelSave;
using tarvo::test::PropertiesModel;
using tarvo::test::PropertiesModelError;
using tarvo::test::savedBytes;
using tarvo::util::ExtendedProperties;

PropertiesModel contents(const ExtendedProperties& properties) {
  PropertiesModel map;
  for (const auto& [key, value] : properties) map.emplace(units(key), units(value));
  return map;
}

/// The model's error in the form that the fuzzers compare.
std::optional<ToldError> told(const std::optional<PropertiesModelError>& error) {
  if (!error) return std::nullopt;
  return ToldError{error->identifier, error->arguments};
}

/// Whether the saved pair is read back as it was.
bool isReadBack(const icu::UnicodeString& key, const icu::UnicodeString& value, bool resolve) {
  ExtendedProperties properties;
  properties.putProperty(key, value);
  const std::string bytes = savedBytes(properties);
  ExtendedProperties again;
  if (errorOf([&] { again.load(bytes.data(), bytes.size(), resolve); })) return false;
  return contents(again) == contents(properties);
}

/// Takes the bytes as UTF-16: the units up to the first 0 as the key, the others as the value.
void roundTrip(const std::string& bytes) {
  std::u16string text(bytes.size() / 2, u'\0');
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = [&](std::size_t at) {
      return static_cast<unsigned int>(static_cast<unsigned char>(bytes[at]));
    };
    text[i] = static_cast<char16_t>(byte(2 * i) | byte(2 * i + 1) << 8U);
  }
  const std::size_t end = std::min(text.find(u'\0'), text.size());
  const icu::UnicodeString key = unicode(text.substr(0, end));
  const icu::UnicodeString value = unicode(text.substr(std::min(end + 1, text.size())));
  for (const bool resolve : {false, true}) {
    expect(ExtendedProperties::roundTrips(key, value, resolve) == isReadBack(key, value, resolve),
           "round trip");
  }
  const icu::UnicodeString stored = ExtendedProperties::escapeText(value);
  expect(isReadBack(stored, stored, true), "an escaped text is read back");
  icu::UnicodeString restored;
  expect(ExtendedProperties::unescapeText(stored, restored) && restored == value,
         "an escaped text is restored");
}

/// So few references that the text they expand to stays small.
bool hasFewReferences(const PropertiesModel& properties) {
  std::ptrdiff_t percents = 0;
  for (const auto& [key, value] : properties) percents += std::count(value.begin(), value.end(), u'%');
  return percents <= 24;
}

void readLineByLine(const std::string& bytes, const PropertiesModel& expected) {
  ExtendedProperties properties;
  std::size_t position = 0;
  for (std::size_t before = 0; properties.parseLine(position, bytes.data(), bytes.size());
       before = position) {
    expect(position > before && position <= bytes.size(), "where a line ends");
  }
  expect(position == bytes.size(), "where the lines end");
  expect(contents(properties) == expected, "read line by line");
}

void saveAndReadAgain(const ExtendedProperties& properties, const PropertiesModel& model) {
  const std::string saved = savedBytes(properties);
  expect(saved == modelSave(model), "saved");
  ExtendedProperties again;
  again.load(saved.data(), saved.size(), false);
  PropertiesModel modelAgain;
  modelLoad(modelAgain, saved);
  expect(contents(again) == modelAgain, "read again");
}

void compare(const std::string& bytes) {
  PropertiesModel model;
  modelLoad(model, bytes);
  readLineByLine(bytes, model);
  ExtendedProperties properties;
  properties.load(bytes.data(), bytes.size(), false);
  expect(contents(properties) == model, "read");
  saveAndReadAgain(properties, model);
  if (!hasFewReferences(model)) return;

  const auto error = told(modelResolve(model));
  expect(errorOf([&] { properties.resolveReferences(); }) == error, "how resolving ends");
  expect(contents(properties) == model, "resolved");
  saveAndReadAgain(properties, model);

  const icu::UnicodeString text(bytes.data(), static_cast<std::int32_t>(bytes.size()), "ISO-8859-1");
  ExtendedProperties fromText;
  expect(errorOf([&] { fromText.load(text); }) == error, "how reading a text ends");
  expect(contents(fromText) == model, "read from a text");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(data, data + size);
  compare(bytes);
  roundTrip(bytes);
  return 0;
}
