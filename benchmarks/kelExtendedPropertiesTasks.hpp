#pragma once

#include "infra/oss/kelOutputStream.hpp"
#include "infra/util/kelExtendedProperties.hpp"

#include "kelPropertiesFile.hpp"
#include "kelTimed.hpp"

#include <benchmark/benchmark.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

/// The files and tasks that all benchmarks of ExtendedProperties share. A candidate is a type with `loadInto`
/// and `asMap`. For look-ups it also has `valueOf` and `int32Of`.
namespace tarvo::benchmarks::properties {

using oss::OutputStream;
using util::ExtendedProperties;

using Map = std::map<icu::UnicodeString, icu::UnicodeString>;

inline const std::string& fileOf(const benchmark::State& state) {
  static std::map<std::int64_t, std::string> files;
  std::string& file = files[state.range(0)];
  if (file.empty()) file = makeFile(static_cast<std::size_t>(state.range(0)));
  return file;
}

inline icu::UnicodeString widened(std::string_view bytes) {
  icu::UnicodeString text;
  char16_t* const units = text.getBuffer(static_cast<std::int32_t>(bytes.size()));
  for (std::size_t i = 0; i < bytes.size(); ++i) units[i] = static_cast<unsigned char>(bytes[i]);
  text.releaseBuffer(static_cast<std::int32_t>(bytes.size()));
  return text;
}

// --- ways to load

template <class Take>
void eachProperty(std::string_view file, Take take) {
  while (!file.empty()) {
    const std::size_t end = std::min(file.find('\n'), file.size() - 1);
    const std::string_view line = file.substr(0, end);
    file.remove_prefix(end + 1);
    if (line.front() == '#') continue;
    const std::size_t equals = line.find('=');
    take(line.substr(0, equals), line.substr(equals + 1));
  }
}

inline void loadInto(ExtendedProperties& properties, const std::string& file) {
  properties.load(file.data(), file.size(), false);
}

template <class AnyMap>
void loadInto(AnyMap& map, const std::string& file) {
  eachProperty(file, [&](std::string_view key, std::string_view value) {
    map.insert_or_assign(widened(key), widened(value));
  });
}

inline icu::UnicodeString unicode(const icu::UnicodeString& text) {
  return text;
}
inline icu::UnicodeString unicode(const std::string& bytes) {
  return widened(bytes);
}

template <class Properties>
Map asMap(const Properties& properties, const std::string& /*file*/) {
  Map map;
  for (const auto& [key, value] : properties) map.emplace(unicode(key), unicode(value));
  return map;
}

/// The library's properties, read from the state's file.
inline const ExtendedProperties& ownOf(const benchmark::State& state) {
  static std::map<std::int64_t, ExtendedProperties> all;
  ExtendedProperties& own = all[state.range(0)];
  if (own.begin() == own.end()) loadInto(own, fileOf(state));
  return own;
}

/// Loads the state's file. Returns whether the properties are those that the library reads; compares them
/// only once for each size.
template <class Properties>
bool loaded(benchmark::State& state, Properties& properties) {
  static std::set<std::int64_t> known;
  loadInto(properties, fileOf(state));
  if (known.contains(state.range(0))) return true;
  const Map expected = asMap(ownOf(state), fileOf(state));
  if (expected.size() == static_cast<std::size_t>(state.range(0)) &&
      asMap(properties, fileOf(state)) == expected) {
    known.insert(state.range(0));
    return true;
  }
  refuse(state, "the properties differ");
  return false;
}

template <class Properties>
void load(benchmark::State& state) {
  Properties checked;
  if (!loaded(state, checked)) return;
  timed(state, [&] {
    Properties properties;
    loadInto(properties, fileOf(state));
    benchmark::DoNotOptimize(properties);
  });
}

// --- ways to look up

inline const icu::UnicodeString& valueOf(const ExtendedProperties& properties,
                                         const icu::UnicodeString& key) {
  return properties.requireProperty(key);
}
template <class AnyMap>
const icu::UnicodeString& valueOf(const AnyMap& map, const icu::UnicodeString& key) {
  return map.at(key);
}

/// A candidate whose keys are bytes has a type of this name.
template <class Properties>
concept OfBytes = requires {
  typename Properties::OfBytes;
};

/// Returns all keys in the candidate's type, or only the keys of numbers. Their order is the same in each
/// run.
template <class Properties>
auto shuffledKeys(const benchmark::State& state, bool numbersAlone = false) {
  std::vector<std::conditional_t<OfBytes<Properties>, std::string, icu::UnicodeString>> keys;
  eachProperty(fileOf(state), [&](std::string_view key, std::string_view value) {
    if (numbersAlone && value.front() == '/') return;
    if constexpr (OfBytes<Properties>) {
      keys.emplace_back(key);
    } else {
      keys.push_back(widened(key));
    }
  });
  std::shuffle(keys.begin(), keys.end(), std::mt19937(815));
  return keys;
}

template <class Properties>
void lookUp(benchmark::State& state) {
  Properties properties;
  if (!loaded(state, properties)) return;
  const auto keys = shuffledKeys<Properties>(state);
  std::size_t i = 0;
  timed(state, [&] {
    benchmark::DoNotOptimize(valueOf(properties, keys[i]).length());
    i = i + 1 == keys.size() ? 0 : i + 1;
  });
}

inline std::int32_t int32Of(const ExtendedProperties& properties, const icu::UnicodeString& key) {
  return properties.getPropertyAsInt32(key, -1);
}
/// Extracts the digits as bytes and parses them with the standard library.
template <class AnyMap>
std::int32_t int32Of(const AnyMap& map, const icu::UnicodeString& key) {
  const auto found = map.find(key);
  if (found == map.end()) return -1;
  char digits[16];
  const std::int32_t length = found->second.extract(0, found->second.length(), digits, 16, US_INV);
  std::int32_t value = 0;
  std::from_chars(digits, digits + length, value);
  return value;
}

template <class Properties>
void getInt32(benchmark::State& state) {
  Properties properties;
  if (!loaded(state, properties)) return;
  const ExtendedProperties& ours = ownOf(state);
  const auto keys = shuffledKeys<Properties>(state, true);
  for (const auto& key : keys) {
    if (int32Of(properties, key) != int32Of(ours, unicode(key))) return refuse(state, "the numbers differ");
  }
  std::size_t i = 0;
  timed(state, [&] {
    benchmark::DoNotOptimize(int32Of(properties, keys[i]));
    i = i + 1 == keys.size() ? 0 : i + 1;
  });
}

// --- ways to save

class StringStream : public OutputStream {
 public:
  using OutputStream::write;
  void write(char c) override { bytes += c; }

  std::string bytes;
};

/// `saved()` returns a text. If the text is read again, the properties must equal those of the library.
template <class Saved>
void saves(benchmark::State& state, Saved saved) {
  ExtendedProperties again;
  loadInto(again, saved());
  if (asMap(again, {}) != asMap(ownOf(state), {})) return refuse(state, "the texts differ");
  timed(state, [&] { benchmark::DoNotOptimize(saved().data()); });
}

inline void sizes(benchmark::internal::Benchmark* task) {
  task->ArgName("entries")->Arg(1'000)->Arg(100'000);
}

}  // namespace tarvo::benchmarks::properties
