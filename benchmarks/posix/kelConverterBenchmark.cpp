#include "infra/oss/kelConverter.hpp"
#include "infra/oss/kelSizeableBuffer.hpp"

#include "kelRegister.hpp"

#include <benchmark/benchmark.h>
#include <unicode/ucnv.h>
#include <unicode/unistr.h>

#include <iconv.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/// Converter beside ICU used by hand, opened by name each time or kept open, and the system's iconv. Every
/// candidate first has to give the library's bytes.
namespace {

using tarvo::benchmarks::registerBenchmark;
using tarvo::oss::Converter;
using tarvo::oss::SizeableBuffer;

struct CloseConverter {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using OpenConverter = std::unique_ptr<UConverter, CloseConverter>;

OpenConverter openConverter(const char* page) {
  UErrorCode status = U_ZERO_ERROR;
  return OpenConverter(ucnv_open(page, &status));
}

/// Converts into `room` and returns the size.
using Task = std::function<int(std::vector<char>& room)>;

int roomIn(const std::vector<char>& room) {
  return static_cast<int>(room.size());
}

void run(benchmark::State& state, const Task& task, const Task& own) {
  constexpr std::size_t mostBytes = std::size_t{1} << 19;
  std::vector<char> room(mostBytes);
  std::vector<char> expected(mostBytes);
  const int size = task(room);
  if (size != own(expected) || !std::equal(room.begin(), room.begin() + size, expected.begin())) {
    state.SkipWithError("the bytes differ");
    return;
  }
  for (auto _ : state) {
    benchmark::DoNotOptimize(task(room));
    benchmark::ClobberMemory();
  }
}

struct Candidate {
  std::string name;
  Task task;
};

/// The first candidate is the library's.
void compare(const std::string& task, const std::vector<Candidate>& candidates) {
  for (const Candidate& candidate : candidates) {
    registerBenchmark("Converter/" + task + "/" + candidate.name,
                      [task = candidate.task, own = candidates.front().task](benchmark::State& state) {
                        run(state, task, own);
                      });
  }
}

// --- iconv

int convertByIconv(iconv_t converter, const void* data, std::size_t bytes, std::vector<char>& room) {
  char* in = static_cast<char*>(const_cast<void*>(data));  // its signature; it does not write there
  char* out = room.data();
  std::size_t left = room.size();
  iconv(converter, nullptr, nullptr, nullptr, nullptr);
  iconv(converter, &in, &bytes, &out, &left);
  iconv(converter, nullptr, nullptr, &out, &left);
  return static_cast<int>(out - room.data());
}

int convertByIconvOnce(const char* to, const char* from, const void* data, std::size_t bytes,
                       std::vector<char>& room) {
  iconv_t converter = iconv_open(to, from);
  const int size = convertByIconv(converter, data, bytes, room);
  iconv_close(converter);
  return size;
}

// --- from Unicode

struct Text {
  const char* kind;
  icu::UnicodeString line;

  icu::UnicodeString ofUnits(std::int32_t units) const {
    icu::UnicodeString text;
    while (text.length() < units) text.append(line);
    text.truncate(units);
    return text;
  }
};

const Text& ascii() {
  static const Text text{"ASCII", u"plain text, words and all that; 0123456789 "};
  return text;
}

const Text& mixed() {
  static const Text text{"mixed", u"caf\u00E9, gar\u00E7on na\u00EFve, \u00FCber stra\u00DFe, plain words "};
  return text;
}

const Text& cjk() {
  static const Text text{"CJK", u"\u65E5\u672C\u8A9E\u306E\u6587\u5B57\u5217\u4E2D\u6587\u5168\u6587\u3002"};
  return text;
}

void compareFromUnicode(const Text& kind, std::int32_t units, const char* page) {
  const icu::UnicodeString text = kind.ofUnits(units);
  const auto open = std::make_shared<OpenConverter>(openConverter(page));
  const std::string to = page;
  compare(std::to_string(units) + " units to " + page + ", " + kind.kind,
          {{"KELINFRA",
            [=](auto& room) { return Converter::convert(room.data(), roomIn(room), to.c_str(), text) - 1; }},
           {"ICU by name",
            [=](auto& room) {
              return text.extract(0, text.length(), room.data(), static_cast<std::uint32_t>(room.size()),
                                  to.c_str());
            }},
           {"an open ICU converter",
            [=](auto& room) {
              UErrorCode status = U_ZERO_ERROR;
              return text.extract(room.data(), roomIn(room), open->get(), status);
            }},
           {"iconv opened each time", [=](auto& room) {
              return convertByIconvOnce(to.c_str(), "UTF-16LE", text.getBuffer(),
                                        static_cast<std::size_t>(text.length()) * 2, room);
            }}});
}

// --- from code page to code page

std::string bytesOf(const icu::UnicodeString& text, const char* page) {
  std::string bytes(static_cast<std::size_t>(text.length()) * 4, '\0');
  const int size =
      text.extract(0, text.length(), bytes.data(), static_cast<std::uint32_t>(bytes.size()), page);
  bytes.resize(static_cast<std::size_t>(size));
  return bytes;
}

int convertByOpenConverters(UConverter* to, UConverter* from, const std::string& data,
                            std::vector<char>& room) {
  std::array<UChar, 1024> pivot;
  UChar* pivotSource = pivot.data();
  UChar* pivotTarget = pivot.data();
  const char* source = data.data();
  char* target = room.data();
  UErrorCode status = U_ZERO_ERROR;
  ucnv_convertEx(to, from, &target, target + room.size(), &source, source + data.size(), pivot.data(),
                 &pivotSource, &pivotTarget, pivot.data() + pivot.size(), static_cast<UBool>(true),
                 static_cast<UBool>(true), &status);
  return static_cast<int>(target - room.data());
}

void compareCodePages(const Text& kind, std::int32_t units, const char* fromPage, const char* toPage) {
  const std::string data = bytesOf(kind.ofUnits(units), fromPage);
  const std::string from = fromPage;
  const std::string to = toPage;
  const auto openFrom = std::make_shared<OpenConverter>(openConverter(fromPage));
  const auto openTo = std::make_shared<OpenConverter>(openConverter(toPage));
  const int length = static_cast<int>(data.size());
  compare(std::to_string(units) + " units from " + from + " to " + to + ", " + kind.kind,
          {{"KELINFRA",
            [=](auto& room) {
              return Converter::convert(room.data(), roomIn(room), from.c_str(), data.data(), length,
                                        to.c_str()) -
                     1;
            }},
           {"ucnv_convert",
            [=](auto& room) {
              UErrorCode status = U_ZERO_ERROR;
              return ucnv_convert(to.c_str(), from.c_str(), room.data(), roomIn(room), data.data(), length,
                                  &status);
            }},
           {"two open ICU converters",
            [=](auto& room) { return convertByOpenConverters(openTo->get(), openFrom->get(), data, room); }},
           {"iconv opened each time", [=](auto& room) {
              return convertByIconvOnce(to.c_str(), from.c_str(), data.data(), data.size(), room);
            }}});
}

// --- the same code page, and convertToBytes

void compareCopy(std::size_t bytes) {
  const std::string data(bytes, 'x');
  compare(std::to_string(bytes) + " B to the same code page",
          {{"KELINFRA",
            [=](auto& room) {
              const char* text = data.c_str();
              benchmark::DoNotOptimize(text);  // its length is not known beforehand
              return Converter::convert(room.data(), roomIn(room), "UTF-8", text, "UTF-8") - 1;
            }},
           {"strlen and memcpy", [=](auto& room) {
              const char* text = data.c_str();
              benchmark::DoNotOptimize(text);
              const std::size_t length = std::strlen(text);
              std::memcpy(room.data(), text, length + 1);
              return static_cast<int>(length);
            }}});
}

void compareToBytes(std::int32_t units) {
  const icu::UnicodeString text = mixed().ofUnits(units);
  compare("convertToBytes of " + std::to_string(units) + " units, ISO8859_1",
          {{"KELINFRA",
            [=](auto& room) {
              SizeableBuffer<char, 1024> bytes;
              const std::size_t size = Converter::convertToBytes(text, "ISO8859_1", bytes);
              std::memcpy(room.data(), bytes.data(), size);
              return static_cast<int>(size);
            }},
           {"ICU by name, size first", [=](auto& room) {
              const int size = text.extract(0, text.length(), nullptr, 0U, "ISO8859_1");
              std::string bytes(static_cast<std::size_t>(size), '\0');
              text.extract(0, text.length(), bytes.data(), static_cast<std::uint32_t>(size), "ISO8859_1");
              std::memcpy(room.data(), bytes.data(), bytes.size());
              return size;
            }}});
}

const bool registered = [] {
  for (const std::int32_t units : {16, 512, 65536}) {
    compareFromUnicode(mixed(), units, "windows-1252");
    compareFromUnicode(mixed(), units, "ISO-8859-1");
    compareFromUnicode(cjk(), units, "Shift_JIS");
    compareFromUnicode(cjk(), units, "GB18030");
    for (const Text& kind : {ascii(), mixed(), cjk()}) compareFromUnicode(kind, units, "UTF-8");
  }
  for (const std::int32_t units : {16, 512, 65536}) {
    compareCodePages(mixed(), units, "UTF-8", "windows-1252");
    compareCodePages(mixed(), units, "windows-1252", "UTF-8");
    compareCodePages(cjk(), units, "Shift_JIS", "UTF-8");
    compareCodePages(ascii(), units, "UTF-8", "ISO-8859-1");
  }
  for (const std::size_t bytes : {std::size_t{16}, std::size_t{4096}}) compareCopy(bytes);
  for (const std::int32_t units : {16, 512}) compareToBytes(units);
  return true;
}();

}  // namespace
