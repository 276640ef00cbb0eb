#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"
#include "support/kelUTF8Model.hpp"
#include "text/kelUTF8Text.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <random>
#include <string>

namespace tarvo::text {
namespace {

using test::modelCount;
using test::rowsOf;

template <std::size_t Size>
class Sequence {
 public:
  char& operator[](std::size_t place) { return bytes_[place]; }

  bool agreesWithModel() const {
    const auto expected = modelCount(bytes_.data(), Size);
    return countWellFormed(bytes_.data(), Size) == (expected ? static_cast<std::ptrdiff_t>(*expected) : -1);
  }
  std::string bytes() const { return testing::PrintToString(std::string(bytes_.data(), Size)); }

 private:
  std::array<char, Size> bytes_{};
};

TEST(Utf8Text, ChecksEveryTextOfThreeBytesLikeTheModel) {
  Sequence<3> text;
  for (int first = 0; first < 256; ++first) {
    ROW("first", first);
    text[0] = static_cast<char>(first);
    for (int second = 0; second < 256; ++second) {
      ROW("second", second);
      text[1] = static_cast<char>(second);
      for (int third = 0; third < 256; ++third) {
        ROW("third", third);
        text[2] = static_cast<char>(third);
        if (!text.agreesWithModel()) FAIL() << text.bytes();
      }
    }
  }
}

// Every first and second byte. The third and fourth bytes are those on both sides of each boundary.
TEST(Utf8Text, ChecksTextsOfFourBytesLikeTheModel) {
  const auto edges = std::to_array<unsigned char>({0x00, 0x7F, 0x80, 0xBF, 0xC0, 0xC2, 0xFF});
  Sequence<4> text;
  for (int first = 0; first < 256; ++first) {
    ROW("first", first);
    text[0] = static_cast<char>(first);
    for (int second = 0; second < 256; ++second) {
      ROW("second", second);
      text[1] = static_cast<char>(second);
      for (const unsigned char third : rowsOf(edges)) {
        text[2] = static_cast<char>(third);
        for (const unsigned char fourth : rowsOf(edges)) {
          text[3] = static_cast<char>(fourth);
          if (!text.agreesWithModel()) FAIL() << text.bytes();
        }
      }
    }
  }
}

// Each of these sequences at every position of the eight bytes that are processed together, and truncated by
// the end.
TEST(Utf8Text, ChecksSequencesAtEveryPosition) {
  const auto sequences = std::to_array<std::string>({"\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\x80",
                                                     "\xC1\xBF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xFF",
                                                     "\xC3", "\xE2\x82", "\xF0\x9F\x98"});
  for (std::size_t before = 0; before <= 24; ++before) {
    ROW("before", before);
    for (std::size_t after = 0; after <= 9; ++after) {
      ROW("after", after);
      for (const std::string& sequence : rowsOf(sequences)) {
        const std::string text = std::string(before, 'x') + sequence + std::string(after, 'y');
        const auto expected = modelCount(text.data(), text.size());
        ASSERT_EQ(countWellFormed(text.data(), text.size()),
                  expected ? static_cast<std::ptrdiff_t>(*expected) : -1)
            << testing::PrintToString(text);
      }
    }
  }
}

// Only lead bytes are checked. The bytes after them are skipped, so a text may end in the middle of a
// character.
TEST(Utf8Text, CountsLenientlyAsTheModelDoes) {
  const auto edges = std::to_array<unsigned char>({0x00, 0x7F, 0x80, 0xBF, 0xC0, 0xF7, 0xF8});
  std::string text(3, '\0');
  for (int first = 0; first < 256; ++first) {
    ROW("first", first);
    text[0] = static_cast<char>(first);
    for (int second = 0; second < 256; ++second) {
      ROW("second", second);
      text[1] = static_cast<char>(second);
      for (const unsigned char third : rowsOf(edges)) {
        text[2] = static_cast<char>(third);
        for (std::size_t length = 0; length <= 3; ++length) {
          ROW("length", length);
          ASSERT_EQ(countLeniently(text.data(), length),
                    test::modelLenientCount(text.substr(0, length)).value_or(-1))
              << testing::PrintToString(text) << " of " << length;
        }
      }
    }
  }
}

TEST(Utf8Text, CountsMixedTextsAsTheModelDoes) {
  for (unsigned int seed = 0; seed < 2000; ++seed) {
    ROW("seed", seed);
    std::mt19937 engine(test::seeded(seed));
    const std::string text = test::randomUtf8(engine, engine() % 60, seed % 2 == 0 ? 0 : 3);
    const auto expected = modelCount(text.data(), text.size());
    EXPECT_EQ(countWellFormed(text.data(), text.size()),
              expected ? static_cast<std::ptrdiff_t>(*expected) : -1)
        << "seed " << seed;
    EXPECT_EQ(countLeniently(text.data(), text.size()), test::modelLenientCount(text).value_or(-1))
        << "seed " << seed;
  }
}

}  // namespace
}  // namespace tarvo::text
