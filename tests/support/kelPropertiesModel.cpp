#include "support/kelPropertiesModel.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdio>

namespace tarvo::test {
namespace {

bool startsWithAny(const std::string& text, const std::string& bytes) {
  return !text.empty() && bytes.find(text[0]) != std::string::npos;
}

/// The size of the line end at `at` in bytes: 0, 1 or 2; 0 means that there is no line end.
std::size_t lineEndAt(const std::string& text, std::size_t at) {
  if (text.compare(at, 2, "\r\n") == 0) return 2;
  return at < text.size() && (text[at] == '\r' || text[at] == '\n') ? 1 : 0;
}

void dropBlanksAndContinuations(std::string& rest) {
  for (;;) {
    if (startsWithAny(rest, "\t ")) {
      rest.erase(0, 1);
    } else if (rest.size() > 1 && rest[0] == '\\' && lineEndAt(rest, 1) != 0) {
      rest.erase(0, 1 + lineEndAt(rest, 1));
    } else {
      return;
    }
  }
}

bool isHex(char c) {
  return std::string("0123456789ABCDEFabcdef").find(c) != std::string::npos;
}

/// The code unit of an escape \uXXXX, or nullopt if the parser does not accept it. `afterU` starts after the
/// "u".
std::optional<char16_t> unicodeEscape(const std::string& afterU) {
  if (afterU.size() < 5) return std::nullopt;  // four digits and at least one more byte
  const std::string digits = afterU.substr(0, 4);
  if (!std::all_of(digits.begin(), digits.end(), isHex)) return std::nullopt;
  const unsigned long value = std::stoul(digits, nullptr, 16);
  if (value >= 0xD800 && value <= 0xDFFF) return std::nullopt;
  if (value >= 0xFDD0 && value <= 0xFDEF) return std::nullopt;
  if (value == 0xFFFE || value == 0xFFFF) return std::nullopt;
  return static_cast<char16_t>(value);
}

/// Removes one escape, which starts with a backslash, from the front of `rest`; returns its text.
std::u16string takeEscape(std::string& rest) {
  if (rest.size() == 1) {
    rest.clear();
    return u"";
  }
  if (lineEndAt(rest, 1) != 0) {
    dropBlanksAndContinuations(rest);
    return u"";
  }
  const char next = rest[1];
  rest.erase(0, 2);
  if (next == 'n') return u"\n";
  if (next == 'r') return u"\r";
  if (next == 't') return u"\t";
  if (next == 'u') {
    const auto unit = unicodeEscape(rest);
    if (!unit) return u"u";
    rest.erase(0, 4);
    return {*unit};
  }
  return {static_cast<char16_t>(static_cast<unsigned char>(next))};
}

std::u16string takeText(std::string& rest, const std::string& ends) {
  std::u16string text;
  while (!rest.empty() && !startsWithAny(rest, ends)) {
    if (rest[0] == '\\') {
      text += takeEscape(rest);
    } else {
      text += static_cast<char16_t>(static_cast<unsigned char>(rest[0]));
      rest.erase(0, 1);
    }
  }
  return text;
}

struct Resolving {
  PropertiesModel& properties;
  std::vector<std::u16string> stack;

  void resolve(const std::u16string& key, std::u16string& value) {
    if (std::find(stack.begin(), stack.end(), key) != stack.end()) {
      throw PropertiesModelError{"ERR_PROPERTIES_CYCLIC_REFERENCE", {key}};
    }
    stack.push_back(key);
    for (;;) {
      const std::size_t first = value.find(u'%');
      if (first == std::u16string::npos) break;
      const std::size_t second = value.find(u'%', first + 1);
      if (second == std::u16string::npos) break;
      const std::u16string name = value.substr(first + 1, second - first - 1);
      const auto found = properties.find(name);
      if (found == properties.end()) throw PropertiesModelError{"ERR_PROPERTIES_BAD_REFERENCE", {key, name}};
      resolve(name, found->second);
      value.replace(first, second - first + 1, found->second);
    }
    stack.pop_back();
  }
};

std::uint32_t codePointAt(const std::u16string& text, std::size_t at) {
  const auto isLead = [&](std::size_t i) { return i < text.size() && text[i] / 0x400 == 0x36; };
  const auto isTrail = [&](std::size_t i) { return i < text.size() && text[i] / 0x400 == 0x37; };
  const auto pair = [&](std::size_t i) {
    return 0x10000U + (text[i] % 0x400U) * 0x400U + text[i + 1] % 0x400U;
  };
  if (isLead(at) && isTrail(at + 1)) return pair(at);
  if (at > 0 && isTrail(at) && isLead(at - 1)) return pair(at - 1);
  return text[at];
}

std::string escaped(const std::u16string& text, bool escapeSpecials, bool escapeSpace) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::uint32_t c = codePointAt(text, i);
    if (c > 127) {
      char escape[7];
      std::snprintf(escape, sizeof escape, "\\u%04X", c % 0x10000U);
      bytes += escape;
    } else if (escapeSpecials && c == '\r') {
      bytes += "\\r";
    } else if (escapeSpecials && c == '\n') {
      bytes += "\\n";
    } else if (escapeSpecials && c == '\t') {
      bytes += "\\t";
    } else if (escapeSpecials && (c == '!' || c == '#' || c == ':' || c == '=' || c == '\\')) {
      bytes += {'\\', static_cast<char>(c)};
    } else if (escapeSpace && c == ' ') {
      bytes += "\\ ";
    } else {
      bytes += static_cast<char>(c);
    }
  }
  return bytes;
}

}  // namespace

bool modelTakeLine(PropertiesModel& properties, std::string& rest) {
  if (rest.empty()) return false;
  dropBlanksAndContinuations(rest);
  if (rest.empty()) return true;
  if (lineEndAt(rest, 0) != 0) {
    rest.erase(0, lineEndAt(rest, 0));
    return true;
  }
  if (startsWithAny(rest, "#!")) {
    const std::size_t end = std::min(rest.find_first_of("\r\n"), rest.size());
    rest.erase(0, end + lineEndAt(rest, end));
    return true;
  }
  const std::u16string key = takeText(rest, ":=\t \n\r");
  dropBlanksAndContinuations(rest);
  if (startsWithAny(rest, ":=")) {
    rest.erase(0, 1);
    dropBlanksAndContinuations(rest);
  }
  const std::u16string value = takeText(rest, "\n\r");
  rest.erase(0, lineEndAt(rest, 0));
  properties.erase(key);
  properties.emplace(key, value);
  return true;
}

void modelLoad(PropertiesModel& properties, std::string bytes) {
  while (modelTakeLine(properties, bytes)) {
  }
}

std::optional<PropertiesModelError> modelResolve(PropertiesModel& properties) {
  try {
    for (auto& [key, value] : properties) Resolving{properties, {}}.resolve(key, value);
    return std::nullopt;
  } catch (const PropertiesModelError& error) {
    return error;
  }
}

std::string modelSave(const PropertiesModel& properties, const std::vector<std::u16string>& includes) {
  std::string bytes = "#saved by ExtendedProperties on \r\n";
  for (const std::u16string& name : includes) bytes += "#include " + escaped(name, false, false) + "\r\n";
  for (const auto& [key, value] : properties) {
    bytes += escaped(key, true, true) + "=" + escaped(value, true, false) + "\r\n";
  }
  return bytes;
}

}  // namespace tarvo::test
