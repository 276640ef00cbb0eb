// The cost of a recorded event, and of a traced call with two events beside the same call without hooks.
// Names are "class/task/candidate"; the candidate KELINFRA is compared with the others of its task.
#include "infra/oss/kelMessageList.hpp"
#include "infra/trace/kelTraceFacility.hpp"
#include "infra/trace/kelTraceRecorder.hpp"

#include "kelTimed.hpp"

#include <benchmark/benchmark.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace tarvo::benchmarks {
namespace {

using trace::TraceRecorder;
using Clock = TraceRecorder::Clock;

std::array<std::uint32_t, trace::componentIndex + 1> flags = {};

/// Records the calls of this program while the object lives.
class Recording {
 public:
  explicit Recording(Clock clock) {
    TraceRecorder::Settings settings;
    settings.clock = clock;
    TraceRecorder::start(settings);
    trace::install(TraceRecorder::facility(flags.data()));
    flags[trace::componentIndex] = 0x20000;
  }
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;
  ~Recording() {
    flags[trace::componentIndex] = 0;
    trace::uninstall();
    TraceRecorder::stop();
  }
};

/// Refuses the candidate if the recording contains no events.
void checkRecording(benchmark::State& state) {
  constexpr std::size_t withoutEvents = 72 + 32;
  if (TraceRecorder::snapshot().size() <= withoutEvents) refuse(state, "nothing was recorded");
}

/// A call that reports its entry and its exit and does little else.
void clearEmptyList(benchmark::State& state) {
  oss::MessageList list;
  timed(state, [&] {
    list.clear();
    benchmark::ClobberMemory();
  });
}

template <Clock clock>
void recordedCall(benchmark::State& state) {
  const Recording recording(clock);
  clearEmptyList(state);
  checkRecording(state);
}

template <Clock clock>
void event(benchmark::State& state) {
  const Recording recording(clock);
  timed(state, [] { TraceRecorder::entered(1); });
  checkRecording(state);
}

BENCHMARK(event<Clock::PROCESSOR>)->Name("TraceRecorder/an event/KELINFRA");
BENCHMARK(event<Clock::SYSTEM>)->Name("TraceRecorder/an event/with the system's clock");
BENCHMARK(recordedCall<Clock::PROCESSOR>)->Name("TraceRecorder/a call of two events/KELINFRA");
BENCHMARK(recordedCall<Clock::SYSTEM>)->Name("TraceRecorder/a call of two events/with the system's clock");
BENCHMARK(clearEmptyList)->Name("TraceRecorder/a call of two events/without hooks");

}  // namespace
}  // namespace tarvo::benchmarks
