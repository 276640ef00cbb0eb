#include "infra/oss/kelOutputStream.hpp"
#include "infra/util/kelExtendedProperties.hpp"

#include <benchmark/benchmark.h>
#include <unicode/unistr.h>
// Rivals that are installed.
#ifdef KELINFRA_BENCHMARK_POCO
#include <Poco/AutoPtr.h>
#include <Poco/MemoryStream.h>
#include <Poco/Util/PropertyFileConfiguration.h>
#endif
#ifdef KELINFRA_BENCHMARK_LOG4CPLUS
#include <log4cplus/helpers/property.h>
#endif
#ifdef KELINFRA_BENCHMARK_GLIB
#include <glib.h>
#endif

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <map>
#include <numeric>
#include <ostream>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

/// ExtendedProperties beside the standard library's maps used by hand, which read and write plain "key=value"
/// lines and comments but neither continuations nor escapes, and beside other libraries' readers, which keep
/// bytes. Every case first checks that its rival has the same properties.
namespace {

using tarvo::oss::OutputStream;
using tarvo::util::ExtendedProperties;

using Map = std::map<icu::UnicodeString, icu::UnicodeString>;

struct Hash {
  std::size_t operator()(const icu::UnicodeString& text) const {
    return static_cast<std::size_t>(text.hashCode());
  }
};
using HashMap = std::unordered_map<icu::UnicodeString, icu::UnicodeString, Hash>;

/// Keys and values as settings have them, in an order that is not the map's, a comment before every tenth.
std::string makeFile(std::size_t entries) {
  std::vector<std::size_t> numbers(entries);
  std::iota(numbers.begin(), numbers.end(), 0);
  std::shuffle(numbers.begin(), numbers.end(), std::mt19937(4711));
  std::string file;
  for (const std::size_t number : numbers) {
    if (number % 10 == 0) file += "# what the next settings are for, in some words\n";
    file += "component" + std::to_string(number % 97) + ".setting" + std::to_string(number);
    file += number % 2 == 0 ? "=" + std::to_string(number * 7 % 65'536)
                            : "=/var/lib/index/part" + std::to_string(number);
    file += '\n';
  }
  return file;
}

const std::string& fileOf(const benchmark::State& state) {
  static std::map<std::int64_t, std::string> files;
  std::string& file = files[state.range(0)];
  if (file.empty()) file = makeFile(static_cast<std::size_t>(state.range(0)));
  return file;
}

icu::UnicodeString widened(std::string_view bytes) {
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

void loadInto(ExtendedProperties& properties, const std::string& file) {
  properties.load(file.data(), file.size(), false);
}

template <class AnyMap>
void loadInto(AnyMap& map, const std::string& file) {
  eachProperty(file, [&](std::string_view key, std::string_view value) {
    map.insert_or_assign(widened(key), widened(value));
  });
}

using ByteMap = std::unordered_map<std::string, std::string>;

void loadInto(ByteMap& map, const std::string& file) {
  eachProperty(file, [&](std::string_view key, std::string_view value) {
    map.insert_or_assign(std::string(key), std::string(value));
  });
}

icu::UnicodeString unicode(const icu::UnicodeString& text) {
  return text;
}
icu::UnicodeString unicode(const std::string& bytes) {
  return widened(bytes);
}

template <class Properties>
Map asMap(const Properties& properties, const std::string& /*file*/) {
  Map map;
  for (const auto& [key, value] : properties) map.emplace(unicode(key), unicode(value));
  return map;
}

// --- other libraries

#ifdef KELINFRA_BENCHMARK_POCO
struct PocoProperties {
  Poco::AutoPtr<Poco::Util::PropertyFileConfiguration> all = new Poco::Util::PropertyFileConfiguration;
};

void loadInto(PocoProperties& properties, const std::string& file) {
  Poco::MemoryInputStream stream(file.data(), static_cast<std::streamsize>(file.size()));
  properties.all->load(stream);
}

std::string valueOf(const PocoProperties& properties, const std::string& key) {
  return properties.all->getRawString(key);
}

std::int32_t int32Of(const PocoProperties& properties, const std::string& key) {
  return properties.all->getInt(key, -1);
}

/// It lists keys by their parts; each is asked for instead, and their number compared where it is known.
Map asMap(const PocoProperties& properties, const std::string& file) {
  Map map;
  eachProperty(file, [&](std::string_view key, std::string_view) {
    map.emplace(widened(key), widened(valueOf(properties, std::string(key))));
  });
  return map;
}
#endif

#ifdef KELINFRA_BENCHMARK_LOG4CPLUS
struct Log4cplusProperties {
  log4cplus::helpers::Properties all;
};

/// Reads from a stream that has a copy of the text: the way there is.
void loadInto(Log4cplusProperties& properties, const std::string& file) {
  std::istringstream stream(file);
  properties.all = log4cplus::helpers::Properties(stream);
}

const std::string& valueOf(const Log4cplusProperties& properties, const std::string& key) {
  return properties.all.getProperty(key);
}

std::int32_t int32Of(const Log4cplusProperties& properties, const std::string& key) {
  int value = -1;
  properties.all.getInt(value, key);
  return value;
}

Map asMap(const Log4cplusProperties& properties, const std::string& /*file*/) {
  Map map;
  for (const std::string& key : properties.all.propertyNames()) {
    map.emplace(widened(key), widened(properties.all.getProperty(key)));
  }
  return map;
}
#endif

#ifdef KELINFRA_BENCHMARK_GLIB
struct KeyFile {
  KeyFile() = default;
  KeyFile(const KeyFile&) = delete;
  KeyFile& operator=(const KeyFile&) = delete;
  ~KeyFile() { g_key_file_free(all); }

  GKeyFile* all = g_key_file_new();
};

/// Its properties belong to groups.
void loadInto(KeyFile& properties, const std::string& file) {
  static std::map<const std::string*, std::string> grouped;
  std::string& text = grouped[&file];
  if (text.empty()) text = "[all]\n" + file;
  g_key_file_load_from_data(properties.all, text.data(), text.size(), G_KEY_FILE_NONE, nullptr);
}

Map asMap(const KeyFile& properties, const std::string& /*file*/) {
  Map map;
  gchar** const keys = g_key_file_get_keys(properties.all, "all", nullptr, nullptr);
  for (gchar** key = keys; key != nullptr && *key != nullptr; ++key) {
    gchar* const value = g_key_file_get_value(properties.all, "all", *key, nullptr);
    map.emplace(widened(*key), widened(value));
    g_free(value);
  }
  g_strfreev(keys);
  return map;
}
#endif

/// The properties of the state's file, if they are those that the library reads.
template <class Properties>
bool loaded(benchmark::State& state, Properties& properties) {
  loadInto(properties, fileOf(state));
  ExtendedProperties ours;
  loadInto(ours, fileOf(state));
  const Map expected = asMap(ours, fileOf(state));
  if (expected.size() == static_cast<std::size_t>(state.range(0)) &&
      asMap(properties, fileOf(state)) == expected)
    return true;
  state.SkipWithError("the properties differ");
  return false;
}

template <class Properties>
void load(benchmark::State& state) {
  Properties checked;
  if (!loaded(state, checked)) return;
  for (auto _ : state) {
    Properties properties;
    loadInto(properties, fileOf(state));
    benchmark::DoNotOptimize(properties);
  }
}

// --- ways to look up

const icu::UnicodeString& valueOf(const ExtendedProperties& properties, const icu::UnicodeString& key) {
  return properties.requireProperty(key);
}
template <class AnyMap>
const icu::UnicodeString& valueOf(const AnyMap& map, const icu::UnicodeString& key) {
  return map.find(key)->second;
}

template <class Properties>
constexpr bool takesUnicode = true;
#ifdef KELINFRA_BENCHMARK_POCO
template <>
constexpr bool takesUnicode<PocoProperties> = false;
#endif
#ifdef KELINFRA_BENCHMARK_LOG4CPLUS
template <>
constexpr bool takesUnicode<Log4cplusProperties> = false;
#endif

/// Every key as the candidate takes it, in an order of its own; of numbers alone, if asked for.
template <class Properties>
auto shuffledKeys(const benchmark::State& state, bool numbersAlone = false) {
  std::vector<std::conditional_t<takesUnicode<Properties>, icu::UnicodeString, std::string>> keys;
  eachProperty(fileOf(state), [&](std::string_view key, std::string_view value) {
    if (numbersAlone && value.front() == '/') return;
    if constexpr (takesUnicode<Properties>) {
      keys.push_back(widened(key));
    } else {
      keys.emplace_back(key);
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
  for (auto _ : state) {
    benchmark::DoNotOptimize(valueOf(properties, keys[i]).length());
    i = i + 1 == keys.size() ? 0 : i + 1;
  }
}

std::int32_t int32Of(const ExtendedProperties& properties, const icu::UnicodeString& key) {
  return properties.getPropertyAsInt32(key, -1);
}
/// The digits as bytes, and the standard library's parser.
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
  ExtendedProperties ours;
  loadInto(ours, fileOf(state));
  const auto keys = shuffledKeys<Properties>(state, true);
  for (const auto& key : keys) {
    if (int32Of(properties, key) != int32Of(ours, unicode(key))) state.SkipWithError("the numbers differ");
  }
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(int32Of(properties, keys[i]));
    i = i + 1 == keys.size() ? 0 : i + 1;
  }
}

// --- resolving: ten values that refer to others, set anew each time

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
  for (auto _ : state) {
    referTenTimes([&](const auto& key, const auto& value) { properties.putProperty(key, value); });
    properties.resolveReferences();
  }
  if (properties.requireProperty(u"component2.setting2") != u"/var/lib/index/part1/data") {
    state.SkipWithError("nothing was resolved");
  }
}

/// Only what resolving cannot do without.
void searchEveryValue(benchmark::State& state) {
  Map map;
  if (!loaded(state, map)) return;
  for (auto _ : state) {
    referTenTimes([&](const auto& key, const auto& value) { map[key] = value; });
    int found = 0;
    for (const auto& [key, value] : map) found += value.indexOf(u'%') >= 0 ? 1 : 0;
    if (found != 10) state.SkipWithError("references were missed");
  }
}

// --- ways to save

class StringStream : public OutputStream {
 public:
  using OutputStream::write;
  void write(char c) override { bytes += c; }

  std::string bytes;
};

void save(benchmark::State& state) {
  ExtendedProperties properties;
  if (!loaded(state, properties)) return;
  for (auto _ : state) {
    StringStream out;
    properties.save(out);
    benchmark::DoNotOptimize(out.bytes.data());
  }
}

/// Escaping as `save` does, byte by byte into a standard stream.
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
  if (!loaded(state, map)) return;
  ExtendedProperties properties;
  loadInto(properties, fileOf(state));
  StringStream ours;
  properties.save(ours);
  if (savedByHand(map) != ours.bytes) state.SkipWithError("the texts differ");
  for (auto _ : state) benchmark::DoNotOptimize(savedByHand(map).data());
}

#ifdef KELINFRA_BENCHMARK_POCO
/// The text is another one, so it is read again to see that it says the same.
void savePoco(benchmark::State& state) {
  PocoProperties properties;
  if (!loaded(state, properties)) return;
  const auto saved = [&] {
    std::ostringstream out;
    properties.all->save(out);
    return std::move(out).str();
  };
  ExtendedProperties ours;
  loadInto(ours, fileOf(state));
  ExtendedProperties again;
  loadInto(again, saved());
  if (asMap(again, {}) != asMap(ours, {})) state.SkipWithError("the texts differ");
  for (auto _ : state) benchmark::DoNotOptimize(saved().data());
}
#endif

void sizes(benchmark::internal::Benchmark* task) {
  task->ArgName("entries")->Arg(1'000)->Arg(100'000);
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
#ifdef KELINFRA_BENCHMARK_POCO
BENCHMARK(load<PocoProperties>)->Name("ExtendedProperties/load/Poco")->Apply(sizes);
BENCHMARK(lookUp<PocoProperties>)->Name("ExtendedProperties/look-up/Poco")->Apply(sizes);
BENCHMARK(getInt32<PocoProperties>)->Name("ExtendedProperties/getPropertyAsInt32/Poco")->Apply(sizes);
BENCHMARK(savePoco)->Name("ExtendedProperties/save/Poco")->Apply(sizes);
#endif
#ifdef KELINFRA_BENCHMARK_LOG4CPLUS
BENCHMARK(load<Log4cplusProperties>)->Name("ExtendedProperties/load/log4cplus")->Apply(sizes);
BENCHMARK(lookUp<Log4cplusProperties>)->Name("ExtendedProperties/look-up/log4cplus")->Apply(sizes);
BENCHMARK(getInt32<Log4cplusProperties>)
    ->Name("ExtendedProperties/getPropertyAsInt32/log4cplus")
    ->Apply(sizes);
#endif
#ifdef KELINFRA_BENCHMARK_GLIB
BENCHMARK(load<KeyFile>)->Name("ExtendedProperties/load/GKeyFile")->Apply(sizes);
#endif
BENCHMARK(saveStream)->Name("ExtendedProperties/save/std::ostream")->Apply(sizes);

}  // namespace
