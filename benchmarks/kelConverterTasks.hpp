#pragma once

#include "infra/oss/kelConverter.hpp"
#include "infra/oss/kelUTF8String.hpp"

#include "kelRegister.hpp"

#include <benchmark/benchmark.h>
#include <unicode/unistr.h>

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// The texts and tasks that all benchmarks of Converter share, and the functions that register a candidate.
namespace tarvo::benchmarks::converter {

/// Converts and returns the bytes, which are in `room` or in the candidate's storage.
using Task = std::function<std::string_view(std::vector<char>& room)>;

/// Registers a candidate. The candidate's bytes must equal those of the first candidate of the task, which is
/// the library.
inline void compete(const std::string& task, const std::string& candidate, const Task& run, const Task& own) {
  registerBenchmark(task + "/" + candidate, [=](benchmark::State& state) {
    constexpr std::size_t mostBytes = std::size_t{1} << 19U;
    std::vector<char> room(mostBytes);
    std::vector<char> ownRoom(mostBytes);
    if (run(room) != own(ownRoom)) return refuse(state, "the bytes differ");
    timed(state, [&] {
      benchmark::DoNotOptimize(run(room));
      benchmark::ClobberMemory();
    });
  });
}

inline int roomIn(const std::vector<char>& room) {
  return static_cast<int>(room.size());
}

template <class Size>
std::string_view written(const std::vector<char>& room, Size size) {
  return {room.data(), static_cast<std::size_t>(size)};
}

/// The bytes of UTF-16 code units, in memory order.
template <class Unit>
std::string_view asBytes(const Unit* units, std::int32_t count) {
  return {reinterpret_cast<const char*>(units), static_cast<std::size_t>(count) * 2};
}

inline std::string_view asBytes(const icu::UnicodeString& text) {
  return asBytes(text.getBuffer(), text.length());
}

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

inline const Text& ascii() {
  static const Text text{"ASCII", u"plain text, words and all that; 0123456789 "};
  return text;
}

inline const Text& mixed() {
  static const Text text{"mixed", u"caf\u00E9, gar\u00E7on na\u00EFve, \u00FCber stra\u00DFe, plain words "};
  return text;
}

inline const Text& cjk() {
  static const Text text{"CJK", u"\u65E5\u672C\u8A9E\u306E\u6587\u5B57\u5217\u4E2D\u6587\u5168\u6587\u3002"};
  return text;
}

inline constexpr std::array<std::int32_t, 3> sizes = {16, 512, 65536};

inline std::string inCodePage(const icu::UnicodeString& text, const char* page) {
  std::string bytes(static_cast<std::size_t>(text.length()) * 4, '\0');
  const int size =
      text.extract(0, text.length(), bytes.data(), static_cast<std::uint32_t>(bytes.size()), page);
  bytes.resize(static_cast<std::size_t>(size));
  return bytes;
}

// --- the tasks; `own` is the library's function in each of them

struct FromUnicode {
  std::string task;
  icu::UnicodeString text;
  std::string page;
  Task own;
};

inline FromUnicode fromUnicode(const Text& kind, std::int32_t units, const char* page) {
  const icu::UnicodeString text = kind.ofUnits(units);
  const std::string to = page;
  return {"Converter/" + std::to_string(units) + " units to " + to + ", " + kind.kind, text, to,
          [=](auto& room) {
            return written(room, oss::Converter::convert(room.data(), roomIn(room), to.c_str(), text) - 1);
          }};
}

inline const std::vector<FromUnicode>& casesFromUnicode() {
  static const std::vector<FromUnicode> all = [] {
    std::vector<FromUnicode> cases;
    for (const std::int32_t units : sizes) {
      for (const char* const page : {"windows-1252", "ISO-8859-1"})
        cases.push_back(fromUnicode(mixed(), units, page));
      for (const char* const page : {"Shift_JIS", "GB18030"})
        cases.push_back(fromUnicode(cjk(), units, page));
      for (const Text& kind : {ascii(), mixed(), cjk()}) cases.push_back(fromUnicode(kind, units, "UTF-8"));
    }
    return cases;
  }();
  return all;
}

struct ToUnicode {
  std::string task;
  std::string data;
  std::string page;
  Task own;
};

inline ToUnicode toUnicode(const Text& kind, std::int32_t units, const char* page) {
  const std::string data = inCodePage(kind.ofUnits(units), page);
  const std::string from = page;
  const int length = static_cast<int>(data.size());
  return {"Converter/" + std::to_string(units) + " units from " + from + ", " + kind.kind, data, from,
          [=](auto& room) {
            return written(room, oss::Converter::convert(room.data(), roomIn(room), from.c_str(), data.data(),
                                                         length, "UTF-16LE") -
                                     1);
          }};
}

/// The library converts UTF-8 with a separate class, UTF8String.
inline ToUnicode fromUtf8(const Text& kind, std::int32_t units) {
  const std::string data = inCodePage(kind.ofUnits(units), "UTF-8");
  const auto string = std::make_shared<const oss::UTF8String>(data.c_str());
  const auto text = std::make_shared<icu::UnicodeString>();
  return {"UTF8String/getString, " + std::to_string(units) + " units, " + kind.kind, data, "UTF-8",
          [=](auto&) {
            text->remove();
            string->getString(*text);
            return asBytes(*text);
          }};
}

inline const std::vector<ToUnicode>& casesToUnicode() {
  static const std::vector<ToUnicode> all = [] {
    std::vector<ToUnicode> cases;
    for (const std::int32_t units : sizes) {
      for (const char* const page : {"windows-1252", "ISO-8859-1"})
        cases.push_back(toUnicode(mixed(), units, page));
      for (const Text& kind : {ascii(), mixed(), cjk()}) cases.push_back(fromUtf8(kind, units));
    }
    return cases;
  }();
  return all;
}

struct BetweenPages {
  std::string task;
  std::string data;
  std::string from;
  std::string to;
  Task own;
};

inline BetweenPages betweenPages(const Text& kind, std::int32_t units, const char* fromPage,
                                 const char* toPage) {
  const std::string data = inCodePage(kind.ofUnits(units), fromPage);
  const std::string from = fromPage;
  const std::string to = toPage;
  const int length = static_cast<int>(data.size());
  return {"Converter/" + std::to_string(units) + " units from " + from + " to " + to + ", " + kind.kind, data,
          from, to, [=](auto& room) {
            return written(room, oss::Converter::convert(room.data(), roomIn(room), from.c_str(), data.data(),
                                                         length, to.c_str()) -
                                     1);
          }};
}

inline const std::vector<BetweenPages>& casesBetweenPages() {
  static const std::vector<BetweenPages> all = [] {
    std::vector<BetweenPages> cases;
    for (const std::int32_t units : sizes) {
      cases.push_back(betweenPages(mixed(), units, "UTF-8", "windows-1252"));
      cases.push_back(betweenPages(mixed(), units, "windows-1252", "UTF-8"));
      cases.push_back(betweenPages(cjk(), units, "Shift_JIS", "UTF-8"));
      cases.push_back(betweenPages(ascii(), units, "UTF-8", "ISO-8859-1"));
    }
    return cases;
  }();
  return all;
}

}  // namespace tarvo::benchmarks::converter
