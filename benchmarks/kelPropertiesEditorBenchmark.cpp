// PropertiesEditor and PropertiesReport compared with loading and saving all properties, and with a loop over
// the lines.
// Names are "class/task/candidate"; the candidate KELINFRA is compared with the others of its task.
#include "infra/util/kelPropertiesEditor.hpp"
#include "infra/util/kelPropertiesReport.hpp"

#include "kelExtendedPropertiesTasks.hpp"

#include <benchmark/benchmark.h>
#include <unicode/unistr.h>

#include <cstddef>
#include <string>
#include <vector>

namespace tarvo::benchmarks::properties {
namespace {

using util::PropertiesEditor;
using util::PropertiesReport;

using Keys = std::vector<std::string>;

/// Keys from all parts of the file; a single key is in the middle.
Keys changedKeys(const std::string& file, std::size_t count) {
  Keys keys;
  for (std::size_t i = 1; i <= count; ++i) {
    const std::size_t key = file.find("\ncomponent", file.size() / (count + 1) * i) + 1;
    keys.push_back(file.substr(key, file.find('=', key) - key));
  }
  return keys;
}

constexpr const char* newValue = "/var/lib/index/another";

/// The lines of the changed properties.
std::string changedLines(const Keys& keys) {
  std::string lines;
  for (const std::string& key : keys) lines += key + "=" + newValue + "\n";
  return lines;
}

/// Returns the text with new values, as each candidate makes it.
std::string editByEditor(const std::string& file, const Keys& keys) {
  PropertiesEditor editor(file.data(), file.size());
  for (const std::string& key : keys) editor.set(widened(key), newValue);
  return editor.bytes();
}

std::string editByLoading(const std::string& file, const Keys& keys) {
  ExtendedProperties properties;
  loadInto(properties, file);
  loadInto(properties, changedLines(keys));
  StringStream stream;
  properties.save(stream);
  return stream.bytes;
}

/// Finds the last line with each key. This loop knows neither escapes nor continued lines.
std::string editByLoop(const std::string& file, const Keys& keys) {
  std::string edited = file;
  for (const std::string& key : keys) {
    std::size_t found = 0;
    for (std::size_t line = 0; line < edited.size(); line = edited.find('\n', line) + 1) {
      if (edited.compare(line, key.size(), key) == 0 && edited[line + key.size()] == '=') found = line;
    }
    const std::size_t value = found + key.size() + 1;
    edited.replace(value, edited.find('\n', value) - value, newValue);
  }
  return edited;
}

template <std::string (*edit)(const std::string&, const Keys&), std::size_t count>
void edits(benchmark::State& state) {
  const std::string& file = fileOf(state);
  const Keys keys = changedKeys(file, count);
  ExtendedProperties expected(ownOf(state));
  loadInto(expected, changedLines(keys));
  ExtendedProperties edited;
  loadInto(edited, edit(file, keys));
  if (asMap(edited, {}) != asMap(expected, {})) return refuse(state, "the properties differ");
  timed(state, [&] { benchmark::DoNotOptimize(edit(file, keys).data()); });
}

void report(benchmark::State& state) {
  const std::string& file = fileOf(state);
  const PropertiesReport checked(file.data(), file.size());
  if (checked.properties().size() != static_cast<std::size_t>(state.range(0)) || !checked.findings().empty())
    return refuse(state, "the report differs");
  timed(state, [&] {
    const PropertiesReport read(file.data(), file.size());
    benchmark::DoNotOptimize(read.findings().data());
  });
}

void loadAndResolve(benchmark::State& state) {
  const std::string& file = fileOf(state);
  timed(state, [&] {
    ExtendedProperties properties;
    properties.load(file.data(), file.size(), true);
    benchmark::DoNotOptimize(properties);
  });
}

BENCHMARK(edits<&editByEditor, 1>)->Name("PropertiesEditor/set one value/KELINFRA")->Apply(sizes);
BENCHMARK(edits<&editByLoading, 1>)->Name("PropertiesEditor/set one value/load, set and save")->Apply(sizes);
BENCHMARK(edits<&editByLoop, 1>)->Name("PropertiesEditor/set one value/a loop over the lines")->Apply(sizes);
BENCHMARK(edits<&editByEditor, 100>)->Name("PropertiesEditor/set 100 values/KELINFRA")->Apply(sizes);
BENCHMARK(edits<&editByLoading, 100>)
    ->Name("PropertiesEditor/set 100 values/load, set and save")
    ->Apply(sizes);
BENCHMARK(edits<&editByLoop, 100>)
    ->Name("PropertiesEditor/set 100 values/a loop over the lines")
    ->Apply(sizes);
BENCHMARK(report)->Name("PropertiesReport/read/KELINFRA")->Apply(sizes);
BENCHMARK(loadAndResolve)->Name("PropertiesReport/read/load without findings")->Apply(sizes);

}  // namespace
}  // namespace tarvo::benchmarks::properties
