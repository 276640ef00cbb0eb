#include "kelFuzz.hpp"
#include "traceCalls.hpp"
#include "traceDrawings.hpp"
#include "traceFile.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// The reader of trace files, and the calls that it finds in any sequence of events: every event belongs to a
/// call, and the calls are nested.
namespace {

using kelinfra::TraceCall;
using kelinfra::TraceEnd;
using kelinfra::TraceEvent;
using kelinfra::TraceFault;
using kelinfra::TraceFile;
using kelinfra::TraceSum;
using kelinfra::TraceTree;
using tarvo::fuzz::expect;

void checkNesting(const std::vector<TraceCall>& calls) {
  std::vector<const TraceCall*> open;
  std::uint64_t free = 0;  // where the next call may begin
  for (const TraceCall& call : calls) {
    expect(call.depth <= open.size(), "whether a call lies in the call before it");
    for (; open.size() > call.depth; open.pop_back()) free = std::max(free, open.back()->to);
    expect(call.from >= free && call.from <= call.to, "whether calls side by side overlap");
    expect(open.empty() || call.to <= open.back()->to, "whether a call ends within the call around it");
    expect(open.empty() || open.back()->end != TraceEnd::point, "whether a point contains no call");
    free = call.from;
    open.push_back(&call);
  }
}

void checkEvents(const std::vector<TraceEvent>& events, const std::vector<TraceCall>& calls) {
  std::size_t count = 0;
  for (const TraceCall& call : calls) count += call.end == TraceEnd::exit ? 2 : 1;
  expect(count == events.size(), "whether each event belongs to one call");
  const auto entries = std::count_if(events.begin(), events.end(), [](const auto& e) { return !e.isExit; });
  const auto open =
      std::count_if(calls.begin(), calls.end(), [](const auto& c) { return c.end != TraceEnd::point; });
  expect(open <= entries, "whether each call with a duration has an entry");
}

using Moment = std::pair<std::uint32_t, std::uint64_t>;  // a probe and a time

bool contains(std::vector<Moment> all, std::vector<Moment> some) {
  std::sort(all.begin(), all.end());
  std::sort(some.begin(), some.end());
  return std::includes(all.begin(), all.end(), some.begin(), some.end());
}

/// Calls begin with an entry of their function, and end with an exit of it if they have one.
void checkMoments(const std::vector<TraceEvent>& events, const std::vector<TraceCall>& calls) {
  std::vector<Moment> entries, exits, begins, ends;
  for (const TraceEvent& event : events)
    (event.isExit ? exits : entries).emplace_back(event.probe, event.nanoseconds);
  for (const TraceCall& call : calls) {
    if (call.end != TraceEnd::point) begins.emplace_back(call.probe, call.from);
    if (call.end == TraceEnd::exit) ends.emplace_back(call.probe, call.to);
  }
  expect(contains(entries, begins), "whether each call begins with its entry");
  expect(contains(exits, ends), "whether each call ends with its exit");
}

/// The own times of all places in the tree add up to the times of the outermost calls.
void checkSums(const TraceTree& tree, std::uint64_t outermost) {
  TraceSum all;
  for (const kelinfra::TraceNode* node : tree.inOrder()) {
    all.own += node->sum.own;
    all.calls += node->sum.calls;
  }
  expect(all.own == outermost, "the sum of the own times");
  TraceSum functions;
  for (const kelinfra::TraceFunction& function : kelinfra::functionsOf(tree)) {
    functions.own += function.sum.own;
    functions.calls += function.sum.calls;
    expect(function.sum.whole <= outermost, "the whole time of a function");
  }
  expect(functions.own == all.own && functions.calls == all.calls, "the sums by function");
}

void check(const TraceFile& file) {
  TraceTree tree;
  std::uint64_t outermost = 0;
  for (const kelinfra::TraceThread& thread : file.threads) {
    const std::vector<TraceCall> calls = kelinfra::callsOf(thread.events);
    checkNesting(calls);
    checkEvents(thread.events, calls);
    checkMoments(thread.events, calls);
    tree.add(calls);
    for (const TraceCall& call : calls) {
      if (call.depth == 0) outermost += call.to - call.from;
    }
  }
  checkSums(tree, outermost);
  expect(!kelinfra::chromeTrace(file).empty() && !kelinfra::flameGraph(tree).empty(), "the drawings");
}

/// Events of few functions, so that they often match.
TraceFile eventsFrom(std::string_view bytes) {
  constexpr std::uint32_t probes[] = {0x1CD8063A, 0x1CD80638, 0x1CD80636, 0x1CD8063E,
                                      0x1CD8063D, 0x1CD805EB, 0x1CD80640, 0xABCDEF};
  TraceFile file;
  file.threads.push_back({});
  std::uint64_t now = 0;
  for (const char byte : bytes) {
    const auto bits = static_cast<unsigned char>(byte);
    now += bits >> 4U;
    file.threads[0].events.push_back({now, probes[bits & 7U], (bits & 8U) != 0});
  }
  return file;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  TraceFile file;
  const kelinfra::TraceReading reading = kelinfra::readTrace(bytes, file);
  expect(reading.offset <= size, "the offset of a fault");
  check(file);
  if (reading.fault == TraceFault::noTrace) check(eventsFrom(bytes));
  return 0;
}
