#include "commands.hpp"
#include "files.hpp"
#include "traceCalls.hpp"
#include "traceDrawings.hpp"
#include "traceFile.hpp"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace kelinfra {

namespace {

struct TraceOptions {
  std::string file;
  bool chrome = false;
  bool flame = false;
};

TraceFile readTraceFile(const std::string& name) {
  const std::string bytes = readFile(name);
  TraceFile file;
  const TraceReading reading = readTrace(bytes, file);
  const std::string shown = shownName(name);
  switch (reading.fault) {
    case TraceFault::noTrace:
      fail("KELINFRA_TRACE_OTHER_FILE", shown);
    case TraceFault::otherVersion:
      fail("KELINFRA_TRACE_VERSION", shown, reading.version);
    case TraceFault::malformed:
      fail("KELINFRA_TRACE_MALFORMED", shown, reading.offset);
    case TraceFault::truncated:
      fail("KELINFRA_TRACE_TRUNCATED", shown, reading.offset);
    case TraceFault::none:
      break;
  }
  return file;
}

TraceTree treeOf(const std::vector<TraceThread>& threads) {
  TraceTree tree;
  for (const TraceThread& thread : threads) tree.add(callsOf(thread.events));
  return tree;
}

// --- text

constexpr std::size_t deepestIndent = 40;

void appendLine(std::string& out, const TraceSum& sum, std::size_t depth, const std::string& name) {
  char numbers[120];
  std::snprintf(numbers, sizeof numbers, "%10llu %8llu %14s %14s  ",
                static_cast<unsigned long long>(sum.calls), static_cast<unsigned long long>(sum.noExit),
                microseconds(sum.whole).c_str(), microseconds(sum.own).c_str());
  out += numbers + std::string(2 * std::min(depth, deepestIndent), ' ') + name + "\n";
}

void appendText(std::string& out, const char* id, const std::string& first, const std::string& second,
                const std::string& third) {
  out += rendered(message(id, first, second, third)) + "\n";
}

std::string textOf(const TraceFile& file) {
  std::string out;
  appendText(out, "KELINFRA_TRACE_SUMMARY", std::to_string(file.process), microseconds(file.nanoseconds),
             std::to_string(file.lost));
  for (const TraceThread& thread : file.threads) {
    out += "\n";
    appendText(out, "KELINFRA_TRACE_THREAD", std::to_string(thread.number),
               std::to_string(thread.events.size()), std::to_string(thread.lost));
    out += "     calls  no exit     whole (us)       own (us)\n";
    TraceTree tree;
    tree.add(callsOf(thread.events));
    for (const TraceNode* node : tree.inOrder())
      appendLine(out, node->sum, node->depth - 1, nameOfProbe(node->probe));
  }
  out += "\n" + rendered(message("KELINFRA_TRACE_TOTALS")) + "\n";
  out += "     calls  no exit     whole (us)       own (us)\n";
  for (const TraceFunction& function : functionsOf(treeOf(file.threads)))
    appendLine(out, function.sum, 0, nameOfProbe(function.probe));
  return out;
}

// --- JSON

using Json = nlohmann::ordered_json;

Json jsonOf(std::uint32_t probe, const TraceSum& sum) {
  return {{"probe", probe},     {"function", nameOfProbe(probe)},
          {"calls", sum.calls}, {"noExit", sum.noExit},
          {"whole", sum.whole}, {"own", sum.own}};
}

std::string jsonText(const TraceFile& file) {
  Json threads = Json::array();
  for (const TraceThread& thread : file.threads) {
    TraceTree tree;
    tree.add(callsOf(thread.events));
    Json nodes = Json::array();
    for (const TraceNode* node : tree.inOrder()) {
      Json line = {{"depth", node->depth - 1}};
      line.update(jsonOf(node->probe, node->sum));
      nodes.push_back(line);
    }
    threads.push_back({{"number", thread.number},
                       {"ended", thread.ended},
                       {"events", thread.events.size()},
                       {"lost", thread.lost},
                       {"tree", nodes}});
  }
  Json functions = Json::array();
  for (const TraceFunction& function : functionsOf(treeOf(file.threads)))
    functions.push_back(jsonOf(function.probe, function.sum));
  const Json all = {{"process", file.process},
                    {"nanoseconds", file.nanoseconds},
                    {"lost", file.lost},
                    {"threads", threads},
                    {"functions", functions}};
  return all.dump(2) + "\n";
}

Status showTrace(const TraceOptions& options, bool json) {
  requireOperand("FILE", options.file);
  const TraceFile file = readTraceFile(options.file);
  const std::string shown = options.chrome  ? chromeTrace(file)
                            : options.flame ? flameGraph(treeOf(file.threads))
                            : json          ? jsonText(file)
                                            : textOf(file);
  std::fwrite(shown.data(), 1, shown.size(), stdout);
  return clean;
}

}  // namespace

void addTrace(CLI::App& app, CommandLine& line) {
  const auto options = std::make_shared<TraceOptions>();
  CLI::App& trace = addCommand(app, line, "trace", "Show the calls that a program recorded",
                               [&line, options] { return showTrace(*options, line.json); });
  addOperand(trace, "FILE", options->file, "A file of TraceRecorder; - is standard input");
  CLI::Option* const chrome =
      trace.add_flag("--chrome", options->chrome, "Print the calls for the trace viewer of Chrome");
  CLI::Option* const flame = trace.add_flag("--flame", options->flame, "Print a flame graph, an SVG");
  addJson(trace, line);
  chrome->excludes(flame)->excludes("--json");
  flame->excludes("--json");
  trace.footer("Example: kelinfra trace --flame calls.keltrace >calls.svg");
}

}  // namespace kelinfra
