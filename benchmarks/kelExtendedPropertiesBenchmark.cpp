#include "infra/oss/kelOutputStream.hpp"
#include "infra/util/kelExtendedProperties.hpp"

#include "kelExtendedPropertiesTasks.hpp"

#include <benchmark/benchmark.h>
#include <unicode/unistr.h>

#include <charconv>
#include <cstdint>
#include <map>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

/// ExtendedProperties compared with maps of the standard library and hand-written code that reads and writes
/// "key=value" lines and comments but neither continuations nor escapes. Each case first checks that the
/// candidate has the same properties.
namespace {

using namespace tarvo::benchmarks::properties;
using tarvo::benchmarks::refuse;
using tarvo::benchmarks::timed;

struct Hash {
  std::size_t operator()(const icu::UnicodeString& text) const {
    return static_cast<std::size_t>(text.hashCode());
  }
};
using HashMap = std::unordered_map<icu::UnicodeString, icu::UnicodeString, Hash>;

struct ByteMap : std::unordered_map<std::string, std::string> {};

void loadInto(ByteMap& map, const std::string& file) {
  eachProperty(file, [&](std::string_view key, std::string_view value) {
    map.insert_or_assign(std::string(key), std::string(value));
  });
}

// --- resolving: ten values that contain references, set again before each run

constexpr std::u16string_view reference = u"%component1.setting1%/data";

template <class Set>
void referTenTimes(Set set) {
  for (int i = 0; i < 10; ++i) {
    set(widened("component" + std::to_string(2 + 2 * i) + ".setting" + std::to_string(2 + 2 * i)),
        icu::UnicodeString(reference.data(), static_cast<std::int32_t>(reference.size())));
  }
}

void resolveFew(benchmark::State& state) {
  ExtendedProperties properties;
  if (!loaded(state, properties)) return;
  timed(state, [&] {
    referTenTimes([&](const auto& key, const auto& value) { properties.putProperty(key, value); });
    properties.resolveReferences();
  });
  if (properties.requireProperty(u"component2.setting2") != u"/var/lib/index/part1/data") {
    refuse(state, "nothing was resolved");
  }
}

/// This candidate does only the work that every implementation of resolving must do.
void searchEveryValue(benchmark::State& state) {
  Map map;
  if (!loaded(state, map)) return;
  timed(state, [&] {
    referTenTimes([&](const auto& key, const auto& value) { map[key] = value; });
    int found = 0;
    for (const auto& [key, value] : map) found += value.indexOf(u'%') >= 0 ? 1 : 0;
    if (found != 10) refuse(state, "references were missed");
  });
}

// --- ways to save

void save(benchmark::State& state) {
  saves(state, [&own = ownOf(state)] {
    StringStream out;
    own.save(out);
    return std::move(out.bytes);
  });
}

/// Escapes like `save`, byte by byte into a standard stream.
void put(std::ostream& out, const icu::UnicodeString& text) {
  for (std::int32_t i = 0; i < text.length(); ++i) {
    const char16_t unit = text.charAt(i);
    if (unit == u'\\' || unit == u'=' || unit == u':' || unit == u'#' || unit == u'!') out.put('\\');
    out.put(static_cast<char>(unit));
  }
}

std::string savedByHand(const Map& map) {
  std::ostringstream out;
  out << "#saved by ExtendedProperties on \r\n";
  for (const auto& [key, value] : map) {
    put(out, key);
    out.put('=');
    put(out, value);
    out << "\r\n";
  }
  return std::move(out).str();
}

void saveStream(benchmark::State& state) {
  Map map;
  if (loaded(state, map)) saves(state, [&] { return savedByHand(map); });
}

BENCHMARK(load<ExtendedProperties>)->Name("ExtendedProperties/load/KELINFRA")->Apply(sizes);
BENCHMARK(load<Map>)->Name("ExtendedProperties/load/std::map")->Apply(sizes);
BENCHMARK(load<HashMap>)->Name("ExtendedProperties/load/std::unordered_map")->Apply(sizes);
BENCHMARK(load<ByteMap>)->Name("ExtendedProperties/load/std::unordered_map of bytes")->Apply(sizes);
BENCHMARK(lookUp<ExtendedProperties>)->Name("ExtendedProperties/look-up/KELINFRA")->Apply(sizes);
BENCHMARK(lookUp<Map>)->Name("ExtendedProperties/look-up/std::map")->Apply(sizes);
BENCHMARK(lookUp<HashMap>)->Name("ExtendedProperties/look-up/std::unordered_map")->Apply(sizes);
BENCHMARK(getInt32<ExtendedProperties>)->Name("ExtendedProperties/getPropertyAsInt32/KELINFRA")->Apply(sizes);
BENCHMARK(getInt32<Map>)->Name("ExtendedProperties/getPropertyAsInt32/std::map, from_chars")->Apply(sizes);
BENCHMARK(getInt32<HashMap>)
    ->Name("ExtendedProperties/getPropertyAsInt32/std::unordered_map, from_chars")
    ->Apply(sizes);
BENCHMARK(resolveFew)->Name("ExtendedProperties/resolve ten references/KELINFRA")->Apply(sizes);
BENCHMARK(searchEveryValue)
    ->Name("ExtendedProperties/resolve ten references/a search of every value")
    ->Apply(sizes);
BENCHMARK(save)->Name("ExtendedProperties/save/KELINFRA")->Apply(sizes);
BENCHMARK(saveStream)->Name("ExtendedProperties/save/std::ostream")->Apply(sizes);

}  // namespace
