// StrictConverter compared with Converter, which replaces, and with converters of ICU that stop at a fault.
// Names are "class/task/candidate"; the candidate KELINFRA is compared with the others of its task.
#include "infra/oss/kelConverter.hpp"
#include "infra/oss/kelStrictConverter.hpp"

#include "kelStrictConverterTasks.hpp"
#include "kelUTF8Tasks.hpp"

#include <benchmark/benchmark.h>
#include <unicode/ucnv.h>
#include <unicode/ucnv_err.h>
#include <unicode/ustring.h>
#include <unicode/utf8.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace tarvo::benchmarks;
using tarvo::oss::Converter;
using tarvo::oss::StrictConverter;

struct CloseConverter {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using OpenConverter = std::unique_ptr<UConverter, CloseConverter>;

OpenConverter stoppingConverter(const std::string& page) {
  UErrorCode status = U_ZERO_ERROR;
  OpenConverter converter(ucnv_open(page.c_str(), &status));
  ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  ucnv_setFromUCallBack(converter.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  return converter;
}

std::string_view convertByIcu(const strict::Case& task, std::vector<char>& room) {
  const OpenConverter from = stoppingConverter(task.from);
  const OpenConverter to = stoppingConverter(task.to);
  UErrorCode status = U_ZERO_ERROR;
  char* target = room.data();
  const char* source = task.data.data();
  ucnv_convertEx(to.get(), from.get(), &target, target + room.size(), &source, source + task.data.size(),
                 nullptr, nullptr, nullptr, nullptr, static_cast<UBool>(true), static_cast<UBool>(true),
                 &status);
  return converter::written(room, target - room.data());
}

void compareStreams(const strict::Case& task) {
  const auto add = [&](const char* name, const converter::Task& run) {
    converter::compete(task.task, name, run, task.own);
  };
  add("KELINFRA", task.own);
  add("Converter", [&task](auto& room) {
    const int size =
        Converter::convert(room.data(), converter::roomIn(room), task.from.c_str(), task.data.data(),
                           static_cast<int>(task.data.size()), task.to.c_str());
    return converter::written(room, size - 1);
  });
  add("two ICU converters", [&task](auto& room) { return convertByIcu(task, room); });
}

// --- findMalformed

void compareFindMalformed(const utf8::Text& text) {
  const std::string task = "StrictConverter/findMalformed, " + text.what;
  const auto size = static_cast<utf8::Answer>(text.bytes->size());
  const utf8::Task own = [bytes = text.bytes] {
    return static_cast<utf8::Answer>(StrictConverter::findMalformed(utf8::hidden(*bytes), bytes->size()));
  };
  utf8::compete(task, "KELINFRA", own, [size] { return size; });
  utf8::compete(
      task, "a loop with U8_NEXT",
      [bytes = text.bytes] {
        const auto* const at = reinterpret_cast<const std::uint8_t*>(utf8::hidden(*bytes));
        const auto length = static_cast<std::int32_t>(bytes->size());
        std::int32_t next = 0;
        UChar32 character = 0;
        while (next < length && character >= 0) U8_NEXT(at, next, length, character);
        return utf8::Answer{character < 0 ? -1 : next};
      },
      own);
  utf8::compete(
      task, "u_strFromUTF8",
      [bytes = text.bytes, units = std::make_shared<std::u16string>(text.bytes->size(), u'\0')] {
        UErrorCode status = U_ZERO_ERROR;
        u_strFromUTF8(units->data(), static_cast<std::int32_t>(units->size()), nullptr, utf8::hidden(*bytes),
                      static_cast<std::int32_t>(bytes->size()), &status);
        return U_FAILURE(status) ? utf8::Answer{-1} : static_cast<utf8::Answer>(bytes->size());
      },
      own);
}

const bool registered = [] {
  for (const strict::Case& task : strict::cases()) compareStreams(task);
  for (const utf8::Text& text : utf8::texts()) compareFindMalformed(text);
  return true;
}();

}  // namespace
