#include "infra/oss/kelConverter.hpp"

#include "support/kelProcess.hpp"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

/// Compares the converter with ICU's program uconv. Without that program, the tests fail.
namespace tarvo::test {
namespace {

using oss::Converter;

/// A text all of whose characters are in its code page.
struct Sample {
  const char* codePage;
  const char8_t* line;
};

void PrintTo(const Sample& sample, std::ostream* os) {
  *os << sample.codePage;
}

constexpr const char8_t* latin = u8"Gr\u00FC\u00DFe, caf\u00E9, \u00BFqu\u00E9?, \u00C5ngstr\u00F6m\n";
constexpr const char8_t* western = u8"\u201Cfive\u201D \u20AC 5 \u2014 \u0152uvre, gar\u00E7on\n";
constexpr const char8_t* cyrillic =
    u8"\u0421\u044A\u0435\u0448\u044C \u0451\u0449\u0451, \u0436\u0443\u043A\n";
constexpr const char8_t* greek = u8"\u0391\u03B8\u03AE\u03BD\u03B1, \u03BA\u03B1\u03BB\u03CC\n";
constexpr const char8_t* japanese = u8"\u65E5\u672C\u8A9E \u304B\u306A \u30AB\u30CA, ASCII\u3002\n";
constexpr const char8_t* chinese = u8"\u4E2D\u6587\uFF0C\u5168\u6587\u68C0\u7D22 text\u3002\n";
constexpr const char8_t* taiwanese = u8"\u4E2D\u6587\uFF0C\u5168\u6587\u6AA2\u7D22 text\u3002\n";
constexpr const char8_t* korean = u8"\uD55C\uAD6D\uC5B4 \uD14D\uC2A4\uD2B8 text.\n";
constexpr const char8_t* all =
    u8"a \u00E9 \u0416 \u20AC \u65E5\u672C \uD55C \U0001F600 \U00020000 \U0010FFFD\n";

class ConverterJudge : public testing::TestWithParam<Sample> {
 protected:
  /// Longer than the blocks that the program reads, so that characters cross block boundaries.
  static std::string text() {
    const std::string line = reinterpret_cast<const char*>(GetParam().line);
    std::string lines;
    for (int i = 0; lines.size() < 20'000; ++i) lines += std::to_string(i) + " " + line;
    return lines;
  }

  static std::string programConverts(const std::string& bytes, const char* from, const char* to) {
    const ProcessResult result =
        runProcess({"uconv", "-f", from, "-t", to, "--callback", "substitute"}, bytes);
    EXPECT_EQ(result.status, 0) << result.err;
    return result.out;
  }

  static std::string libraryConverts(const std::string& bytes, const char* from, const char* to) {
    const int length = static_cast<int>(bytes.size());
    const int size = Converter::convert(nullptr, 0, from, bytes.data(), length, to);
    std::string converted(static_cast<std::size_t>(size), '#');
    EXPECT_EQ(Converter::convert(converted.data(), size, from, bytes.data(), length, to), size);
    EXPECT_EQ(converted.back(), '\0');
    converted.pop_back();
    return converted;
  }
};

TEST_P(ConverterJudge, WritesTheFileThatTheProgramWrites) {
  const std::string utf8 = text();
  const std::string expected = programConverts(utf8, "UTF-8", GetParam().codePage);
  EXPECT_FALSE(expected.empty());
  EXPECT_TRUE(libraryConverts(utf8, "UTF-8", GetParam().codePage) == expected);
}

TEST_P(ConverterJudge, ReadsTheFileThatTheProgramWrites) {
  const std::string utf8 = text();
  const std::string bytes = programConverts(utf8, "UTF-8", GetParam().codePage);
  EXPECT_TRUE(libraryConverts(bytes, GetParam().codePage, "utf-8") == utf8);
  EXPECT_TRUE(programConverts(bytes, GetParam().codePage, "UTF-8") == utf8);
}

// Characters that the code page does not contain, and invalid bytes.
TEST_P(ConverterJudge, ReplacesTheSameInvalidDataAsTheProgram) {
  std::string utf8 = text();
  for (std::size_t at = 50; at < utf8.size(); at += 97) utf8[at] = static_cast<char>(utf8[at] ^ 0x80);
  utf8 += reinterpret_cast<const char*>(all);
  EXPECT_TRUE(libraryConverts(utf8, "UTF-8", GetParam().codePage) ==
              programConverts(utf8, "UTF-8", GetParam().codePage));
  std::string bytes = programConverts(text(), "UTF-8", GetParam().codePage);
  for (std::size_t at = 50; at < bytes.size(); at += 97) bytes[at] = static_cast<char>(bytes[at] ^ 0xA5);
  EXPECT_TRUE(libraryConverts(bytes, GetParam().codePage, "UTF-16BE") ==
              programConverts(bytes, GetParam().codePage, "UTF-16BE"));
}

INSTANTIATE_TEST_SUITE_P(Uconv, ConverterJudge,
                         testing::Values(Sample{"utf8", all}, Sample{"UTF-16LE", all}, Sample{"UTF-16", all},
                                         Sample{"UTF-32BE", all}, Sample{"UTF-7", all},
                                         Sample{"ISO-8859-1", latin}, Sample{"ISO-8859-15", latin},
                                         Sample{"windows-1252", western}, Sample{"windows-1251", cyrillic},
                                         Sample{"KOI8-R", cyrillic}, Sample{"ISO-8859-7", greek},
                                         Sample{"IBM037", latin}, Sample{"Shift_JIS", japanese},
                                         Sample{"EUC-JP", japanese}, Sample{"ISO-2022-JP", japanese},
                                         Sample{"GB18030", all}, Sample{"GBK", chinese},
                                         Sample{"Big5", taiwanese}, Sample{"EUC-KR", korean},
                                         Sample{"ISO-2022-KR", korean}, Sample{"IBM1388", chinese}),
                         [](const auto& row) {
                           std::string name;
                           for (const char c : std::string(row.param.codePage)) {
                             if (c != '-' && c != '_') name += c;
                           }
                           return name;
                         });

}  // namespace
}  // namespace tarvo::test
