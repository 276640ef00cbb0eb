#include "infra/oss/kelNLSException.hpp"
#include "infra/oss/kelUTF8Iterator.hpp"

#include "support/kelProcess.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"
#include "support/kelUTF8Model.hpp"

#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>
#include <vector>

/// Compares the iterator with Python's strict decoder. Without Python, the test fails.
namespace tarvo::test {
namespace {

using oss::NLSException;
using oss::UTF8Iterator;

/// Reads one text per line in hexadecimal, and writes its characters, or "malformed".
constexpr const char* script = R"(
import sys
for line in sys.stdin:
    try:
        characters = bytes.fromhex(line).decode("utf-8", "strict")
        print(" ".join(c.encode("utf-8").hex() for c in characters))
    except UnicodeDecodeError:
        print("malformed")
)";

std::string hex(const std::string& bytes) {
  std::string digits;
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    digits += "0123456789abcdef"[value / 16];
    digits += "0123456789abcdef"[value % 16];
  }
  return digits;
}

std::string iteratorSays(const std::string& text) {
  try {
    UTF8Iterator iterator(text.c_str());
    std::string characters;
    while (iterator.hasMoreChars())
      characters += (characters.empty() ? "" : " ") + hex(iterator.getNextChar());
    return characters;
  } catch (const NLSException&) {
    return "malformed";
  }
}

std::string randomText(unsigned int seed) {
  std::mt19937 engine(seeded(seed));
  if (seed % 4 != 0) return randomUtf8(engine, 1 + engine() % 40, seed % 4 == 1 ? 0 : 3);
  std::string bytes(1 + engine() % 5, '\0');  // short texts of random bytes
  for (char& byte : bytes) byte = static_cast<char>(1 + engine() % 255);
  return bytes;
}

TEST(UTF8IteratorJudge, AgreesWithPythonsStrictDecoder) {
  constexpr unsigned int texts = 20'000;
  std::string input;
  for (unsigned int seed = 0; seed < texts; ++seed) input += hex(randomText(seed)) + "\n";
  const ProcessResult python = runProcess({"python3", "-c", script}, input);
  ASSERT_EQ(python.status, 0) << python.err;
  std::istringstream answers(python.out);
  std::string answer;
  unsigned int wellFormed = 0;
  for (unsigned int seed = 0; seed < texts; ++seed) {
    ROW("seed", seed);
    ASSERT_TRUE(std::getline(answers, answer)) << "seed " << seed;
    ASSERT_EQ(iteratorSays(randomText(seed)), answer) << "seed " << seed;
    if (answer != "malformed") ++wellFormed;
  }
  // The sample must contain enough texts of both kinds.
  EXPECT_GT(wellFormed, texts / 5);
  EXPECT_LT(wellFormed, texts - texts / 5);
}

}  // namespace
}  // namespace tarvo::test
