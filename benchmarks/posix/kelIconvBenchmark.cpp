#include "kelConverterTasks.hpp"
#include "kelStrictConverterTasks.hpp"

#include <iconv.h>

#include <string>
#include <vector>

/// The system's iconv compared with Converter and StrictConverter.
namespace {

using namespace tarvo::benchmarks::converter;

std::string_view convertByIconv(const std::string& to, const char* from, std::string_view data,
                                std::vector<char>& room) {
  iconv_t converter = iconv_open(to.c_str(), from);
  char* in = const_cast<char*>(data.data());  // iconv's signature; it does not write there
  std::size_t bytes = data.size();
  char* out = room.data();
  std::size_t left = room.size();
  iconv(converter, &in, &bytes, &out, &left);
  iconv(converter, nullptr, nullptr, &out, &left);
  iconv_close(converter);
  return written(room, out - room.data());
}

const bool registered = [] {
  for (const FromUnicode& task : casesFromUnicode()) {
    compete(
        task.task, "iconv opened each time",
        [text = task.text, to = task.page](auto& room) {
          return convertByIconv(to, "UTF-16LE", asBytes(text), room);
        },
        task.own);
  }
  for (const BetweenPages& task : casesBetweenPages()) {
    compete(
        task.task, "iconv opened each time",
        [data = task.data, from = task.from, to = task.to](auto& room) {
          return convertByIconv(to, from.c_str(), data, room);
        },
        task.own);
  }
  for (const tarvo::benchmarks::strict::Case& task : tarvo::benchmarks::strict::cases()) {
    compete(
        task.task, "iconv opened each time",
        [&task](auto& room) { return convertByIconv(task.to, task.from.c_str(), task.data, room); },
        task.own);
  }
  return true;
}();

}  // namespace
