#include "infra/oss/kelOutputStream.hpp"
#include "infra/util/kelExtendedProperties.hpp"

#include "support/kelProcess.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"

#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <vector>

/// Compares the library with Java's reader of properties, which reads the same format except for the
/// differences listed below. Without Java, the tests fail.
namespace tarvo::test {
namespace {

using util::ExtendedProperties;

const std::string sources = KELINFRA_TEST_SOURCES;

// --- properties as text: lines "key=value" in hexadecimal digits, ordered by key

constexpr const char* refused = "refused\n";

std::string hex(const std::u16string& text) {
  std::string digits;
  for (const char16_t unit : text) {
    std::array<char, 5> four{};
    std::snprintf(four.data(), four.size(), "%04X", static_cast<unsigned int>(unit));
    digits += four.data();
  }
  return digits;
}

std::string hex(const icu::UnicodeString& text) {
  return hex(std::u16string(text.getBuffer(), static_cast<std::size_t>(text.length())));
}

std::string line(const std::u16string& key, const std::u16string& value) {
  return hex(key) + "=" + hex(value) + "\n";
}

std::string readByLibrary(const std::string& document) {
  ExtendedProperties properties;
  properties.load(document.data(), document.size(), false);
  std::string reading;
  for (const auto& [key, value] : properties) reading += hex(key) + "=" + hex(value) + "\n";
  return reading;
}

/// The properties that Java reads from each document. One Java process reads all documents.
std::vector<std::string> readByJava(const std::vector<std::string>& documents) {
  std::string input;
  for (const std::string& document : documents) {
    for (unsigned int shift = 32; shift > 0; shift -= 8) {
      input += static_cast<char>(static_cast<unsigned char>(document.size() >> (shift - 8)));
    }
    input += document;
  }
  const ProcessResult result = runProcess({"java", sources + "/infra/util/PropertiesJudge.java"}, input);
  EXPECT_EQ(result.status, 0) << result.err;
  std::vector<std::string> readings;
  std::string reading;
  std::istringstream lines(result.out);
  for (std::string each; std::getline(lines, each);) {
    if (!each.empty()) {
      reading += each + "\n";
      continue;
    }
    readings.push_back(reading);
    reading.clear();
  }
  EXPECT_EQ(readings.size(), documents.size()) << result.err;
  readings.resize(documents.size());
  return readings;
}

// --- differences

struct Difference {
  const char* why;
  std::string document;
  std::string byLibrary;
  std::string byJava;
};

TEST(PropertiesJudge, ReadsTheListedTextsDifferently) {
  const std::vector<Difference> rows = {
      {"form feed is an ordinary character for the library and white space for Java", "a\fb",
       line(u"a\fb", u""), line(u"a", u"b")},
      {"form feed before a key", "\fa=b", line(u"\fa", u"b"), line(u"a", u"b")},
      {"backslash f is the letter f for the library and a form feed for Java", "a=\\f", line(u"a", u"f"),
       line(u"a", u"\f")},
      {"a Unicode escape at the end of the data is not decoded by the library", "a=\\u0041",
       line(u"a", u"u0041"), line(u"a", u"A")},
      {"a malformed Unicode escape is the letter u for the library and an error for Java", "a=\\u12G4\n",
       line(u"a", u"u12G4"), refused},
      {"a Unicode escape that is too short, at the end of a line", "a=\\u004\n", line(u"a", u"u004"),
       refused},
      {"a Unicode escape across a continuation", "a=\\u00\\\n41\n", line(u"a", u"u0041"), line(u"a", u"A")},
      {"the library does not decode an escaped surrogate", "a=\\uD83D\\uDE00\n", line(u"a", u"uD83DuDE00"),
       line(u"a", u"\U0001F600")},
      {"nor an unpaired surrogate", "a=\\uDC00\n", line(u"a", u"uDC00"), line(u"a", u"\xDC00")},
      {"nor a noncharacter from U+FDD0 to U+FDEF", "a=\\uFDD0\\uFDEF\n", line(u"a", u"uFDD0uFDEF"),
       line(u"a", u"\uFDD0\uFDEF")},
      {"nor U+FFFE and U+FFFF", "a=\\uFFFE\\uFFFF\n", line(u"a", u"uFFFEuFFFF"), line(u"a", u"\uFFFE\uFFFF")},
      {"the library skips a line of nothing but continuations; Java reads an empty key if the data ends with "
       "it",
       " \\\r\n\\\n", "", line(u"", u"")},
      {"also after other lines", "a=b\n\\\r", line(u"a", u"b"), line(u"", u"") + line(u"a", u"b")},
  };
  std::vector<std::string> documents;
  for (const Difference& row : rows) documents.push_back(row.document);
  const std::vector<std::string> byJava = readByJava(documents);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    ROW(rows[i].why);
    EXPECT_EQ(readByLibrary(rows[i].document), rows[i].byLibrary);
    EXPECT_EQ(byJava[i], rows[i].byJava);
    EXPECT_NE(rows[i].byLibrary, rows[i].byJava) << "no difference";
  }
}

// --- no differences

/// Random documents with common kinds of lines, without the constructs listed above.
class Documents {
 public:
  explicit Documents(unsigned int seed) : random_(seeded(seed)) {}

  std::string next() {
    const std::string lineEnd = pick({"\n", "\r\n", "\r"});
    std::string document;
    for (std::size_t i = below(30); i > 0; --i) document += blanks() + nextLine(lineEnd) + lineEnd;
    return document;
  }

 private:
  std::size_t below(std::size_t limit) { return random_() % limit; }
  std::string pick(const std::vector<std::string>& choices) { return choices[below(choices.size())]; }
  std::string blanks() { return pick({"", "", "", " ", "\t", "  "}); }

  std::string nextLine(const std::string& lineEnd) {
    switch (below(8)) {
      case 0:
        return "";
      case 1:
        return pick({"#", "!"}) + pick({"", " a comment", "a=b \\", "include x"});
      default: {
        std::string text = pieces(lineEnd, 3) + blanks() + pick({"=", ":", " ", "\t", ""}) + blanks();
        if (below(6) != 0) text += pieces(lineEnd, 8) + pick({"", "", " ", "=", ":", "#"});
        return text;
      }
    }
  }

  /// Random pieces, the first of which is not a continuation.
  std::string pieces(const std::string& lineEnd, std::size_t most) {
    std::string text = piece();
    for (std::size_t i = below(most); i > 0; --i) {
      text += below(6) == 0 ? "\\" + lineEnd + blanks() : piece();
    }
    return text;
  }

  std::string piece() {
    return pick({"a",       "key",     "b.c",     "-",       "%name%",   "50%",     "\\:",
                 "\\=",     "\\ ",     "\\#",     "\\!",     "\\\\",     "\\n",     "\\r",
                 "\\t",     "\\q",     "\\\"",    "\\u0041", "\\u4e2D",  "\\u0020", "\\u003D",
                 "\\u005C", "\\uFDCF", "\\uFFFD", "\xE9",    "\xFF\x80", "\x01",    std::string(1, '\0')});
  }

  std::mt19937 random_;
};

/// All documents of up to five bytes that are special in lines. Documents that end in a backslash and CR or
/// LF are left out, because the last difference above may apply to them.
std::vector<std::string> shortDocuments() {
  std::vector<std::string> documents = {""};
  for (std::size_t i = 0; documents[i].size() < 5; ++i) {
    for (const char byte : {'\\', '\r', '\n', ' ', '=', '#', 'a'}) documents.push_back(documents[i] + byte);
  }
  documents.erase(std::remove_if(documents.begin(), documents.end(),
                                 [](const std::string& document) {
                                   return document.size() > 1 && document[document.size() - 2] == '\\' &&
                                          (document.back() == '\r' || document.back() == '\n');
                                 }),
                  documents.end());
  return documents;
}

/// A document and its name in failure messages.
struct Named {
  std::string name;
  std::string document;
};

std::vector<Named> files() {
  std::vector<Named> found;
  for (const auto& entry : std::filesystem::directory_iterator(sources + "/data/properties")) {
    std::ifstream file(entry.path(), std::ios::binary);
    found.push_back(
        {entry.path().filename().string(), std::string(std::istreambuf_iterator<char>(file), {})});
  }
  return found;
}

class StringStream : public oss::OutputStream {
 public:
  using oss::OutputStream::write;
  void write(char c) override { bytes += c; }

  std::string bytes;
};

/// The document after the library has loaded and saved it.
std::string savedAgain(const std::string& document) {
  ExtendedProperties properties;
  properties.load(document.data(), document.size(), false);
  StringStream out;
  properties.save(out);
  return out.bytes;
}

TEST(PropertiesJudge, ReadsEverythingElseAsTheLibraryDoes) {
  std::vector<Named> all = files();
  ASSERT_GE(all.size(), 12U) << "of " << sources;
  for (unsigned int seed = 1; seed <= 3000; ++seed) {
    all.push_back({"generated from the seed " + std::to_string(seed), Documents(seed).next()});
  }
  for (const std::string& document : shortDocuments()) all.push_back({"a short one", document});
  const std::size_t count = all.size();
  for (std::size_t i = 0; i < count; ++i)
    all.push_back({all[i].name + ", saved", savedAgain(all[i].document)});

  std::vector<std::string> documents;
  for (const Named& each : all) documents.push_back(each.document);
  const std::vector<std::string> byJava = readByJava(documents);
  std::size_t properties = 0;
  for (std::size_t i = 0; i < all.size(); ++i) {
    ROW("i", i);
    const std::string byLibrary = readByLibrary(documents[i]);
    ASSERT_EQ(byLibrary, byJava[i]) << all[i].name << ": " << testing::PrintToString(documents[i]);
    properties += static_cast<std::size_t>(std::count(byLibrary.begin(), byLibrary.end(), '\n'));
  }
  EXPECT_GT(properties, 20'000U) << "too little was compared";
}

}  // namespace
}  // namespace tarvo::test
