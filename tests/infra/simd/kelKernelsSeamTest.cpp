#include "simd/kelBase64Characters.hpp"
#include "simd/kelKernelChoice.hpp"
#include "support/kelBase64Model.hpp"
#include "support/kelGuardedMemory.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"
#include "support/kelUTF8Model.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

// Compares each kernel that this processor supports with the models. Sources and destinations end at an
// inaccessible page, so a read or write after them ends the program. Bytes of a destination that a kernel
// does not write must not change.

namespace tarvo::simd {

/// Prints the kernels of a failing test as their name.
static void PrintTo(const Kernels* kernels, std::ostream* stream) {
  *stream << kernels->name;
}

}  // namespace tarvo::simd

namespace tarvo::test {

using simd::Kernels;

namespace {

constexpr std::array alphabets = {simd::standardAlphabet, simd::safeAlphabet};
constexpr std::size_t longest = 300;

Base64Alphabet modelOf(simd::Base64Alphabet alphabet) {
  return alphabet == simd::standardAlphabet ? Base64Alphabet::standard : Base64Alphabet::safe;
}

std::string randomBytes(std::mt19937& engine, std::size_t size) {
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>(engine());
  return bytes;
}

/// A copy of `text` that ends `gap` code units before the inaccessible page.
const unsigned short* placed(const GuardedMemory& memory, const std::u16string& text, std::size_t gap = 0) {
  const std::size_t size = text.size() * 2;
  char* const at = memory.back(size + gap * 2);
  if (size != 0) std::memcpy(at, text.data(), size);
  return reinterpret_cast<const unsigned short*>(at);
}

class KernelsOfThisProcessor : public testing::TestWithParam<const Kernels*> {
 protected:
  const Kernels& kernels() const { return *GetParam(); }

  /// The text of the groups that the kernel encodes. Expects that the rest of the destination is unchanged.
  std::u16string encoded(simd::Base64Alphabet alphabet, const char* bytes, std::size_t groups,
                         std::size_t gap = 0) {
    auto* const dest = reinterpret_cast<unsigned short*>(dest_.back(groups * 8 + gap * 2));
    auto* const end = dest + groups * 4 + gap;
    std::fill(dest, end, filling);
    const std::size_t taken = kernels().encodeGroups[alphabet](dest, bytes, groups);
    EXPECT_LE(taken, groups);
    EXPECT_TRUE(std::all_of(dest + taken * 4, end, [](auto unit) { return unit == filling; }));
    return {dest, dest + taken * 4};
  }

  /// The bytes of the groups that the kernel decodes. Expects that the rest of the destination is unchanged.
  std::string decoded(simd::Base64Alphabet alphabet, const unsigned short* text, std::size_t groups) {
    char* const dest = dest_.back(groups * 3);
    std::fill(dest, dest + groups * 3, '\x5A');
    const std::size_t taken = kernels().decodeGroups[alphabet](dest, text, groups);
    EXPECT_LE(taken, groups);
    EXPECT_TRUE(std::all_of(dest + taken * 3, dest + groups * 3, [](char byte) { return byte == '\x5A'; }));
    return {dest, dest + taken * 3};
  }

  /// Expects that both UTF-8 kernels return the model's count, and that the copy equals the source.
  void expectCountedAsByTheModel(const char* text, std::size_t length) {
    const std::optional<std::size_t> count = modelCount(text, length);
    const std::ptrdiff_t expected = count ? static_cast<std::ptrdiff_t>(*count) : -1;
    EXPECT_EQ(kernels().countWellFormed(text, length), expected)
        << testing::PrintToString(std::string(text, length));
    // One destination ends at the inaccessible page. The other has a byte on each side that must not change.
    char* const end = dest_.back(length);
    EXPECT_EQ(kernels().copyWellFormed(end, text, length), expected);
    char* const front = dest_.front();
    std::fill(front, front + length + 2, '\x5A');
    EXPECT_EQ(kernels().copyWellFormed(front + 1, text, length), expected);
    EXPECT_TRUE(front[0] == '\x5A' && front[length + 1] == '\x5A');
    if (count) {
      EXPECT_EQ(std::string(end, length), std::string(text, length));
      EXPECT_EQ(std::string(front + 1, length), std::string(text, length));
    }
  }

  /// Makes the same check with the text at the start and at the end of the accessible memory.
  void expectCountedAsByTheModel(const std::string& text) {
    for (char* const at : rowsOf({source_.front(), source_.back(text.size())})) {
      if (!text.empty()) std::memcpy(at, text.data(), text.size());
      expectCountedAsByTheModel(static_cast<const char*>(at), text.size());
    }
  }

  /// Expects that the kernel converts only whole characters, and that it converts them like ICU.
  void expectReadAsIcuReads(const std::string& text) {
    const bool wellFormed = modelCount(text.data(), text.size()).has_value();
    auto* const dest = reinterpret_cast<unsigned short*>(dest_.back(2 * text.size()));
    for (char* const at : rowsOf({source_.front(), source_.back(text.size())})) {
      if (!text.empty()) std::memcpy(at, text.data(), text.size());
      const simd::Converted found = kernels().utf16FromUtf8(dest, at, text.size());
      ASSERT_LE(found.taken, text.size());
      const std::string taken = text.substr(0, found.taken);
      ASSERT_TRUE(modelCount(taken.data(), taken.size()).has_value()) << testing::PrintToString(text);
      ASSERT_TRUE(wellFormed || isAscii(taken)) << testing::PrintToString(text);
      const icu::UnicodeString expected = icu::UnicodeString::fromUTF8(taken);
      ASSERT_EQ(icu::UnicodeString(reinterpret_cast<const char16_t*>(dest),
                                   static_cast<std::int32_t>(found.written)),
                expected)
          << testing::PrintToString(text);
      ASSERT_TRUE(kernels().countWellFormed == simd::plainKernels.countWellFormed || !wellFormed ||
                  text.size() < least + found.taken);
    }
  }

  /// Makes the same check for the conversion to UTF-8, into a buffer for all bytes of the text.
  void expectWrittenAsIcuWrites(const icu::UnicodeString& text) {
    const std::u16string units(text.getBuffer(), static_cast<std::size_t>(text.length()));
    std::string all;
    text.toUTF8String(all);
    const bool wellFormed = !hasLoneHalf(text);
    char* const dest = dest_.back(all.size());
    const simd::Converted found = kernels().utf8FromUtf16(dest, placed(source_, units), units.size());
    ASSERT_LE(found.taken, units.size());
    ASSERT_FALSE(found.taken > 0 && found.taken < units.size() && U16_IS_TRAIL(units[found.taken]) &&
                 U16_IS_LEAD(units[found.taken - 1]));
    std::string expected;
    text.tempSubString(0, static_cast<std::int32_t>(found.taken)).toUTF8String(expected);
    ASSERT_EQ(std::string(dest, found.written), expected) << testing::PrintToString(text);
    ASSERT_TRUE(wellFormed || isAscii(expected)) << testing::PrintToString(text);
    ASSERT_TRUE(kernels().countWellFormed == simd::plainKernels.countWellFormed || !wellFormed ||
                units.size() < least + found.taken);
  }

  static bool isAscii(const std::string& text) {
    return std::all_of(text.begin(), text.end(),
                       [](char byte) { return static_cast<signed char>(byte) >= 0; });
  }

  static bool hasLoneHalf(const icu::UnicodeString& text) {
    for (std::int32_t at = 0; at < text.length(); at = text.moveIndex32(at, 1)) {
      if (0xD800 <= text.char32At(at) && text.char32At(at) < 0xE000) return true;
    }
    return false;
  }

  static constexpr std::size_t least = 128;  // a vector kernel may leave up to this many bytes
  static constexpr unsigned short filling = 0xDEAD;
  std::mt19937 engine_{seeded(4648)};
  GuardedMemory source_{16 * longest};
  GuardedMemory dest_{16 * longest};
};

INSTANTIATE_TEST_SUITE_P(Simd, KernelsOfThisProcessor, testing::ValuesIn(simd::availableKernels()),
                         [](const auto& tested) { return std::string(tested.param->name); });

// --- Base64

TEST_P(KernelsOfThisProcessor, EncodeAnyNumberOfGroupsAtAnyAlignmentLikeTheModel) {
  for (const simd::Base64Alphabet alphabet : rowsOf(alphabets)) {
    for (std::size_t groups = 0; groups <= longest / 3; ++groups) {
      ROW("groups", groups);
      const std::string bytes = randomBytes(engine_, groups * 3);
      const std::u16string expected = modelEncode(modelOf(alphabet), bytes);
      for (std::size_t gap = 0; gap < (groups % 8 == 0 ? 64U : 2U); ++gap) {
        ROW("gap", gap);
        char* const at = source_.back(bytes.size() + gap);
        std::copy(bytes.begin(), bytes.end(), at);
        const std::u16string text = encoded(alphabet, at, groups);
        ASSERT_EQ(text, expected.substr(0, text.size())) << groups << " groups, " << gap << " after it";
      }
    }
  }
}

TEST_P(KernelsOfThisProcessor, EncodeLongTextsToAnyAlignmentLikeTheModel) {
  for (const std::size_t groups : rowsOf({127U, 128U, 129U, 150U, 400U})) {
    const std::string bytes = randomBytes(engine_, groups * 3);
    const std::u16string expected = modelEncode(Base64Alphabet::standard, bytes);
    for (std::size_t gap = 0; gap < 40; ++gap) {
      ROW("gap", gap);
      const std::u16string text = encoded(simd::standardAlphabet, bytes.data(), groups, gap);
      ASSERT_EQ(text, expected.substr(0, text.size())) << groups << " groups, " << gap << " after it";
    }
  }
}

TEST_P(KernelsOfThisProcessor, DecodeAnyNumberOfGroupsAtAnyAlignmentLikeTheModel) {
  for (const simd::Base64Alphabet alphabet : rowsOf(alphabets)) {
    for (std::size_t groups = 0; groups <= longest / 3; ++groups) {
      ROW("groups", groups);
      const std::string bytes = randomBytes(engine_, groups * 3);
      const std::u16string text = modelEncode(modelOf(alphabet), bytes);
      for (std::size_t gap = 0; gap < (groups % 8 == 0 ? 32U : 2U); ++gap) {
        ROW("gap", gap);
        const std::string found = decoded(alphabet, placed(source_, text, gap), groups);
        ASSERT_EQ(found, bytes.substr(0, found.size())) << groups << " groups, " << gap << " after it";
      }
    }
  }
}

/// A vector kernel that converted nothing would pass all other tests.
TEST_P(KernelsOfThisProcessor, ConvertAllButTheLastFewGroupsUnlessTheyAreThePlainKernels) {
  const bool plain = GetParam() == &simd::plainKernels;
  const std::string bytes = randomBytes(engine_, longest);
  const std::u16string text = modelEncode(Base64Alphabet::standard, bytes);
  for (std::size_t groups = 6; groups <= longest / 3; ++groups) {
    ROW("groups", groups);
    EXPECT_EQ(encoded(simd::standardAlphabet, bytes.data(), groups).size() / 4, plain ? 0 : groups);
    EXPECT_EQ(decoded(simd::standardAlphabet, placed(source_, text), groups).size() / 3, plain ? 0 : groups);
  }
}

TEST_P(KernelsOfThisProcessor, StopDecodingBeforeAnInvalidUnitAtEveryPosition) {
  const std::u16string faults =
      u"=* \n\x7F\x80\xC1\xFF\x0100\x0141\x2B2B\x7FFF\x8000\x8041\xC141\xFF41\xFFFF";
  for (const simd::Base64Alphabet alphabet : rowsOf(alphabets)) {
    for (const std::size_t groups : rowsOf({4U, 8U, 15U, 16U, 17U, 33U, 40U, 63U})) {
      const std::string bytes = randomBytes(engine_, groups * 3);
      const std::u16string valid = modelEncode(modelOf(alphabet), bytes);
      for (std::size_t place = 0; place < valid.size(); ++place) {
        ROW("place", place);
        std::u16string text = valid;
        text[place] =
            (faults + (alphabet == simd::standardAlphabet ? u"-_" : u"+/"))[engine_() % (faults.size() + 2)];
        const std::string found = decoded(alphabet, placed(source_, text), groups);
        ASSERT_LE(found.size() / 3, place / 4);
        ASSERT_EQ(found, bytes.substr(0, found.size())) << groups << " groups, fault at " << place;
      }
    }
  }
}

TEST_P(KernelsOfThisProcessor, RefuseEveryUnitOutsideTheAlphabetsAtEveryPosition) {
  constexpr std::size_t groups = 16;  // a block of the widest vector kernel
  for (const simd::Base64Alphabet alphabet : rowsOf(alphabets)) {
    const std::string characters =
        alphabet == simd::standardAlphabet ? simd::standardCharacters : simd::safeCharacters;
    const auto everyPlace = [](unsigned int unit) { return unit < 0x100; };
    for (unsigned int unit = 0; unit < 0x10000; ++unit) {
      ROW("unit", unit);
      const bool known =
          unit < 0x80 && characters.find(static_cast<char>(unit)) != std::string::npos && unit != 0;
      for (std::size_t place = everyPlace(unit) ? 0 : unit % 64; place < 64;
           place += everyPlace(unit) ? 1U : 64U) {
        std::u16string text(groups * 4, u'Z');
        text[place] = static_cast<char16_t>(unit);
        const std::string found = decoded(alphabet, placed(source_, text), groups);
        ASSERT_LE(found.size() / 3, known ? groups : place / 4) << unit << " at " << place;
        if (known) {
          const std::string bytes = modelDecode(modelOf(alphabet), text, groups * 3).bytes;
          ASSERT_EQ(found, bytes.substr(0, found.size())) << unit << " at " << place;
        }
      }
    }
  }
}

// --- UTF-8

TEST_P(KernelsOfThisProcessor, CountTextsOfEveryLengthLikeTheModel) {
  for (std::size_t length = 0; length <= longest; ++length) {
    ROW("length", length);
    expectCountedAsByTheModel(std::string(length, 'a'));
    for (const std::string character : rowsOf({"\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"})) {
      const std::size_t size = character.size();
      std::string text;
      while (text.size() + size <= length) text += character;
      expectCountedAsByTheModel(std::string(length - text.size(), 'x') + text);
      expectCountedAsByTheModel(text + std::string(length - text.size(), 'x'));
      expectCountedAsByTheModel(text + character.substr(0, length - text.size()));  // truncated
    }
    if (HasFailure()) return;
  }
}

TEST_P(KernelsOfThisProcessor, CountTextsAtEveryAlignmentLikeTheModel) {
  for (const std::size_t pieces : rowsOf({200U, 900U})) {
    const std::string text = randomUtf8(engine_, pieces, 0);
    for (std::size_t at = 0; at < 70; ++at) {
      ROW("at", at);
      char* const start = source_.front() + at;
      std::copy(text.begin(), text.end(), start);
      expectCountedAsByTheModel(static_cast<const char*>(start), text.size());
      // Replace a byte on either side of the first block boundary.
      for (std::size_t place = at < 60 ? 60 - at : 0; place < 70 - at; ++place) {
        ROW("place", place);
        const char byte = std::exchange(start[place], static_cast<char>(0x80 + engine_() % 0x80));
        expectCountedAsByTheModel(static_cast<const char*>(start), text.size());
        start[place] = byte;
      }
      if (HasFailure()) return;
    }
  }
}

TEST_P(KernelsOfThisProcessor, CountZerosAsCharacters) {
  EXPECT_EQ(kernels().countWellFormed(std::string(longest, '\0').data(), longest),
            static_cast<std::ptrdiff_t>(longest));
}

/// The bytes on both sides of each boundary in the table of well-formed UTF-8.
constexpr std::array<unsigned char, 26> boundaries = {0x00, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0,
                                                      0xC1, 0xC2, 0xDF, 0xE0, 0xE1, 0xEC, 0xED, 0xEE, 0xEF,
                                                      0xF0, 0xF1, 0xF3, 0xF4, 0xF5, 0xF8, 0xFE, 0xFF};

TEST_P(KernelsOfThisProcessor, CheckEverySequenceOfBoundaryBytesLikeTheModel) {
  // After ASCII, at a position that takes every value within a block.
  char* const text = source_.front();
  std::size_t round = 0;
  for (const unsigned char first : rowsOf(boundaries)) {
    for (const unsigned char second : rowsOf(boundaries)) {
      for (const unsigned char third : rowsOf(boundaries)) {
        for (const unsigned char fourth : rowsOf(boundaries)) {
          const std::size_t length = 80;
          const std::size_t at = round++ % (length - 3);
          std::memset(text, 'a', length);
          const std::array sequence = {first, second, third, fourth};
          std::memcpy(text + at, sequence.data(), sequence.size());
          const std::optional<std::size_t> count = modelCount(text, length);
          ASSERT_EQ(kernels().countWellFormed(text, length), count ? static_cast<std::ptrdiff_t>(*count) : -1)
              << testing::PrintToString(std::string(text, length));
        }
      }
    }
  }
}

TEST_P(KernelsOfThisProcessor, CheckEveryPairOfBytesAtEveryPositionLikeTheModel) {
  for (const std::string neighbour : rowsOf({"a", "\xE4\xB8\xAD"})) {
    std::string text;
    while (text.size() < 270) text += neighbour;
    for (unsigned int pair = 0; pair < 0x10000; ++pair) {
      ROW("pair", pair);
      std::string changed = text;
      const std::size_t at = pair % 67 * 4 / neighbour.size() * neighbour.size() % (text.size() - 1);
      changed[at] = static_cast<char>(pair >> 8U);
      changed[at + 1] = static_cast<char>(pair);
      const std::optional<std::size_t> count = modelCount(changed.data(), changed.size());
      ASSERT_EQ(kernels().countWellFormed(changed.data(), changed.size()),
                count ? static_cast<std::ptrdiff_t>(*count) : -1)
          << testing::PrintToString(changed);
    }
  }
}

TEST_P(KernelsOfThisProcessor, DetectOneInvalidSequenceAtEveryPosition) {
  const std::vector<std::string> faults = {
      "\x80",         "\xC3", "\xC0\x80",     "\xE2\x82", "\xED\xA0\x80", "\xE0\x80\x80", "\xF4\x90\x80\x80",
      "\xF0\x9F\x98", "\xFF", "\xC3\xA9\xA9", "\xE2",     "\xF0"};
  for (const std::string& fault : rowsOf(faults)) {
    for (const std::string neighbour : rowsOf({"a", "\xC3\xA9", "\xF0\x9F\x98\x80"})) {
      // More than two steps of the widest kernel, so that one of them can be all ASCII.
      const std::size_t size = neighbour.size() == 1 ? 600 : 300;
      for (std::size_t before = 0; before < size / neighbour.size(); ++before) {
        ROW("before", before);
        std::string text;
        for (std::size_t i = 0; i < before; ++i) text += neighbour;
        text += fault;
        while (text.size() < size) text += neighbour;
        for (const std::size_t length : rowsOf({text.size(), before * neighbour.size() + fault.size()}))
          ASSERT_EQ(kernels().countWellFormed(text.data(), length), -1)
              << testing::PrintToString(fault) << " after " << before << " of " << neighbour << ", "
              << length;
      }
    }
  }
}

TEST_P(KernelsOfThisProcessor, CountRandomTextsLikeTheModel) {
  for (unsigned int seed = 0; seed < 400; ++seed) {
    ROW("seed", seed);
    std::mt19937 engine(seeded(seed));
    expectCountedAsByTheModel(randomUtf8(engine, engine() % 400, seed % 4 == 0 ? 1 : 0));
    if (HasFailure()) return;
  }
}

/// Compares the characters that begin in the first `length` bytes of a text with those of the model. The text
/// is followed by as many bytes as the kernel may read after it, then by the inaccessible page. The
/// destination has exactly the required size.
TEST_P(KernelsOfThisProcessor, CopyEachCharacterToAPaddedCellLikeTheModel) {
  for (unsigned int seed = 0; seed < 400; ++seed) {
    ROW("seed", seed);
    std::mt19937 engine(seeded(seed));
    const std::string text =
        seed % 4 == 0 ? std::string(engine() % 100, 'a') : randomUtf8(engine, engine() % 100, 0);
    const std::string after = randomBytes(engine, simd::spreadReadsAfter);
    char* const at = source_.back(text.size() + after.size());
    std::copy(text.begin(), text.end(), at);
    std::copy(after.begin(), after.end(), at + text.size());
    const std::vector<std::string> characters = modelCharacters(text).value();
    std::size_t expected = 0;  // number of characters that begin before offset `begins`
    std::size_t begins = 0;
    for (std::size_t length = 0; length <= text.size(); ++length) {
      ROW("length", length);
      while (begins < length) begins += characters.at(expected++).size();
      const std::size_t room = (length + 15) / 16 * 16;
      auto* const dest = reinterpret_cast<std::uint64_t*>(dest_.back(room * sizeof(std::uint64_t)));
      ASSERT_EQ(kernels().spreadCharacters(dest, at, length), expected) << length;
      for (std::size_t i = 0; i < expected; ++i) {
        ROW("i", i);
        const std::string found(reinterpret_cast<const char*>(dest + i), sizeof *dest);
        ASSERT_EQ(found, characters[i] + std::string(sizeof *dest - characters[i].size(), '\0'))
            << i << " of " << length;
      }
    }
  }
}

/// The first and the last character of the range of each kind of lead byte.
TEST_P(KernelsOfThisProcessor, CopyCharactersOfEachRangeToPaddedCells) {
  for (const UChar32 first :
       rowsOf({0x01, 0x7F, 0x80, 0xBF, 0xC0, 0x7FF, 0x800, 0xFFF, 0x1000, 0xD7FF, 0xE000, 0xFFFF, 0x10000,
               0x3FFFF, 0x40000, 0xFFFFF, 0x100000, 0x10FFFF})) {
    for (const UChar32 second : rowsOf({0x61, 0xE9, 0x65E5, 0x1F600})) {
      std::string text;
      icu::UnicodeString().append(first).append(second).append(first).toUTF8String(text);
      const std::vector<std::string> characters = modelCharacters(text).value();
      const std::string readable = text + std::string(simd::spreadReadsAfter, '\xFF');
      std::array<std::uint64_t, 16> dest{};
      ASSERT_EQ(kernels().spreadCharacters(dest.data(), readable.data(), text.size()), 3U);
      for (std::size_t i = 0; i < 3; ++i) {
        ROW("i", i);
        EXPECT_STREQ(reinterpret_cast<const char*>(&dest.at(i)), characters[i].c_str())
            << first << ' ' << second;
      }
    }
  }
}

// --- UTF-16

/// A random text of runs of characters. Each run consists of characters of one size or of two sizes.
icu::UnicodeString randomRuns(std::mt19937& engine) {
  const auto below = [&](unsigned count) { return static_cast<unsigned>(engine() % count); };
  constexpr std::array<std::array<UChar32, 2>, 6> ranges = {
      {{0, 0x7F}, {0x80, 0x7FF}, {0x800, 0xD7FF}, {0xE000, 0xFFFF}, {0x10000, 0x10FFFF}, {0x4E00, 0x4E80}}};
  icu::UnicodeString text;
  for (unsigned runs = 1 + below(8); runs > 0; --runs) {
    const unsigned kinds = below(ranges.size());
    const unsigned others = below(3) == 0 ? below(ranges.size()) : kinds;
    for (unsigned left = below(70); left > 0; --left) {
      const auto [first, last] = ranges.at(below(4) == 0 ? others : kinds);
      text.append(first + static_cast<UChar32>(below(static_cast<unsigned>(last - first + 1))));
    }
  }
  return text;
}

TEST_P(KernelsOfThisProcessor, ConvertRandomRunsLikeIcu) {
  for (unsigned int seed = 0; seed < 3000; ++seed) {
    ROW("seed", seed);
    std::mt19937 engine(seeded(seed));
    const icu::UnicodeString text = randomRuns(engine);
    std::string bytes;
    text.toUTF8String(bytes);
    ASSERT_NO_FATAL_FAILURE(expectReadAsIcuReads(bytes));
    ASSERT_NO_FATAL_FAILURE(expectWrittenAsIcuWrites(text));
    if (bytes.empty()) continue;
    bytes[engine() % bytes.size()] = static_cast<char>(engine());
    ASSERT_NO_FATAL_FAILURE(expectReadAsIcuReads(bytes));
    const auto at = static_cast<std::int32_t>(engine() % static_cast<unsigned>(text.length()));
    const auto half = static_cast<char16_t>(0xD800 + engine() % 0x800);
    ASSERT_NO_FATAL_FAILURE(expectWrittenAsIcuWrites(icu::UnicodeString(text).setCharAt(at, half)));
  }
}

/// Each character at every position of a step, among neighbours of each size.
TEST_P(KernelsOfThisProcessor, ConvertOneCharacterAmongOthersLikeIcu) {
  for (const UChar32 neighbour : rowsOf({0x61, 0xE9, 0x65E5, 0x1F600})) {
    for (const UChar32 character :
         rowsOf({0, 0x7F, 0x80, 0x7FF, 0x800, 0xD7FF, 0xE000, 0xFFFF, 0x10000, 0x10FFFF})) {
      for (int before = 0; before < 140; ++before) {
        ROW("before", before);
        icu::UnicodeString text;
        for (int i = 0; i < 220; ++i) text.append(i == before ? character : neighbour);
        std::string bytes;
        text.toUTF8String(bytes);
        ASSERT_NO_FATAL_FAILURE(expectReadAsIcuReads(bytes));
        ASSERT_NO_FATAL_FAILURE(expectWrittenAsIcuWrites(text));
      }
    }
  }
}

TEST_P(KernelsOfThisProcessor, ConvertTextsOfEveryLengthLikeIcu) {
  for (const UChar32 character : rowsOf({0x61, 0xE9, 0x65E5, 0x1F600})) {
    icu::UnicodeString text;
    for (int length = 0; length < 300; ++length) {
      ROW("length", length);
      std::string bytes;
      text.toUTF8String(bytes);
      ASSERT_NO_FATAL_FAILURE(expectReadAsIcuReads(bytes));
      ASSERT_NO_FATAL_FAILURE(expectReadAsIcuReads(bytes.substr(0, bytes.size() - bytes.size() % 5)));
      ASSERT_NO_FATAL_FAILURE(expectWrittenAsIcuWrites(text));
      text.append(character);
    }
  }
}

// --- the choice of kernels

class KernelChoice : public testing::Test {
 protected:
  ~KernelChoice() override { simd::useKernels(nullptr); }
};

TEST_F(KernelChoice, StartsWithThePlainKernelsAndEndsWithTheBest) {
  const auto available = simd::availableKernels();
  EXPECT_EQ(available.front(), &simd::plainKernels);
  EXPECT_EQ(&simd::kernels(), available.back());
}

TEST_F(KernelChoice, CanBeSetByTests) {
  for (const Kernels* each : rowsOf(simd::availableKernels())) {
    simd::useKernels(each);
    EXPECT_EQ(&simd::kernels(), each);
  }
  simd::useKernels(nullptr);
  EXPECT_EQ(&simd::kernels(), simd::availableKernels().back());
}

TEST_F(KernelChoice, IsTheSameInEveryThread) {
  std::array<const Kernels*, 8> chosen{};
  std::vector<std::thread> threads;
  for (const Kernels*& mine : chosen) threads.emplace_back([&mine] { mine = &simd::kernels(); });
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(chosen, testing::Each(simd::availableKernels().back()));
}

}  // namespace
}  // namespace tarvo::test
