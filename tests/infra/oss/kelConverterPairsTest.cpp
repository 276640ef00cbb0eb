#include "infra/oss/kelConverter.hpp"
#include "infra/oss/kelNLSException.hpp"

#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"

#include <gtest/gtest.h>
#include <unicode/ucnv.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

/// Compares conversions between two code pages with ICU's converters, which are opened by name for each
/// conversion. The texts are random, valid or damaged. Destinations have any size and address, and may
/// overlap the text.
namespace tarvo::test {
namespace {

using oss::Converter;
using oss::NLSException;

/// Code pages that the library converts without ICU, under several names, and similar ones that only ICU
/// converts.
const std::vector<std::string>& codePages() {
  static const std::vector<std::string> names = {"UTF-16LE",
                                                 "UTF-16BE",
                                                 "utf-16le",
                                                 "UTF16_BigEndian",
                                                 "UTF-16_PlatformEndian",
                                                 "UTF-16_OppositeEndian",
                                                 "UnicodeLittleUnmarked",
                                                 "UTF-16LE,version=1",
                                                 "UTF-16BE,version=1",
                                                 "UTF-16",
                                                 "UTF-16,version=1",
                                                 "UTF-16,version=2",
                                                 "UTF-8",
                                                 "CESU-8",
                                                 "UTF-32LE",
                                                 "US-ASCII",
                                                 "ISO-8859-1",
                                                 "ISO-8859-15",
                                                 "windows-1252",
                                                 "windows-1251",
                                                 "windows-874",
                                                 "KOI8-R",
                                                 "ibm-37",
                                                 "ibm-1047,swaplfnl",
                                                 "Shift_JIS",
                                                 "no-such-page"};
  return names;
}

class RandomTexts {
 public:
  explicit RandomTexts(unsigned seed) : random_(seeded(seed)) {}

  unsigned below(unsigned count) { return static_cast<unsigned>(random_() % count); }
  const std::string& oneOf(const std::vector<std::string>& all) {
    return all[below(static_cast<unsigned>(all.size()))];
  }

  /// A random text of few kinds of characters, so that some texts consist of one kind.
  icu::UnicodeString text(bool halves) {
    icu::UnicodeString text;
    const unsigned kinds = 1 + below(5);
    const unsigned most = below(8) == 0 ? 3000 : 90;
    for (unsigned left = 1 + below(most); left > 0; --left) {
      const bool stray = halves && below(60) == 0;
      text.append(stray ? static_cast<UChar32>(0xD800 + below(0x800)) : character(below(kinds)));
    }
    return text;
  }

  std::string bytes() {
    std::string bytes(1 + below(100), '\0');
    for (char& byte : bytes) byte = static_cast<char>(random_());
    return bytes;
  }

 private:
  UChar32 character(unsigned kind) {
    switch (kind) {
      case 0:
        return static_cast<UChar32>(below(0x80));
      case 1:
        return static_cast<UChar32>(below(8) == 0 ? 0xA0 + below(0x60) : 0x20 + below(0x5F));
      case 2:
        return below(6) == 0 ? 0xFEFF - static_cast<UChar32>(below(2)) : 0x20AC;
      case 3:
        return static_cast<UChar32>(0x3000 + below(0x8000));
      default:
        return static_cast<UChar32>(below(3) == 0 ? 0x10000 + below(0x100000) : 0x400 + below(0x60));
    }
  }

  std::mt19937 random_;
};

std::string icuBytes(const icu::UnicodeString& text, const std::string& codePage) {
  std::string bytes(64 + 8 * static_cast<std::size_t>(text.length()), '\0');
  const std::int32_t size = text.extract(0, text.length(), bytes.data(),
                                         static_cast<std::uint32_t>(bytes.size()), codePage.c_str());
  bytes.resize(static_cast<std::size_t>(size));
  return bytes;
}

icu::UnicodeString icuText(const std::string& bytes, const std::string& codePage) {
  std::vector<char16_t> units(64 + 2 * bytes.size());
  UErrorCode status = U_ZERO_ERROR;
  UConverter* const converter = ucnv_open(codePage.c_str(), &status);
  const std::int32_t count = ucnv_toUChars(converter, units.data(), static_cast<std::int32_t>(units.size()),
                                           bytes.data(), static_cast<std::int32_t>(bytes.size()), &status);
  ucnv_close(converter);
  return U_SUCCESS(status) ? icu::UnicodeString(units.data(), count) : icu::UnicodeString();
}

/// The outcome of a call: the result or the error, and the bytes of the destination.
struct Left {
  int size = 0;
  std::string error;
  std::string room;

  bool operator==(const Left&) const = default;
};

std::ostream& operator<<(std::ostream& os, const Left& left) {
  return os << left.size << " " << left.error << " " << testing::PrintToString(left.room);
}

template <class Convert>
Left leftBy(std::string room, Convert convert) {
  Left left;
  try {
    left.size = convert(room.data());
  } catch (NLSException& error) {
    const oss::Message& message = error.getErrorMessage();
    left.error = utf8(message.getMessageID());
    for (const std::string& argument : argumentsOf(message)) left.error += " " + argument;
  }
  left.room = std::move(room);
  return left;
}

/// The expected outcome: bytes as ICU converts them, sizes and errors by the rules of the header.
Left leftByIcu(std::string room, std::size_t start, int length, const icu::UnicodeString& text,
               const std::string& from, const std::string& to) {
  Left left;
  char* const target = length > 0 ? room.data() + start : nullptr;
  const std::int32_t size =
      text.extract(0, text.length(), target, static_cast<std::uint32_t>(std::max(length, 0)), to.c_str());
  if (size < 1) {
    left.error = "ERR_CONV_CONVERSION_ERROR " + to + " " + from;
  } else if (size + 1 > length) {
    left.error = "ERR_BUFFER_SIZE_TOO_SMALL " + std::to_string(length);
  } else {
    left.size = size + 1;
  }
  left.room = std::move(room);
  return left;
}

int lengthFor(RandomTexts& random, std::size_t size) {
  switch (random.below(4)) {
    case 0:
      return static_cast<int>(random.below(static_cast<unsigned>(size) + 3));
    case 1:
      return static_cast<int>(4 * size + 9);
    default:
      return static_cast<int>(size + random.below(5)) - 1;
  }
}

void expectConvertsAsIcu(RandomTexts& random, const std::string& from, const std::string& to) {
  const icu::UnicodeString given = random.text(false);
  std::string bytes = random.below(6) == 0 ? random.bytes() : icuBytes(given, from);
  if (bytes.empty()) return;
  if (random.below(4) == 0) bytes[random.below(static_cast<unsigned>(bytes.size()))] ^= '\x81';
  if (random.below(6) == 0 && bytes.size() > 1) bytes.pop_back();
  const icu::UnicodeString text = icuText(bytes, from);
  const std::size_t size = icuBytes(text, to).size();
  const auto count = static_cast<int>(bytes.size());
  const int length = lengthFor(random, size);
  ROW(from + " to " + to + ", " + testing::PrintToString(bytes) + " into " + std::to_string(length));

  const std::size_t start = random.below(4);
  const std::string room(static_cast<std::size_t>(std::max(length, 0)) + start + 16, '#');
  ASSERT_EQ(leftBy(room,
                   [&](char* place) {
                     return Converter::convert(place + start, length, from.c_str(), bytes.data(), count,
                                               to.c_str());
                   }),
            leftByIcu(room, start, length, text, from, to));

  std::string shared(room.size() + bytes.size() + 16, '#');
  const std::size_t at = random.below(static_cast<unsigned>(room.size()));
  shared.replace(at, bytes.size(), bytes);
  ASSERT_EQ(leftBy(shared,
                   [&](char* place) {
                     return Converter::convert(place + start, length, from.c_str(), place + at, count,
                                               to.c_str());
                   }),
            leftByIcu(shared, start, length, text, from, to))
      << "the text stands where the result goes";

  if (size > 0) {
    ASSERT_EQ(Converter::convert(nullptr, 0, from.c_str(), bytes.data(), count, to.c_str()),
              static_cast<int>(size) + 1);
  }
}

TEST(ConverterPairs, ConvertLikeIcu) {
  constexpr unsigned seed = 20261122;
  RandomTexts random(seed);
  for (int i = 0; i < 40'000; ++i) {
    ROW("i", i);
    const std::string& from = random.oneOf(codePages());
    const std::string& to = random.oneOf(codePages());
    if (from == to) continue;
    ASSERT_NO_FATAL_FAILURE(expectConvertsAsIcu(random, from, to)) << "seed " << seed;
  }
}

TEST(ConverterPairs, ConvertEverySingleByteCodePageToUtf16) {
  RandomTexts random(7);
  std::string everyByte;
  for (int byte = 0; byte < 256; ++byte) everyByte += static_cast<char>(byte);
  for (std::int32_t i = 0; i < ucnv_countAvailable(); ++i) {
    ROW("i", i);
    const std::string from = ucnv_getAvailableName(i);
    for (const char* const to : rowsOf({"UTF-16LE", "UTF-16BE"})) {
      const std::string expected = icuBytes(icuText(everyByte, from), to);
      std::string found(expected.size() + 1, '#');
      if (expected.empty() || from == to) continue;
      ASSERT_EQ(Converter::convert(found.data(), static_cast<int>(found.size()), from.c_str(),
                                   everyByte.data(), static_cast<int>(everyByte.size()), to),
                static_cast<int>(expected.size()) + 1)
          << from;
      found.pop_back();
      ASSERT_TRUE(found == expected) << from << " to " << to;
      for (int time = 0; time < 6; ++time) {
        ROW("time", time);
        ASSERT_NO_FATAL_FAILURE(expectConvertsAsIcu(random, from, to));
      }
    }
  }
}

TEST(ConverterPairs, WriteUnicodeTextsLikeIcu) {
  constexpr unsigned seed = 4;
  RandomTexts random(seed);
  for (int i = 0; i < 20'000; ++i) {
    ROW("i", i);
    const icu::UnicodeString text = random.text(random.below(2) == 0);
    const std::string& to = random.oneOf(codePages());
    const int length = lengthFor(random, icuBytes(text, to).size());
    const std::string room(static_cast<std::size_t>(std::max(length, 0)) + 16, '#');
    ASSERT_EQ(leftBy(room, [&](char* place) { return Converter::convert(place, length, to.c_str(), text); }),
              leftByIcu(room, 0, length, text, ucnv_getDefaultName(), to))
        << to << ", text " << i << ", seed " << seed;
  }
}

}  // namespace
}  // namespace tarvo::test
