#include "infra/oss/kelOutputStream.hpp"
#include "infra/util/kelExtendedProperties.hpp"

#include "kelFuzz.hpp"
#include "support/kelPropertiesModel.hpp"

#include <unicode/unistr.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

/// Any bytes, read, resolved, saved and read again by the library and by the model.
namespace {

using tarvo::fuzz::errorOf;
using tarvo::fuzz::expect;
using tarvo::fuzz::ToldError;
using tarvo::fuzz::units;
using tarvo::test::modelLoad;
using tarvo::test::modelResolve;
using tarvo::test::modelSave;
using tarvo::test::PropertiesModel;
using tarvo::test::PropertiesModelError;
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

class StringStream : public tarvo::oss::OutputStream {
 public:
  using tarvo::oss::OutputStream::write;
  void write(char c) override { bytes += c; }

  std::string bytes;
};

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
  StringStream out;
  properties.save(out);
  expect(out.bytes == modelSave(model), "saved");
  ExtendedProperties again;
  again.load(out.bytes.data(), out.bytes.size(), false);
  PropertiesModel modelAgain;
  modelLoad(modelAgain, out.bytes);
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
  compare(std::string(data, data + size));
  return 0;
}
