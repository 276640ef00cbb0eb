#include "infra/oss/kelStrictConverter.hpp"

#include "kelCodePages.hpp"
#include "kelFuzz.hpp"

#include <unicode/utf8.h>

#include <iconv.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

/// A stream between any two of many code pages. The bytes, the faults and their places must be the same for
/// windows of all sizes. The bytes of a fault must be those of the stream at its offset. For code pages whose
/// tables are the same in the C library, `iconv` must agree whether the stream is clean.
///
/// Other tables differ, so `iconv` is not asked for these: ICU decodes the bytes without a character of
/// windows-1252, windows-1251, Big5, GBK and Shift_JIS as control characters or characters of private use,
/// and EUC-JP and EUC-KR have more rows. The C library ignores SO and SI in ISO-2022-JP, and unknown escapes
/// in ISO-2022-KR. It reads UTF-16 without a mark in the order of the machine; ICU reads the higher byte
/// first. In UTF-7, ICU accepts a plus sign at the end, and refuses base64 that ends inside a character.
namespace {

using tarvo::fuzz::expect;
using tarvo::fuzz::Input;
using tarvo::fuzz::joined;
using tarvo::fuzz::multiByteCodePages;
using tarvo::oss::StrictConverter;
using Fault = StrictConverter::Fault;

constexpr std::size_t asInIconv = 14;  // of the code pages

constexpr auto codePages = joined(
    std::array{
        "UTF-8",
        "UTF-16BE",
        "UTF-16LE",
        "UTF-32BE",
        "UTF-32LE",
        "US-ASCII",
        "ISO-8859-1",
        "ISO-8859-2",
        "ISO-8859-7",
        "ISO-8859-15",
        "KOI8-R",
        "IBM850",
        "IBM437",
        "IBM037",
        "UTF-16",
        "UTF-16BE,version=1",
        "UTF-32",
    },
    multiByteCodePages,
    std::array{
        "ibm-930",
        "ibm-1390",
        "ISO-2022-JP",
        "ISO-2022-JP-2",
        "ISO-2022-KR",
        "ISO-2022-CN",
        "HZ-GB-2312",
        "windows-1252",
        "TIS-620",
        "LMBCS-1",
        "ISCII,version=0",
        "x11-compound-text",
        "ibm-971",
        "ibm-16684",
        "macintosh",
    });

struct Converted {
  std::string bytes;
  std::vector<Fault> faults;
};

bool same(const Fault& one, const Fault& other) {
  return one.kind == other.kind && one.offset == other.offset && one.line == other.line &&
         one.column == other.column && one.length == other.length && one.character == other.character &&
         std::equal(std::begin(one.bytes), std::end(one.bytes), std::begin(other.bytes));
}

/// Converts the stream. `sizeOfNext` returns the sizes of the windows in turn.
template <class SizeOfNext>
Converted convert(const char* from, const char* to, const std::string& stream, bool replaces,
                  SizeOfNext sizeOfNext) {
  StrictConverter converter(from, to);
  Converted result;
  std::string room;
  std::size_t at = 0;
  for (std::size_t calls = 0;; ++calls) {
    expect(calls < 50 * stream.size() + 1000, "the stream ends");
    const std::size_t size = std::min(sizeOfNext(), stream.size() - at);
    const bool last = at + size == stream.size();
    room.resize(sizeOfNext());
    const char* source = stream.data() + at;
    char* target = room.data();
    const auto status = converter.convert(source, source + size, target, target + room.size(), last);
    at = static_cast<std::size_t>(source - stream.data());
    result.bytes.append(room.data(), target);
    if (status == StrictConverter::INPUT_EMPTY && last) return result;
    if (status != StrictConverter::FAULT) continue;
    result.faults.push_back(converter.fault());
    if (replaces && converter.fault().length > 0) converter.replaceFault(u'?');
  }
}

void checkPlaces(const std::string& stream, const Converted& whole) {
  std::uint64_t before = 0;
  for (const Fault& fault : whole.faults) {
    expect(fault.offset >= before && fault.offset <= stream.size(), "faults are in the order of the stream");
    expect(stream.compare(fault.offset, static_cast<std::size_t>(fault.length), fault.bytes,
                          static_cast<std::size_t>(fault.length)) == 0,
           "the bytes of a fault are at its offset");
    expect(fault.line >= 1 && fault.line <= fault.offset + 1, "the line of a fault");
    before = fault.offset;
  }
}

/// Converts the stream with the C library, and returns whether that succeeds.
bool isCleanForIconv(const char* from, const std::string& stream) {
  iconv_t const converter = iconv_open("UTF-8", from);
  std::string in = stream;
  std::string out(4 * in.size() + 16, '\0');
  char* source = in.data();
  char* target = out.data();
  std::size_t left = in.size();
  std::size_t room = out.size();
  const bool converted = iconv(converter, &source, &left, &target, &room) != static_cast<std::size_t>(-1);
  iconv_close(converter);
  return converted && left == 0;
}

void checkMalformed(const std::string& bytes) {
  std::size_t at = 0;
  for (std::size_t next = 0; at < bytes.size(); at = next) {
    UChar32 character = 0;
    U8_NEXT(reinterpret_cast<const std::uint8_t*>(bytes.data()), next, bytes.size(), character);
    if (character < 0) break;
  }
  expect(StrictConverter::findMalformed(bytes.data(), bytes.size()) == at, "findMalformed");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const std::size_t page = input.below(codePages.size());
  const char* const from = codePages[page];
  const char* const to = codePages[input.below(codePages.size())];
  unsigned int seed = input.word();
  const unsigned int most = 1 + input.word() % 5000;
  const bool replaces = input.flag();
  const unsigned int repeated = 1 + input.below(4);
  const std::string piece = input.rest();
  std::string stream;
  // Blocks are longer than most inputs.
  for (unsigned int i = 0; i < repeated; ++i) stream += piece;
  const Converted whole = convert(from, to, stream, replaces, [] { return std::size_t{100'000}; });
  checkPlaces(stream, whole);
  const Converted cut = convert(from, to, stream, replaces, [&] {
    seed = seed * 1103515245U + 12345U;
    return std::size_t{1} + (seed >> 8U) % most;
  });
  expect(cut.bytes == whole.bytes, "the bytes do not depend on the windows");
  expect(std::equal(cut.faults.begin(), cut.faults.end(), whole.faults.begin(), whole.faults.end(), &same),
         "the faults do not depend on the windows");
  if (page < asInIconv) {
    const Converted unicode = convert(from, "UTF-8", stream, false, [] { return std::size_t{100'000}; });
    expect(unicode.faults.empty() == isCleanForIconv(from, stream), "iconv agrees");
  }
  checkMalformed(stream);
  return 0;
}
