#pragma once

#include "infra/oss/kelStrictConverter.hpp"

#include "kelConverterTasks.hpp"

#include <cstdint>
#include <string>
#include <vector>

/// The streams that all benchmarks of StrictConverter share. Each is clean, so no candidate stops.
namespace tarvo::benchmarks::strict {

struct Case {
  std::string task;
  std::string data;
  std::string from;
  std::string to;
  converter::Task own;
};

inline Case between(const converter::Text& kind, const char* fromPage, const char* toPage) {
  constexpr std::int32_t units = 65536;
  const std::string data = converter::inCodePage(kind.ofUnits(units), fromPage);
  const std::string from = fromPage;
  const std::string to = toPage;
  return {"StrictConverter/" + std::to_string(units) + " units from " + from + " to " + to + ", " + kind.kind,
          data, from, to, [=](auto& room) {
            oss::StrictConverter stream(from.c_str(), to.c_str());
            const char* source = data.data();
            char* target = room.data();
            const auto status =
                stream.convert(source, source + data.size(), target, target + room.size(), true);
            return converter::written(room,
                                      status == oss::StrictConverter::INPUT_EMPTY ? target - room.data() : 0);
          }};
}

/// Short pieces of Japanese and ASCII in turn, so that ISO-2022-JP changes its state often.
inline const converter::Text& lines() {
  static const converter::Text text{"CJK and ASCII", u"\u65E5\u672C\u8A9E no \u6587\u5B57\u5217: 4711\n"};
  return text;
}

inline const std::vector<Case>& cases() {
  using namespace converter;
  static const std::vector<Case> all = {
      between(ascii(), "UTF-8", "UTF-16LE"),     between(mixed(), "UTF-8", "UTF-16LE"),
      between(cjk(), "UTF-8", "UTF-16LE"),       between(mixed(), "UTF-8", "windows-1252"),
      between(mixed(), "windows-1252", "UTF-8"), between(cjk(), "Shift_JIS", "UTF-8"),
      between(cjk(), "UTF-8", "Shift_JIS"),      between(cjk(), "ISO-2022-JP", "UTF-8"),
      between(lines(), "ISO-2022-JP", "UTF-8"),
  };
  return all;
}

}  // namespace tarvo::benchmarks::strict
