#include "infra/oss/kelConverter.hpp"
#include "infra/oss/kelSizeableBuffer.hpp"

#include "kelConverterTasks.hpp"

#include <benchmark/benchmark.h>
#include <unicode/ucnv.h>
#include <unicode/unistr.h>
#include <unicode/ustring.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

/// Converter compared with direct use of ICU, where a converter is opened by name for each call or kept open.
/// Each candidate must produce the library's bytes before it is timed.
namespace {

using namespace tarvo::benchmarks::converter;
using tarvo::benchmarks::hidden;
using tarvo::oss::Converter;
using tarvo::oss::SizeableBuffer;

struct CloseConverter {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using OpenConverter = std::shared_ptr<UConverter>;

OpenConverter openConverter(const std::string& page) {
  UErrorCode status = U_ZERO_ERROR;
  return {ucnv_open(page.c_str(), &status), CloseConverter()};
}

// --- from Unicode

void compareFromUnicode(const FromUnicode& task) {
  const icu::UnicodeString text = task.text;
  const std::string to = task.page;
  const OpenConverter open = openConverter(to);
  const auto add = [&](const char* name, const Task& run) { compete(task.task, name, run, task.own); };
  add("KELINFRA", task.own);
  add("ICU by name", [=](auto& room) {
    const auto size = static_cast<std::uint32_t>(room.size());
    return written(room, text.extract(0, text.length(), room.data(), size, to.c_str()));
  });
  add("an open ICU converter", [=](auto& room) {
    UErrorCode status = U_ZERO_ERROR;
    return written(room, text.extract(room.data(), roomIn(room), open.get(), status));
  });
  if (to != "UTF-8") return;
  add("u_strToUTF8", [=](auto& room) {
    UErrorCode status = U_ZERO_ERROR;
    std::int32_t size = 0;
    u_strToUTF8(room.data(), roomIn(room), &size, text.getBuffer(), text.length(), &status);
    return written(room, size);
  });
}

// --- to Unicode

void compareToUnicode(const ToUnicode& task) {
  const std::string data = task.data;
  const std::string from = task.page;
  const auto length = static_cast<std::int32_t>(data.size());
  const OpenConverter open = openConverter(from);
  const auto kept = std::make_shared<icu::UnicodeString>();
  const auto add = [&](const char* name, const Task& run) { compete(task.task, name, run, task.own); };
  add("KELINFRA", task.own);
  add("ICU by name", [=](auto&) {
    *kept = icu::UnicodeString(data.data(), length, from.c_str());
    return asBytes(*kept);
  });
  add("an open ICU converter", [=](auto& room) {
    auto* const units = reinterpret_cast<char16_t*>(room.data());
    UErrorCode status = U_ZERO_ERROR;
    return asBytes(units, ucnv_toUChars(open.get(), units, roomIn(room) / 2, data.data(), length, &status));
  });
  if (from != "UTF-8") return;
  add("u_strFromUTF8", [=](auto& room) {
    auto* const units = reinterpret_cast<char16_t*>(room.data());
    UErrorCode status = U_ZERO_ERROR;
    std::int32_t count = 0;
    u_strFromUTF8(units, roomIn(room) / 2, &count, data.data(), length, &status);
    return asBytes(units, count);
  });
}

// --- from code page to code page

std::string_view convertByOpenConverters(UConverter* to, UConverter* from, const std::string& data,
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
  return written(room, target - room.data());
}

void compareBetweenPages(const BetweenPages& task) {
  const std::string data = task.data;
  const std::string from = task.from;
  const std::string to = task.to;
  const OpenConverter openFrom = openConverter(from);
  const OpenConverter openTo = openConverter(to);
  const auto add = [&](const char* name, const Task& run) { compete(task.task, name, run, task.own); };
  add("KELINFRA", task.own);
  add("ucnv_convert", [=](auto& room) {
    UErrorCode status = U_ZERO_ERROR;
    return written(room, ucnv_convert(to.c_str(), from.c_str(), room.data(), roomIn(room), data.data(),
                                      static_cast<std::int32_t>(data.size()), &status));
  });
  add("two open ICU converters",
      [=](auto& room) { return convertByOpenConverters(openTo.get(), openFrom.get(), data, room); });
}

// --- the same code page, and convertToBytes

void compareCopy(std::size_t bytes) {
  const std::string data(bytes, 'x');
  const Task own = [=](auto& room) {
    const char* const text = hidden(data.c_str());  // the compiler does not know its length
    return written(room, Converter::convert(room.data(), roomIn(room), "UTF-8", text, "UTF-8") - 1);
  };
  const Task byHand = [=](auto& room) {
    const char* const text = hidden(data.c_str());
    const std::size_t length = std::strlen(text);
    std::memcpy(room.data(), text, length + 1);
    return written(room, length);
  };
  const std::string task = "Converter/" + std::to_string(bytes) + " B to the same code page";
  compete(task, "KELINFRA", own, own);
  compete(task, "strlen and memcpy", byHand, own);
}

void compareToBytes(std::int32_t units) {
  const icu::UnicodeString text = mixed().ofUnits(units);
  const Task own = [=](auto& room) {
    SizeableBuffer<char, 1024> bytes;
    const std::size_t size = Converter::convertToBytes(text, "ISO8859_1", bytes);
    std::memcpy(room.data(), bytes.data(), size);
    return written(room, size);
  };
  const Task byName = [=](auto& room) {
    const int size = text.extract(0, text.length(), nullptr, 0U, "ISO8859_1");
    std::string bytes(static_cast<std::size_t>(size), '\0');
    text.extract(0, text.length(), bytes.data(), static_cast<std::uint32_t>(size), "ISO8859_1");
    std::memcpy(room.data(), bytes.data(), bytes.size());
    return written(room, size);
  };
  const std::string task = "Converter/convertToBytes of " + std::to_string(units) + " units, ISO8859_1";
  compete(task, "KELINFRA", own, own);
  compete(task, "ICU by name, size first", byName, own);
}

const bool registered = [] {
  for (const FromUnicode& task : casesFromUnicode()) compareFromUnicode(task);
  for (const ToUnicode& task : casesToUnicode()) compareToUnicode(task);
  for (const BetweenPages& task : casesBetweenPages()) compareBetweenPages(task);
  for (const std::size_t bytes : {std::size_t{16}, std::size_t{4096}}) compareCopy(bytes);
  for (const std::int32_t units : {16, 512}) compareToBytes(units);
  return true;
}();

}  // namespace
