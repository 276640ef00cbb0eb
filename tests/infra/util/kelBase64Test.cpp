#include "infra/util/kelBase64.hpp"
#include "infra/util/kelBase64Exception.hpp"

#include "support/kelBase64Model.hpp"
#include "support/kelRaises.hpp"
#include "support/kelReporting.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"
#include "support/kelTraceRecorder.hpp"

#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <ostream>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace tarvo::test {

static void PrintTo(const Base64Decoding& ending, std::ostream* out) {
  *out << testing::PrintToString(ending.bytes) << ", then ";
  if (ending.error.empty()) {
    *out << "the end";
  } else {
    *out << ending.error << " <" << testing::PrintToString(ending.argument) << ">";
  }
}

namespace {

using util::Base64;
using util::Base64Exception;

constexpr const char* sourceFile = "src/infra/oss/../util/kelBase64.cpp";
constexpr std::size_t largest = std::numeric_limits<std::size_t>::max();
constexpr std::array alphabets = {Base64Alphabet::standard, Base64Alphabet::safe};

using Units = std::vector<unsigned short>;

/// The code units of a text, followed by the NUL that the decoder requires.
Units terminated(const std::u16string& text) {
  Units units(text.size() + 1, 0);
  std::copy(text.begin(), text.end(), units.begin());
  return units;
}

std::string named(Base64Alphabet alphabet) {
  return alphabet == Base64Alphabet::standard ? "standard" : "safe";
}

std::string shown(const std::u16string& text) {
  return utf8(icu::UnicodeString(text.data(), static_cast<std::int32_t>(text.size())));
}

std::size_t encodeInto(Base64Alphabet alphabet, unsigned short* dest, std::size_t units, const char* src,
                       std::size_t bytes) {
  return alphabet == Base64Alphabet::standard ? Base64::encode(dest, units, src, bytes)
                                              : Base64::encodeSafe(dest, units, src, bytes);
}

std::size_t decodeInto(Base64Alphabet alphabet, char* dest, std::size_t bytes, const unsigned short* src,
                       std::size_t units) {
  return alphabet == Base64Alphabet::standard ? Base64::decode(dest, bytes, src, units)
                                              : Base64::decodeSafe(dest, bytes, src, units);
}

/// Encodes into a buffer of exactly encodeSize units, and checks that nothing after it is written.
std::u16string encoded(Base64Alphabet alphabet, const std::string& bytes) {
  constexpr unsigned short sentinel = 0xDEAD;
  const std::size_t size = Base64::encodeSize(bytes.size());
  Units dest(size + 8, sentinel);
  EXPECT_EQ(encodeInto(alphabet, dest.data(), size, bytes.data(), bytes.size()), size);
  EXPECT_EQ(std::count(dest.end() - 8, dest.end(), sentinel), 8) << "wrote after the text";
  return {dest.begin(), dest.end() - 8};
}

/// Decodes once. Returns the error in the form that the model uses; on success, stores the returned size in
/// `count`.
Base64Decoding decodeOnce(Base64Alphabet alphabet, std::string& room, std::size_t capacity,
                          const std::u16string& text, std::size_t& count) {
  const Units units = terminated(text);
  Base64Decoding ending;
  try {
    count = decodeInto(alphabet, room.data(), capacity, units.data(), text.size());
  } catch (Base64Exception& error) {
    const oss::Message& message = error.getErrorMessage();
    ending.error = utf8(message.getMessageID());
    const icu::UnicodeString& argument = message.getMessageArgs().front();
    ending.argument.assign(argument.getBuffer(), static_cast<std::size_t>(argument.length()));
    EXPECT_EQ(message.getMessageArgsCount(), 1);
    EXPECT_EQ(utf8(message.getFileName()), sourceFile);
  }
  return ending;
}

/// Decodes into `capacity` bytes and returns the result in the form that the model uses. It decodes twice,
/// into buffers with different contents: a byte was written if both buffers agree on it.
Base64Decoding decoded(Base64Alphabet alphabet, const std::u16string& text, std::size_t capacity) {
  std::string room(capacity + 8, '\x5A');
  std::string other(capacity + 8, '\xA5');
  std::size_t count = largest;
  Base64Decoding ending = decodeOnce(alphabet, room, capacity, text, count);
  EXPECT_EQ(decodeOnce(alphabet, other, capacity, text, count), ending);
  const auto written =
      static_cast<std::size_t>(std::mismatch(room.begin(), room.end(), other.begin()).first - room.begin());
  EXPECT_EQ(room.substr(written), std::string(room.size() - written, '\x5A'))
      << "left a gap before the written bytes";
  EXPECT_LE(written, capacity) << "wrote after the destination";
  if (ending.error.empty()) {
    EXPECT_EQ(written, count);
  }
  ending.bytes = room.substr(0, written);
  return ending;
}

void expectDecodesAsTheModel(Base64Alphabet alphabet, const std::u16string& text, std::size_t capacity) {
  EXPECT_EQ(decoded(alphabet, text, capacity), modelDecode(alphabet, text, capacity))
      << named(alphabet) << " <" << shown(text) << "> into " << capacity;
}

// --- sizes

struct SizeRow {
  std::size_t count;
  std::size_t size;
};

TEST(Base64Sizes, OfAnEncodingAreFourUnitsPerThreeBytesRoundedUp) {
  for (const auto& [bytes, units] : rowsOf(std::to_array<SizeRow>(
           {{0, 0}, {1, 4}, {2, 4}, {3, 4}, {4, 8}, {5, 8}, {6, 8}, {7, 12}, {3072, 4096}, {3073, 4100}})))
    EXPECT_EQ(Base64::encodeSize(bytes), units) << bytes;
}

TEST(Base64Sizes, OfADecodingAreThreeBytesPerFourUnitsRoundedUp) {
  for (const auto& [units, bytes] : rowsOf(std::to_array<SizeRow>(
           {{0, 0}, {1, 3}, {2, 3}, {3, 3}, {4, 3}, {5, 6}, {8, 6}, {9, 9}, {4096, 3072}, {4097, 3075}})))
    EXPECT_EQ(Base64::decodeSize(units), bytes) << units;
}

TEST(Base64Sizes, OfATooLargeEncodingAreTheLargestSize) {
  const std::size_t mostGroups = largest / 4;
  const std::size_t mostBytes = mostGroups * 3;
  EXPECT_EQ(Base64::encodeSize(mostBytes - 3), mostGroups * 4 - 4);
  for (std::size_t less = 0; less < 3; ++less) {
    ROW("less", less);
    EXPECT_EQ(Base64::encodeSize(mostBytes - less), mostGroups * 4);
  }
  for (const std::size_t bytes : rowsOf(
           {mostBytes + 1, mostBytes + 2, mostBytes + 3, largest / 2 * 2, largest - 2, largest - 1, largest}))
    EXPECT_EQ(Base64::encodeSize(bytes), largest) << bytes;
}

TEST(Base64Sizes, OfADecodingDoNotOverflow) {
  const std::size_t most = largest / 4 * 3 + 3;
  for (std::size_t less = 0; less < 3; ++less) {
    ROW("less", less);
    EXPECT_EQ(Base64::decodeSize(largest - less), most);
  }
  EXPECT_EQ(Base64::decodeSize(largest - 3), most - 3);
}

// --- the model

TEST(Base64Model, GivesTheExamplesOfTheStandard) {
  const std::string foobar = "foobar";
  const std::u16string texts[] = {u"", u"Zg==", u"Zm8=", u"Zm9v", u"Zm9vYg==", u"Zm9vYmE=", u"Zm9vYmFy"};
  for (std::size_t length = 0; length <= foobar.size(); ++length) {
    ROW("length", length);
    const std::string bytes = foobar.substr(0, length);
    for (const Base64Alphabet alphabet : rowsOf(alphabets)) {
      EXPECT_EQ(modelEncode(alphabet, bytes), texts[length]);
      EXPECT_EQ(modelDecode(alphabet, texts[length], 6), (Base64Decoding{bytes, "", u""}));
    }
  }
}

TEST(Base64Model, DistinguishesTheAlphabets) {
  EXPECT_EQ(modelEncode(Base64Alphabet::standard, "\xFB\xFF"), u"+/8=");
  EXPECT_EQ(modelEncode(Base64Alphabet::safe, "\xFB\xFF"), u"-_8=");
  EXPECT_EQ(modelDecode(Base64Alphabet::safe, u"-_8=", 2), (Base64Decoding{"\xFB\xFF", "", u""}));
  EXPECT_EQ(modelDecode(Base64Alphabet::safe, u"Zm+8", 9),
            (Base64Decoding{"f", "ERR_BASE64_INVALID_DATA", u"+"}));
}

TEST(Base64Model, ReportsEachKindOfError) {
  const Base64Alphabet standard = Base64Alphabet::standard;
  EXPECT_EQ(modelDecode(standard, u"Zm9v", 2), (Base64Decoding{"fo", "ERR_BUFFER_SIZE_TOO_SMALL", u"2"}));
  EXPECT_EQ(modelDecode(standard, u"Zg=", 9), (Base64Decoding{"f", "ERR_BASE64_MISALIGNED_DATA", u"Zg="}));
  EXPECT_EQ(modelDecode(standard, u"Zh==", 9), (Base64Decoding{"f", "ERR_BASE64_MISALIGNED_DATA", u"Zh=="}));
  EXPECT_EQ(modelDecode(standard, u"=AAA", 9), (Base64Decoding{"", "ERR_BASE64_MISALIGNED_DATA", u"=AAA"}));
}

// --- encode

struct EncodeRow {
  const char* why;
  std::string bytes;
  std::u16string standard;
  std::u16string safe;
};

const std::vector<EncodeRow>& encodeRows() {
  using namespace std::string_literals;
  static const std::vector<EncodeRow> rows = {
      {"nothing", "", u"", u""},
      {"one byte left over", "f", u"Zg==", u"Zg=="},
      {"two bytes left over", "fo", u"Zm8=", u"Zm8="},
      {"a whole group", "foo", u"Zm9v", u"Zm9v"},
      {"a group and one byte", "foob", u"Zm9vYg==", u"Zm9vYg=="},
      {"a group and two bytes", "fooba", u"Zm9vYmE=", u"Zm9vYmE="},
      {"two groups", "foobar", u"Zm9vYmFy", u"Zm9vYmFy"},
      {"the two values that differ", "\xFB\xFF", u"+/8=", u"-_8="},
      {"all bits set", "\xFF\xFF\xFF", u"////", u"____"},
      {"all bits set, one byte", "\xFF", u"/w==", u"_w=="},
      {"value 62 four times", "\xFB\xEF\xBE", u"++++", u"----"},
      {"zeros are data", "\0\0\0\0"s, u"AAAAAA==", u"AAAAAA=="},
      {"bytes above 127 are unsigned", "\x80\x81\x82\x83", u"gIGCgw==", u"gIGCgw=="},
  };
  return rows;
}

TEST(Base64, EncodesTheExamplesInBothAlphabets) {
  for (const EncodeRow& row : rowsOf(encodeRows())) {
    EXPECT_EQ(encoded(Base64Alphabet::standard, row.bytes), row.standard) << row.why;
    EXPECT_EQ(encoded(Base64Alphabet::safe, row.bytes), row.safe) << row.why;
  }
}

TEST(Base64, DecodesTheExamplesInBothAlphabets) {
  for (const EncodeRow& row : rowsOf(encodeRows())) {
    const Base64Decoding wanted{row.bytes, "", u""};
    EXPECT_EQ(decoded(Base64Alphabet::standard, row.standard, row.bytes.size()), wanted) << row.why;
    EXPECT_EQ(decoded(Base64Alphabet::safe, row.safe, row.bytes.size()), wanted) << row.why;
  }
}

TEST(Base64, MapsEachOfTheSixtyFourValues) {
  const std::u16string common = u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
  for (const Base64Alphabet alphabet : rowsOf(alphabets)) {
    const std::u16string characters = common + (alphabet == Base64Alphabet::standard ? u"+/" : u"-_");
    ASSERT_EQ(characters.size(), 64U);
    for (unsigned int value = 0; value < 64; ++value) {
      ROW("value", value);
      const std::string byte(1, static_cast<char>(value << 2U));
      const std::u16string text = {characters[value], u'A', u'=', u'='};
      EXPECT_EQ(encoded(alphabet, byte), text) << named(alphabet) << " " << value;
      EXPECT_EQ(decoded(alphabet, text, 1), (Base64Decoding{byte, "", u""}))
          << named(alphabet) << " " << value;
    }
  }
}

TEST(Base64, EncodesAndDecodesEveryInputOfOneAndOfTwoBytes) {
  for (const Base64Alphabet alphabet : rowsOf(alphabets)) {
    for (unsigned int word = 0; word < 0x10000; ++word) {
      ROW("word", word);
      std::string bytes = {static_cast<char>(word >> 8U), static_cast<char>(word)};
      if (word < 0x100) bytes.erase(0, 1);
      const std::u16string text = encoded(alphabet, bytes);
      ASSERT_EQ(text, modelEncode(alphabet, bytes)) << named(alphabet) << " " << word;
      ASSERT_EQ(decoded(alphabet, text, bytes.size()), (Base64Decoding{bytes, "", u""})) << word;
    }
  }
}

TEST(Base64, EncodesTextOfAnyLengthWithoutLineBreaks) {
  const std::string bytes(100'000, '\0');
  const std::u16string text = encoded(Base64Alphabet::standard, bytes);
  EXPECT_EQ(text, std::u16string(133'334, u'A') + u"==");
}

TEST(Base64, DoesNotWriteAfterTheText) {
  Units dest(12, 0x2A);
  EXPECT_EQ(Base64::encode(dest.data(), dest.size(), "foo", 3), 4U);
  EXPECT_EQ(dest, (Units{u'Z', u'm', u'9', u'v', 0x2A, 0x2A, 0x2A, 0x2A, 0x2A, 0x2A, 0x2A, 0x2A}));
}

TEST(Base64, HandlesEmptyInput) {
  for (const Base64Alphabet alphabet : rowsOf(alphabets)) {
    EXPECT_EQ(encodeInto(alphabet, nullptr, 0, nullptr, 0), 0U);
    EXPECT_EQ(encodeInto(alphabet, nullptr, largest, nullptr, 0), 0U);
    EXPECT_EQ(decodeInto(alphabet, nullptr, 0, nullptr, 0), 0U);
    EXPECT_EQ(decodeInto(alphabet, nullptr, largest, nullptr, 0), 0U);
    unsigned short unit = 7;
    char byte = 7;
    EXPECT_EQ(encodeInto(alphabet, &unit, 1, "foo", 0), 0U);
    EXPECT_EQ(decodeInto(alphabet, &byte, 1, &unit, 0), 0U);
    EXPECT_EQ(unit, 7);
    EXPECT_EQ(byte, 7);
  }
}

// --- the encoder's error

struct TooSmallRow {
  const char* why;
  std::size_t destUnits;
  std::size_t srcBytes;
  const char* argument;
};

TEST(Base64, EncodesNothingIntoADestinationThatIsTooSmall) {
  const auto rows = std::to_array<TooSmallRow>({
      {"no room at all", 0, 1, "0"},
      {"one unit short of one group", 3, 3, "3"},
      {"one unit short, padded", 3, 1, "3"},
      {"one unit short of two groups", 7, 4, "7"},
      {"a whole group short", 4, 6, "4"},
      {"the size wraps in the plain formula: 0", 0, largest, "0"},
      {"the size wraps in the plain formula: 4", 4, largest - 1, "4"},
      {"more bytes than a size can tell the units of", 8, largest / 4 * 3 + 1, "8"},
      {"no destination is as large as a saturated size", largest, largest, "-1"},
      {"nor is one a little smaller", largest - 1, largest / 4 * 3 + 1, "-2"},
      {"the argument is the low 32 bits: low", static_cast<std::size_t>(0x100000005), largest, "5"},
      {"the argument is the low 32 bits: signed", 0x80000000, largest, "-2147483648"},
  });
  for (const Base64Alphabet alphabet : rowsOf(alphabets)) {
    for (const TooSmallRow& row : rowsOf(rows)) {
      Units dest(8, 0x2A);
      EXPECT_THAT(
          [&] { encodeInto(alphabet, dest.data(), row.destUnits, "foobar", row.srcBytes); },
          Raises<Base64Exception>("ERR_BUFFER_SIZE_TOO_SMALL", std::string(row.argument)).from(sourceFile))
          << named(alphabet) << ": " << row.why;
      EXPECT_EQ(dest, Units(8, 0x2A)) << row.why;
    }
  }
}

// --- the decoder's errors

struct FaultRow {
  const char* why;
  std::u16string text;
  std::string before;  ///< bytes that were written before the error
};

void expectFaults(const std::vector<FaultRow>& rows, Base64Alphabet alphabet, const std::string& identifier,
                  const auto& argumentOf) {
  for (const FaultRow& row : rowsOf(rows)) {
    const Units units = terminated(row.text);
    std::string dest(32, '\x5A');
    EXPECT_THAT([&] { decodeInto(alphabet, dest.data(), dest.size(), units.data(), row.text.size()); },
                Raises<Base64Exception>(identifier, argumentOf(row)).from(sourceFile))
        << named(alphabet) << ": " << row.why;
    EXPECT_EQ(dest, row.before + std::string(32 - row.before.size(), '\x5A')) << row.why;
  }
}

TEST(Base64, RefusesMisalignedTextWithTheWholeTextAsArgument) {
  const std::vector<FaultRow> rows = {
      {"padding at the first place", u"=", ""},
      {"padding at the first place, data after it", u"=AAA", ""},
      {"nothing but padding", u"====", ""},
      {"padding at the first place of a later group", u"Zm9v=AAA", "foo"},
      {"only padding after a complete group", u"Zm9v====", "foo"},
      {"padding at the second place", u"Z===", ""},
      {"padding at the second place of a later group", u"Zm9vZ===", "foo"},
      {"padding at the second place, no unused bits", u"A===", ""},
      {"padding at the second place, no unused bits, later group", u"Zm9vA===", "foo"},
      {"a single padding at the third place, at the end", u"Zg=", "f"},
      {"a single padding at the third place, a character after it", u"Zg=A", "f"},
      {"a single padding at the third place, a foreign unit after it", u"Zg= ", "f"},
      {"unused bits in one byte's group", u"Zh==", "f"},
      {"the highest of the unused four bits", u"Zo==", "f"},
      {"unused bits in two bytes' group", u"Zm9=", "fo"},
      {"the higher of the unused two bits", u"Zm+=", "fo"},
      {"data after two paddings", u"Zg==Zg==", "f"},
      {"data after one padding", u"Zm8=Zg==", "fo"},
      {"a third padding", u"Zg===", "f"},
      {"a second padding at the fourth place", u"Zm8==", "fo"},
      {"a foreign unit after the padding is still misaligned", u"Zg==\n", "f"},
      {"one unit", u"Z", ""},
      {"two units", u"Zg", "f"},
      {"three units", u"Zm9", "fo"},
      {"three units, unused bits zero", u"Zm8", "fo"},
      {"five units", u"Zm9vZ", "foo"},
      {"seven units", u"Zm9vZm9", "foofo"},
  };
  for (const Base64Alphabet alphabet : rowsOf(alphabets)) {
    std::vector<FaultRow> own = rows;
    if (alphabet == Base64Alphabet::safe) {
      for (FaultRow& row : own) std::replace(row.text.begin(), row.text.end(), u'+', u'-');
    }
    expectFaults(own, alphabet, "ERR_BASE64_MISALIGNED_DATA",
                 [](const FaultRow& row) { return shown(row.text); });
  }
}

TEST(Base64, ReportsMisalignedTextUpToItsNulForAnyCount) {
  const std::u16string longer = u"Zg=Zm9v";
  const Units after = terminated(longer);
  char dest[8] = {};
  EXPECT_THAT([&] { Base64::decode(dest, sizeof dest, after.data(), 3); },
              Raises<Base64Exception>("ERR_BASE64_MISALIGNED_DATA", std::string("Zg=Zm9v")).from(sourceFile));
  const Units inside = {u'Z', u'g', u'=', 0, u'A', u'A', 0};
  EXPECT_THAT([&] { Base64::decode(dest, sizeof dest, inside.data(), 6); },
              Raises<Base64Exception>("ERR_BASE64_MISALIGNED_DATA", std::string("Zg=")).from(sourceFile));
}

TEST(Base64, RefusesUnitsOutsideTheAlphabetWithTheUnitAsArgument) {
  struct InvalidRow {
    const char* why;
    Base64Alphabet alphabet;
    std::u16string text;
    std::string unit;
    std::string before;
  };
  const std::vector<InvalidRow> rows = {
      {"a blank", Base64Alphabet::standard, u"Zm 9v", " ", "f"},
      {"a line break", Base64Alphabet::standard, u"Zm9v\nZm9v", "\n", "foo"},
      {"a line break at the end", Base64Alphabet::standard, u"Zm9v\r\n", "\r", "foo"},
      {"minus is the safe alphabet's", Base64Alphabet::standard, u"-_8=", "-", ""},
      {"underscore is the safe alphabet's", Base64Alphabet::standard, u"+_8=", "_", ""},
      {"plus is the standard alphabet's", Base64Alphabet::safe, u"+/8=", "+", ""},
      {"slash is the standard alphabet's", Base64Alphabet::safe, u"-/8=", "/", ""},
      {"a full-width letter", Base64Alphabet::standard, u"Zm9\uFF36", "\xEF\xBC\xB6", "fo"},
      {"a letter plus 256", Base64Alphabet::safe, u"Z\u016D9v", "\xC5\xAD", ""},
      {"the last unit of a short text, before its length is looked at", Base64Alphabet::safe, u"Zm9v*", "*",
       "foo"},
      {"a NUL inside", Base64Alphabet::standard, std::u16string(u"Zm\0v", 4), std::string(1, '\0'), "f"},
  };
  for (const InvalidRow& row : rowsOf(rows)) {
    expectFaults({{row.why, row.text, row.before}}, row.alphabet, "ERR_BASE64_INVALID_DATA",
                 [&](const FaultRow&) { return row.unit; });
  }
}

TEST(Base64, RefusesTheFirstByteThatDoesNotFitAndKeepsTheOthers) {
  const std::u16string text = u"Zm9vYmFyYm8=";
  const std::string whole = "foobarbo";
  const Units units = terminated(text);
  for (const Base64Alphabet alphabet : rowsOf(alphabets)) {
    for (std::size_t capacity = 0; capacity < whole.size(); ++capacity) {
      ROW("capacity", capacity);
      std::string dest(16, '\x5A');
      EXPECT_THAT([&] { decodeInto(alphabet, dest.data(), capacity, units.data(), text.size()); },
                  Raises<Base64Exception>("ERR_BUFFER_SIZE_TOO_SMALL", capacity).from(sourceFile));
      EXPECT_EQ(dest, whole.substr(0, capacity) + std::string(16 - capacity, '\x5A')) << capacity;
    }
    EXPECT_EQ(decoded(alphabet, text, whole.size()), (Base64Decoding{whole, "", u""}));
  }
}

TEST(Base64, ReportsErrorsInTheOrderOfTheText) {
  const Base64Alphabet standard = Base64Alphabet::standard;
  const auto rows = std::to_array<std::pair<const char16_t*, Base64Decoding>>({
      {u"Zm*v", {"f", "ERR_BASE64_INVALID_DATA", u"*"}},  // the unit is checked before the free space
      {u"ZmmZ*",
       {"f", "ERR_BUFFER_SIZE_TOO_SMALL", u"1"}},  // the missing space for the second byte is reported first
      {u"Zh==",
       {"f", "ERR_BASE64_MISALIGNED_DATA",
        u"Zh=="}},  // bytes that fit are written before the padding is checked
      {u"Zm8=", {"f", "ERR_BUFFER_SIZE_TOO_SMALL", u"1"}},
      {u"Zm9", {"f", "ERR_BUFFER_SIZE_TOO_SMALL", u"1"}},
      {u"Z=*", {"", "ERR_BASE64_MISALIGNED_DATA", u"Z=*"}},
  });
  for (const auto& [text, wanted] : rowsOf(rows))
    EXPECT_EQ(decoded(standard, text, 1), wanted) << shown(text);
}

TEST(Base64, DoesNotWriteMoreThanTheTextIfALargerCapacityIsGiven) {
  const Units units = terminated(u"Zm9vYg==");
  std::string dest(16, '\x5A');
  EXPECT_EQ(Base64::decode(dest.data(), largest, units.data(), 8), 4U);
  EXPECT_EQ(dest, "foob" + std::string(12, '\x5A'));
}

TEST(Base64, StopsAtTheFirstErrorIfALargerLengthIsGiven) {
  const Units units = terminated(u"Zm9v*");
  char dest[3] = {};
  EXPECT_THAT([&] { Base64::decode(dest, sizeof dest, units.data(), largest); },
              Raises<Base64Exception>("ERR_BASE64_INVALID_DATA", std::string("*")).from(sourceFile));
  const Units padded = terminated(u"Zg==");
  EXPECT_THAT([&] { Base64::decode(dest, sizeof dest, padded.data(), largest); },
              Raises<Base64Exception>("ERR_BASE64_MISALIGNED_DATA", std::string("Zg==")).from(sourceFile));
  const Units whole = terminated(u"Zm9vZm9v");
  EXPECT_THAT([&] { Base64::decode(dest, sizeof dest, whole.data(), largest); },
              Raises<Base64Exception>("ERR_BUFFER_SIZE_TOO_SMALL", 3).from(sourceFile));
}

// --- against the model

TEST(Base64, TreatsEveryUnitAtEveryPositionLikeTheModel) {
  for (const Base64Alphabet alphabet : rowsOf(alphabets)) {
    for (unsigned int unit = 0; unit < 0x10000; ++unit) {
      ROW("unit", unit);
      std::u16string text = u"QUJDREVG";
      text[4 + unit % 4] = static_cast<char16_t>(unit);
      expectDecodesAsTheModel(alphabet, text, 6);
      if (HasFailure()) return;
    }
    for (unsigned int unit = 0; unit < 0x400; ++unit) {
      ROW("unit", unit);  // every position within a group, and of several groups
      for (std::size_t place = 0; place < 8; ++place) {
        ROW("place", place);
        std::u16string text = u"QUJDREVG";
        text[place] = static_cast<char16_t>(unit);
        expectDecodesAsTheModel(alphabet, text, 6);
      }
      if (HasFailure()) return;
    }
  }
}

TEST(Base64, TreatsEveryPaddedEndLikeTheModel) {
  const std::u16string characters = u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (const char16_t first : rowsOf(characters)) {
    for (const char16_t second : rowsOf(characters)) {
      expectDecodesAsTheModel(Base64Alphabet::standard, {first, second, u'=', u'='}, 1);
      expectDecodesAsTheModel(Base64Alphabet::standard, {u'Z', first, second, u'='}, 2);
    }
    if (HasFailure()) return;
  }
}

/// The parameter is the seed; a failure prints it and can be repeated with it.
class Base64Random : public testing::TestWithParam<unsigned int> {
 protected:
  std::size_t upTo(std::size_t most) { return std::uniform_int_distribution<std::size_t>(0, most)(engine_); }

  std::string bytes(std::size_t length) {
    std::string made(length, '\0');
    for (char& byte : made) byte = static_cast<char>(upTo(255));
    return made;
  }

  Base64Alphabet alphabet() { return alphabets.at(upTo(1)); }

  char16_t unit() {
    const std::u16string likely = u"=AZaz09+/-_ \n\x80\x00C1\x0141\xD800\xFFFF";
    const std::size_t pick = upTo(likely.size());
    return pick < likely.size() ? likely[pick] : static_cast<char16_t>(upTo(0xFFFF));
  }

  /// Changes, removes or inserts code units, or inserts padding.
  void corrupt(std::u16string& text) {
    for (std::size_t times = 1 + upTo(2); times > 0; --times) {
      const std::size_t at = upTo(text.size());
      switch (upTo(4)) {
        case 0:
          text.insert(at, 1, unit());
          break;
        case 1:
          text.erase(at, 1 + upTo(3));
          break;
        case 2:
          text.insert(at, u"=");
          break;
        case 3:
          text += unit();
          break;
        default:
          if (at < text.size()) text[at] = unit();
      }
    }
  }

 private:
  std::mt19937 engine_{seeded(GetParam())};
};

TEST_P(Base64Random, RoundTripsMatchTheModel) {
  ROW("seed", GetParam());
  for (int round = 0; round < 250; ++round) {
    ROW("round", round);
    const Base64Alphabet alphabet = this->alphabet();
    const std::string data = bytes(upTo(200));
    const std::u16string text = encoded(alphabet, data);
    ASSERT_EQ(text, modelEncode(alphabet, data));
    ASSERT_EQ(decoded(alphabet, text, Base64::decodeSize(text.size())), (Base64Decoding{data, "", u""}));
    expectDecodesAsTheModel(alphabet, text, upTo(data.size()));
    if (HasFailure()) return;
  }
}

TEST_P(Base64Random, CorruptedTextsMatchTheModel) {
  ROW("seed", GetParam());
  for (int round = 0; round < 500; ++round) {
    ROW("round", round);
    const Base64Alphabet alphabet = this->alphabet();
    std::u16string text = modelEncode(alphabet, bytes(upTo(upTo(1) == 0 ? 6 : 80)));
    corrupt(text);
    expectDecodesAsTheModel(alphabet, text, upTo(3) == 0 ? upTo(60) : Base64::decodeSize(text.size()));
    if (HasFailure()) return;
  }
}

TEST_P(Base64Random, GroupsOfAnyUnitsMatchTheModel) {
  ROW("seed", GetParam());
  const std::u16string common = u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/-_=";
  for (int round = 0; round < 1000; ++round) {
    ROW("round", round);
    std::u16string text;
    for (std::size_t length = 4 + upTo(4); text.size() < length;) text += common[upTo(common.size() - 1)];
    expectDecodesAsTheModel(alphabet(), text, upTo(6));
    if (HasFailure()) return;
  }
}

TEST_P(Base64Random, OneErrorInALongTextIsDetectedAtEveryPosition) {
  ROW("seed", GetParam());
  const std::u16string valid = modelEncode(Base64Alphabet::standard, bytes(96));
  for (std::size_t at = 0; at < valid.size(); ++at) {
    ROW("at", at);
    std::u16string text = valid;
    text[at] = unit();
    expectDecodesAsTheModel(Base64Alphabet::standard, text, 96);
    expectDecodesAsTheModel(Base64Alphabet::standard, valid.substr(0, at), 96);
    if (HasFailure()) return;
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, Base64Random, testing::Range(1U, 9U));

// --- side effects

TEST(Base64, CallsNoTraceHooks) {
  TraceRecorder trace(0x60083);
  encoded(Base64Alphabet::standard, "foobar");
  decoded(Base64Alphabet::safe, u"Zm9vYmFy", 6);
  EXPECT_THAT(trace.calls(), testing::IsEmpty());
}

TEST(Base64, CanBeUsedByManyThreadsAtOnce) {
  constexpr std::size_t count = 4;
  std::array<int, count> failures{};
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < count; ++i) {
    threads.emplace_back(reporting([&failures, i] {
      const Base64Alphabet alphabet = alphabets.at(i % 2);
      const std::string bytes(1000 + i, static_cast<char>(0xF8 + i));
      Units text(Base64::encodeSize(bytes.size()));
      std::string back(bytes.size(), '\0');
      for (int round = 0; round < 200; ++round) {
        encodeInto(alphabet, text.data(), text.size(), bytes.data(), bytes.size());
        decodeInto(alphabet, back.data(), back.size(), text.data(), text.size());
        if (back != bytes) ++failures.at(i);
        std::fill(back.begin(), back.end(), '\0');
      }
    }));
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(failures, testing::Each(0));
}

}  // namespace
}  // namespace tarvo::test
