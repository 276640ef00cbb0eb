#include "support/kelEditorLaws.hpp"

#include "infra/util/kelExtendedProperties.hpp"
#include "infra/util/kelPropertiesEditor.hpp"

#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <vector>

namespace tarvo::test {
namespace {

using util::ExtendedProperties;
using util::PropertiesEditor;

using Loaded = std::map<std::u16string, std::u16string>;

icu::UnicodeString unicode(const std::u16string& text) {
  return {text.data(), static_cast<std::int32_t>(text.size())};
}

std::u16string units(const icu::UnicodeString& text) {
  return {text.getBuffer(), static_cast<std::size_t>(text.length())};
}

Loaded loaded(const std::string& bytes) {
  ExtendedProperties properties;
  properties.load(bytes.data(), bytes.size(), false);
  Loaded all;
  for (const auto& [key, value] : properties) all.emplace(units(key), units(value));
  return all;
}

bool canBeHeld(const std::u16string& text) {
  return std::none_of(text.begin(), text.end(), [](char16_t unit) {
    return (unit >= 0xD800 && unit <= 0xDFFF) || (unit >= 0xFDD0 && unit <= 0xFDEF) || unit >= 0xFFFE;
  });
}

/// Whether all bytes outside the edits are equal, and the edits ascend.
bool isEqualOutside(const std::string& before, const std::string& after,
                    const std::vector<PropertiesEditor::Edit>& edits) {
  std::size_t from = 0;
  std::size_t to = 0;
  for (const PropertiesEditor::Edit& edit : edits) {
    if (edit.offset < from || edit.offset + edit.removed > before.size()) return false;
    const std::size_t kept = edit.offset - from;
    if (after.size() - to < kept + edit.inserted || before.compare(from, kept, after, to, kept) != 0)
      return false;
    from += kept + edit.removed;
    to += kept + edit.inserted;
  }
  return before.substr(from) == after.substr(to);
}

/// Line and column of the byte at `offset`, from 1.
std::pair<std::size_t, std::size_t> positionOf(const std::string& bytes, std::size_t offset) {
  std::size_t line = 1;
  std::size_t start = 0;
  for (std::size_t i = 0; i < offset; ++i) {
    const bool isFirstOfTwo = bytes.compare(i, 2, "\r\n") == 0;
    if ((bytes[i] != '\r' || isFirstOfTwo) && bytes[i] != '\n') continue;
    ++line;
    start = i + 1;
  }
  return {line, offset - start + 1};
}

std::size_t firstOfKey(const std::string& bytes, std::size_t offset) {
  for (;;) {
    while (offset < bytes.size() && (bytes[offset] == ' ' || bytes[offset] == '\t')) ++offset;
    if (bytes.compare(offset, 3, "\\\r\n") == 0) {
      offset += 3;
    } else if (bytes.compare(offset, 2, "\\\r") == 0 || bytes.compare(offset, 2, "\\\n") == 0) {
      offset += 2;
    } else {
      return offset;
    }
  }
}

/// The places of all keys, by reading one line after the other.
std::map<std::u16string, PropertiesEditor::Place> modelPlaces(const std::string& bytes) {
  std::map<std::u16string, PropertiesEditor::Place> places;
  std::size_t offset = 0;
  for (;;) {
    ExtendedProperties one;
    std::size_t end = offset;
    if (!one.parseLine(end, bytes.data(), bytes.size())) return places;
    if (one.begin() != one.end()) {
      const auto [line, column] = positionOf(bytes, firstOfKey(bytes, offset));
      const auto [place, isNew] = places.try_emplace(units(one.begin()->first));
      if (!isNew) place->second.overriddenLines.push_back(place->second.line);
      place->second.offset = offset;
      place->second.length = end - offset;
      place->second.line = line;
      place->second.column = column;
    }
    offset = end;
  }
}

/// The first error in the places that the editor finds.
std::string brokenPlace(const PropertiesEditor& editor) {
  const std::string bytes = editor.bytes();
  for (const auto& [key, model] : modelPlaces(bytes)) {
    PropertiesEditor::Place place{};
    if (!editor.find(unicode(key), place)) return "a key is not found";
    if (place.offset != model.offset || place.length != model.length) return "the span of a line is wrong";
    if (place.line != model.line || place.column != model.column) return "line or column is wrong";
    if (place.overriddenLines != model.overriddenLines) return "the overridden lines are wrong";
    if (place.valueOffset < place.offset) return "the value is before its line";
    if (place.valueOffset + place.valueLength > place.offset + place.length) return "the value is too long";
    const std::string rest = bytes.substr(place.valueOffset + place.valueLength);
    const std::string end =
        place.offset + place.length < bytes.size() ? rest.substr(0, rest.find_first_not_of("\r\n")) : rest;
    if (end.find_first_not_of("\r\n") != std::string::npos) return "bytes follow the value";
  }
  return "";
}

std::string brokenChange(const PropertiesEditor& editor, const std::string& before, const Loaded& wanted) {
  const std::string after = editor.bytes();
  if (loaded(after) != wanted) return "another map is loaded";
  if (!isEqualOutside(before, after, editor.edits())) return "bytes outside the edits differ";
  if (wanted == loaded(before) && after.size() == before.size() && after != before) return "bytes differ";
  return brokenPlace(editor);
}

std::string brokenSet(PropertiesEditor& editor, const std::u16string& key, const std::u16string& value) {
  const std::string before = editor.bytes();
  Loaded wanted = loaded(before);
  const auto old = wanted.find(key);
  const bool isSame = old != wanted.end() && old->second == value;
  const bool isHeld = canBeHeld(key) && canBeHeld(value);
  if (editor.set(unicode(key), unicode(value)) != isHeld) return "what set returns";
  if (isHeld) wanted[key] = value;
  if ((isSame || !isHeld) && (editor.bytes() != before || !editor.edits().empty())) {
    return "a set that should change nothing changed bytes";
  }
  const std::string broken = brokenChange(editor, before, wanted);
  return broken.empty() ? "" : "set: " + broken;
}

std::string brokenRemove(PropertiesEditor& editor, const std::u16string& key) {
  const std::string before = editor.bytes();
  Loaded wanted = loaded(before);
  const auto places = modelPlaces(before);
  const auto place = places.find(key);
  const std::size_t count = place == places.end() ? 0 : 1 + place->second.overriddenLines.size();
  wanted.erase(key);
  if (editor.remove(unicode(key)) != count) return "what remove returns";
  const std::string broken = brokenChange(editor, before, wanted);
  if (!broken.empty()) return "remove: " + broken;
  PropertiesEditor::Place found{};
  return editor.find(unicode(key), found) ? "a removed key is found" : "";
}

}  // namespace

std::string brokenEditorLaw(const std::string& bytes, const std::u16string& key,
                            const std::u16string& value) {
  PropertiesEditor editor(bytes.data(), bytes.size());
  if (editor.bytes() != bytes) return "an editor without changes has other bytes";
  if (const std::string broken = brokenPlace(editor); !broken.empty()) return broken;
  for (const auto& [ofLoaded, loadedValue] : loaded(bytes)) {
    if (const std::string broken = brokenSet(editor, ofLoaded, loadedValue); !broken.empty()) return broken;
    if (editor.bytes() != bytes) return "a value that was loaded changed bytes";
  }
  for (int time = 0; time < 2; ++time) {
    if (const std::string broken = brokenSet(editor, key, value); !broken.empty()) return broken;
  }
  return brokenRemove(editor, key);
}

std::string brokenEditorWalk(const std::string& bytes, const std::string& choices) {
  static const std::vector<std::u16string> values = {u"",       u"v",          u" v",    u"\\",
                                                     u"\u00E4", u"#=: \n\r\t", u"\xD800"};
  PropertiesEditor editor(bytes.data(), bytes.size());
  std::vector<std::u16string> keys = {u"", u"a", u"new key", u"\u3042"};
  for (const auto& [key, value] : loaded(bytes)) keys.push_back(key);
  for (const char choice : choices) {
    const auto number = static_cast<unsigned char>(choice);
    const std::u16string& key = keys[number / 8U % keys.size()];
    const unsigned int what = number % 8U;
    const std::string broken =
        what == values.size() ? brokenRemove(editor, key) : brokenSet(editor, key, values[what]);
    if (!broken.empty()) return broken;
  }
  return "";
}

}  // namespace tarvo::test
