#include "infra/util/kelBase64.hpp"
#include "infra/util/kelBase64Exception.hpp"

#include "support/kelProcess.hpp"
#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"

#include <gtest/gtest.h>

#include <ostream>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

/// Compares the library with the operating system's base64 tools. Without these tools, the tests fail.
namespace tarvo::test {
namespace {

using util::Base64;
using util::Base64Exception;

struct Judge {
  const char* tool;
  const char* alphabet;
  std::size_t (*encode)(unsigned short*, std::size_t, const char*, std::size_t);
  std::size_t (*decode)(char*, std::size_t, const unsigned short*, std::size_t);
};

void PrintTo(const Judge& judge, std::ostream* os) {
  *os << judge.tool << " " << judge.alphabet;
}

class Base64Judge : public testing::TestWithParam<Judge> {
 protected:
  static std::string toolEncodes(const std::string& bytes) {
    const ProcessResult result = runProcess({GetParam().tool, GetParam().alphabet, "--wrap=0"}, bytes);
    EXPECT_EQ(result.status, 0) << result.err;
    return result.out;
  }

  static ProcessResult toolDecodes(const std::string& text) {
    return runProcess({GetParam().tool, GetParam().alphabet, "--decode"}, text);
  }

  static std::string libraryEncodes(const std::string& bytes) {
    std::vector<unsigned short> text(Base64::encodeSize(bytes.size()));
    text.resize(GetParam().encode(text.data(), text.size(), bytes.data(), bytes.size()));
    return {text.begin(), text.end()};
  }

  static std::string libraryDecodes(const std::string& text) {
    std::vector<unsigned short> units(text.begin(), text.end());
    units.push_back(0);
    std::string bytes(Base64::decodeSize(text.size()), '\0');
    bytes.resize(GetParam().decode(bytes.data(), bytes.size(), units.data(), text.size()));
    return bytes;
  }
};

std::string randomBytes(std::size_t length, std::mt19937& engine) {
  std::string bytes(length, '\0');
  for (char& byte : bytes) byte = static_cast<char>(engine());
  return bytes;
}

TEST_P(Base64Judge, AgreesOnShortInputsOfEveryLengthAndOnAMebibyte) {
  std::mt19937 engine(seeded(4648));
  std::vector<std::size_t> lengths = {1U << 20U, (1U << 20U) + 1, (1U << 20U) + 2};
  for (std::size_t length = 0; length <= 34; ++length) lengths.push_back(length);
  for (const std::size_t length : rowsOf(lengths)) {
    const std::string bytes = randomBytes(length, engine);
    const std::string text = toolEncodes(bytes);
    EXPECT_TRUE(libraryEncodes(bytes) == text) << length;
    EXPECT_TRUE(libraryDecodes(text) == bytes) << length;
    const ProcessResult back = toolDecodes(libraryEncodes(bytes));
    EXPECT_TRUE(back.status == 0 && back.out == bytes) << length << back.err;
  }
}

TEST_P(Base64Judge, AgreesOnTheUnitsOfTheAlphabet) {
  for (int unit = 1; unit < 256; ++unit) {
    ROW("unit", unit);
    if (unit == '\n') continue;  // the tools skip line ends, but the library does not
    const std::string text = std::string("AAA") + static_cast<char>(unit);
    const ProcessResult tool = toolDecodes(text);
    if (tool.status == 0) {
      EXPECT_EQ(libraryDecodes(text), tool.out) << unit;
    } else {
      EXPECT_THROW(libraryDecodes(text), Base64Exception) << unit;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Coreutils, Base64Judge,
                         testing::Values(Judge{"basenc", "--base64", &Base64::encode, &Base64::decode},
                                         Judge{"basenc", "--base64url", &Base64::encodeSafe,
                                               &Base64::decodeSafe}),
                         [](const auto& row) { return std::string(row.index == 0 ? "Standard" : "Safe"); });

TEST(Base64JudgeTools, TheProgramBase64ReadsAndWritesTheStandardAlphabet) {
  std::mt19937 engine(seeded(64));
  const std::string bytes = randomBytes(50'000, engine);
  std::vector<unsigned short> text(Base64::encodeSize(bytes.size()));
  Base64::encode(text.data(), text.size(), bytes.data(), bytes.size());
  const std::string narrow(text.begin(), text.end());
  EXPECT_TRUE(runProcess({"base64", "-w0"}, bytes).out == narrow);
  EXPECT_TRUE(runProcess({"base64", "-d"}, narrow).out == bytes);
}

TEST(Base64JudgeTools, FailsWithoutItsTool) {
  EXPECT_THROW(runProcess({"no-such-tool-as-this"}), std::runtime_error);
}

}  // namespace
}  // namespace tarvo::test
