#include "infra/oss/kelConverter.hpp"

#include "kelCodePages.hpp"
#include "kelFuzz.hpp"

#include <unicode/ucnv.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <vector>

/// A series of conversions between any two of many code pages. Results, bytes, and errors with their
/// arguments are compared with those of ICU, which opens a converter by name for each call.
namespace {

using tarvo::fuzz::decimal;
using tarvo::fuzz::errorOf;
using tarvo::fuzz::expect;
using tarvo::fuzz::Input;
using tarvo::fuzz::joined;
using tarvo::fuzz::multiByteCodePages;
using tarvo::fuzz::ToldError;
using tarvo::oss::Converter;
using tarvo::oss::SizeableBuffer;

constexpr int mostSteps = 8;

// Code pages with one byte for each character, with several, with states, of ICU only; aliases; unknown
// names.
constexpr auto codePages = joined(
    std::array{
        "UTF-8",
        "utf8",
        "ISO-8859-1",
        "ISO8859_1",
        "US-ASCII",
        "windows-1252",
        "UTF-16BE",
        "UTF-16LE",
        "UTF-16",
        "UTF-32",
        "UTF-32LE",
    },
    multiByteCodePages,
    std::array{
        "ibm-37",
        "ibm-1047",
        "ibm-930",
        "ibm-1390",
        "ISO-2022-JP",
        "ISO-2022-KR",
        "ISO-2022-CN",
        "HZ-GB-2312",
        "KOI8-R",
        "ibm-437",
        "windows-1251",
        "TIS-620",
        "LMBCS-1",
        "ISCII,version=0",
        "ISO-8859-15",
        "macintosh",
        "ibm-1026,swaplfnl",
        "no such page",
        "a name that is longer than any that a converter of that library is known by, so that none is kept",
        "",
    });

const char* codePageFrom(Input& input) {
  const unsigned int chosen = input.byte();
  // The first ones are chosen more often: the library converts these without ICU.
  if (chosen >= 128) return codePages[chosen % 8];
  return chosen % (codePages.size() + 1) == codePages.size() ? nullptr : codePages[chosen % codePages.size()];
}

// --- what is expected

const char* nullIfEmpty(const char* codePage) {
  return codePage == nullptr || *codePage == '\0' ? nullptr : codePage;
}

std::u16string nameOf(const char* codePage) {
  const std::string name = nullIfEmpty(codePage) == nullptr ? ucnv_getDefaultName() : codePage;
  return {name.begin(), name.end()};
}

bool sameCodePage(const char* one, const char* other) {
  one = nullIfEmpty(one);
  other = nullIfEmpty(other);
  return one == nullptr || other == nullptr ? one == other : std::strcmp(one, other) == 0;
}

/// A call of any overload.
struct Call {
  bool toSize;  // the destination is null
  int destinationLength;
  const char* from;  // null for Unicode
  const char* to;
};

struct Outcome {
  std::optional<ToldError> error;
  int result = 0;
  std::string destination;  // after the call; unwritten bytes are the filler
};

constexpr char filler = '\x5A';

std::string untouched(const Call& call) {
  return std::string(static_cast<std::size_t>(std::max(call.toSize ? 0 : call.destinationLength, 0)), filler);
}

Outcome conversionError(const Call& call, std::string destination) {
  return {ToldError{"ERR_CONV_CONVERSION_ERROR", {nameOf(call.to), nameOf(call.from)}}, 0,
          std::move(destination)};
}

Outcome fitting(const Call& call, std::int32_t size, std::string destination) {
  if (!call.toSize && size > call.destinationLength)
    return {ToldError{"ERR_BUFFER_SIZE_TOO_SMALL", {decimal(call.destinationLength)}}, 0,
            std::move(destination)};
  return {std::nullopt, size, std::move(destination)};
}

Outcome expectNothingGiven(const Call& call) {
  std::string destination = untouched(call);
  if (!destination.empty()) destination[0] = '\0';
  return {std::nullopt, 1, std::move(destination)};
}

Outcome expectConverted(const Call& call, const icu::UnicodeString& text) {
  std::string destination = untouched(call);
  char* const target = destination.empty() ? nullptr : destination.data();
  const std::int32_t count = text.extract(
      0, text.length(), target, static_cast<std::uint32_t>(destination.size()), nullIfEmpty(call.to));
  if (count < 1) return conversionError(call, std::move(destination));
  return fitting(call, count + 1, std::move(destination));
}

/// Reads SCSU and BOCU-1 into a buffer that is large enough: for some bytes ICU's constructor of a text does
/// not return.
icu::UnicodeString readByIcu(const std::string& bytes, const char* codePage) {
  const auto length = static_cast<std::int32_t>(bytes.size());
  const std::string name = codePage == nullptr ? "" : codePage;
  if (name != "SCSU" && name != "BOCU-1") return {bytes.data(), length, codePage};
  std::u16string units(4 * bytes.size() + 16, u'\0');
  UErrorCode status = U_ZERO_ERROR;
  UConverter* const converter = ucnv_open(codePage, &status);
  const std::int32_t count = ucnv_toUChars(converter, units.data(), static_cast<std::int32_t>(units.size()),
                                           bytes.data(), length, &status);
  ucnv_close(converter);
  expect(U_SUCCESS(status), "ICU reads no more");
  return {units.data(), count};
}

Outcome expectFromBytes(const Call& call, const std::string& bytes) {
  if (bytes.empty()) return expectNothingGiven(call);
  const auto length = static_cast<std::int32_t>(bytes.size());
  if (!sameCodePage(call.from, call.to))
    return expectConverted(call, readByIcu(bytes, nullIfEmpty(call.from)));
  std::string destination = untouched(call);
  if (bytes.size() < destination.size()) std::memcpy(destination.data(), bytes.c_str(), bytes.size() + 1);
  return fitting(call, length + 1, std::move(destination));
}

Outcome expectFromUnicode(const Call& call, const icu::UnicodeString& text) {
  return text.isEmpty() ? expectNothingGiven(call) : expectConverted(call, text);
}

// --- the library

/// Calls `convert` with a block of the exact size, so that the address sanitizer notices a byte too many.
template <class Convert>
void compare(const Call& call, const Outcome& expected, Convert convert) {
  const std::string before = untouched(call);
  std::vector<char> room(before.begin(), before.end());
  room.reserve(1);  // not a null pointer, which would ask for the size
  int result = 0;
  const auto error = errorOf([&] { result = convert(call.toSize ? nullptr : room.data()); });
  expect(error == expected.error, "how a conversion ends");
  expect(result == expected.result, "the size of a conversion");
  expect(std::equal(room.begin(), room.end(), expected.destination.begin(), expected.destination.end()),
         "the bytes of a conversion");
}

/// Checks calls with nothing to convert: a null source, which leaves the destination unchanged, or a length
/// of at most 0.
void compareNothing(const Call& call, int length) {
  const char byte = 'x';
  compare(call, {std::nullopt, 0, untouched(call)}, [&](char* destination) {
    return Converter::convert(destination, call.destinationLength, call.from, nullptr, length, call.to);
  });
  compare(call, expectNothingGiven(call), [&](char* destination) {
    return Converter::convert(destination, call.destinationLength, call.from, &byte, length, call.to);
  });
}

void compareBytes(const Call& call, const std::string& bytes) {
  if (bytes.empty()) return compareNothing(call, -std::abs(call.destinationLength));
  const std::vector<char> data(bytes.begin(), bytes.end());
  compare(call, expectFromBytes(call, bytes), [&](char* destination) {
    return Converter::convert(destination, call.destinationLength, call.from, data.data(),
                              static_cast<int>(bytes.size()), call.to);
  });
}

void compareText(const Call& call, const std::string& bytes) {
  const std::vector<char> data(bytes.c_str(), bytes.c_str() + std::strlen(bytes.c_str()) + 1);
  compare(call, expectFromBytes(call, data.data()), [&](char* destination) {
    return Converter::convert(destination, call.destinationLength, call.from, data.data(), call.to);
  });
}

void compareUnicode(Call call, const icu::UnicodeString& text) {
  call.from = nullptr;
  compare(call, expectFromUnicode(call, text), [&](char* destination) {
    return Converter::convert(destination, call.destinationLength, call.to, text);
  });
}

/// The bytes of a text. Does not ask for the size, which a few of ICU's converters under-report.
std::string bytesIn(const char* codePage, const icu::UnicodeString& text) {
  std::string bytes(64 + 12 * static_cast<std::size_t>(text.length()), '\0');
  const std::int32_t size = text.extract(0, text.length(), bytes.data(),
                                         static_cast<std::uint32_t>(bytes.size()), nullIfEmpty(codePage));
  bytes.resize(static_cast<std::size_t>(std::max(size, 0)));
  return bytes;
}

void compareGrowing(const Call& call, const icu::UnicodeString& text) {
  const std::string expected = bytesIn(call.to, text);
  SizeableBuffer<char, 16> bytes;
  const std::size_t count = Converter::convertToBytes(text, nullIfEmpty(call.to), bytes);
  expect(count <= bytes.capacity(), "the room for a text's bytes");
  expect(count == expected.size() && std::equal(expected.begin(), expected.end(), bytes.data()),
         "the bytes of a text in a buffer that grows");
}

// --- the input's choices

icu::UnicodeString unicodeOf(const std::string& bytes, bool wide) {
  if (!wide) return icu::UnicodeString::fromUTF8(bytes);
  std::u16string pairs;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    pairs += static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                   static_cast<unsigned char>(bytes[i + 1]) << 8);
  }
  return tarvo::fuzz::unicode(pairs);
}

/// Sometimes longer than the library's stack buffers.
std::string repeated(const std::string& piece, unsigned int times) {
  std::string all;
  for (; times > 0; --times) all += piece;
  return all;
}

void step(Input& input) {
  const unsigned int kind = input.byte();
  Call call{};
  call.from = codePageFrom(input);
  call.to = codePageFrom(input);
  const unsigned int room = input.byte();
  const std::string given = repeated(input.bytes(input.below(64)), kind >= 0xE0 ? 1 + input.byte() : 1);
  const icu::UnicodeString text = unicodeOf(given, (kind & 0x04) != 0);
  const bool sound = (kind & 0x08) != 0;  // the bytes are well-formed in the source code page
  const std::string bytes = sound ? bytesIn(call.from, text) : given;

  // Near the required size, or any size.
  Call asking = call;
  asking.toSize = true;
  const unsigned int overload = kind % 4;
  const Outcome needed = overload == 0   ? expectFromBytes(asking, bytes)
                         : overload == 1 ? expectFromBytes(asking, bytes.c_str())
                                         : expectFromUnicode(asking, text);
  call.toSize = room >= 0xE0;
  call.destinationLength =
      room < 8 ? needed.result + static_cast<int>(room) - 4 : static_cast<int>(room) - 10;
  if (room >= 0xC0) call.destinationLength = needed.result + 16 * static_cast<int>(room);
  switch (overload) {
    case 0:
      return compareBytes(call, bytes);
    case 1:
      return compareText(call, bytes);
    case 2:
      return compareUnicode(call, text);
    default:
      return compareGrowing(call, text);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  constexpr std::array defaults = {"UTF-8", "US-ASCII", "ISO-8859-1", "windows-1252", "GB18030"};
  const char* const chosen = defaults[input.below(defaults.size())];
  if (std::strcmp(ucnv_getDefaultName(), chosen) != 0) ucnv_setDefaultName(chosen);
  for (int i = 0; i < mostSteps && !input.isEmpty(); ++i) step(input);
  return 0;
}
