#include "infra/oss/kelMessageList.hpp"
#include "infra/trace/kelTraceRecorder.hpp"

#include "support/kelRows.hpp"
#include "support/kelTraceFile.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace tarvo::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using trace::TraceRecorder;
using Clock = TraceRecorder::Clock;

static_assert(!std::is_default_constructible_v<TraceRecorder>);

constexpr std::uint32_t addMessage = 0x1CD80638;
constexpr std::uint32_t listConstructor = 0x1CD80636;
constexpr std::uint32_t listClear = 0x1CD8063E;

/// Ends the recording of a test.
struct Recording {
  explicit Recording(const TraceRecorder::Settings& settings) { TraceRecorder::start(settings); }
  Recording() : Recording(TraceRecorder::Settings()) {}
  explicit Recording(std::size_t events) : Recording(TraceRecorder::Settings{events, 1024, Clock::SYSTEM}) {}
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;
  ~Recording() {
    TraceRecorder::stop();
    trace::uninstall();
  }

  static TraceFile file() { return TraceFile(TraceRecorder::snapshot()); }
};

std::vector<std::uint64_t> probesOf(const TraceFile::Thread& thread) {
  std::vector<std::uint64_t> probes;
  for (const TraceFile::Event& event : thread.events) probes.push_back(event.probe);
  return probes;
}

std::vector<std::string> eventsOf(const TraceFile::Thread& thread) {
  std::vector<std::string> events;
  for (const TraceFile::Event& event : thread.events)
    events.push_back((event.kind == 0 ? ">" : "<") + std::to_string(event.probe));
  return events;
}

void record(std::uint32_t first, std::uint32_t count) {
  for (std::uint32_t i = 0; i < count; ++i) TraceRecorder::entered(first + i);
}

TEST(TraceRecorder, RecordsTheCallsThatTheLibraryReports) {
  const Recording recording;
  std::uint32_t flags[trace::componentIndex + 1] = {};
  trace::install(TraceRecorder::facility(flags));
  flags[trace::componentIndex] = 0x60003;
  {
    oss::MessageList list;
    list.addMessage(oss::Message());
  }
  flags[trace::componentIndex] = 0;
  const TraceFile file = Recording::file();
  ASSERT_EQ(file.threads.size(), 1U);
  const auto text = [](const char* sign, std::uint32_t probe) { return sign + std::to_string(probe); };
  EXPECT_THAT(eventsOf(file.threads[0]),
              ElementsAre(text("<", listConstructor), text(">", addMessage), text("<", addMessage),
                          text(">", listClear), text("<", listClear)));
  EXPECT_EQ(TraceRecorder::lost(), 0U);
}

TEST(TraceRecorder, FacilityHasOnlyTheFunctionsForTraces) {
  std::uint32_t flags[trace::componentIndex + 1] = {};
  const trace::Facility facility = TraceRecorder::facility(flags);
  EXPECT_EQ(facility.componentTraceFlags, flags);
  EXPECT_EQ(facility.traceEntry, &TraceRecorder::entered);
  EXPECT_EQ(facility.traceExit, &TraceRecorder::left);
  EXPECT_EQ(facility.diagDispatchEntry, nullptr);
  EXPECT_EQ(facility.diagDispatchExit, nullptr);
  EXPECT_EQ(facility.traceFlightRecord, nullptr);
}

TEST(TraceRecorder, WritesTimesThatRiseBetweenTheStartAndTheSnapshot) {
  for (const Clock clock : rowsOf({Clock::PROCESSOR, Clock::SYSTEM})) {
    const Recording recording(TraceRecorder::Settings{64, 1, clock});
    record(1, 50);
    const TraceFile file = Recording::file();
    EXPECT_EQ(file.version, 1U);
    if (clock == Clock::SYSTEM) {
      EXPECT_EQ(file.clock, 2U);
      EXPECT_EQ(file.read - file.started, file.nanoseconds);
    }
    EXPECT_GT(file.process, 0U);
    EXPECT_GT(file.since1970, 1'700'000'000'000'000'000U);
    ASSERT_EQ(file.threads.size(), 1U);
    std::uint64_t before = file.started;
    for (const TraceFile::Event& event : file.threads[0].events) {
      EXPECT_GE(event.time, before);
      before = event.time;
    }
    EXPECT_LE(before, file.read);
  }
}

TEST(TraceRecorder, KeepsTheNewestEventsOfAFullRingAndCountsTheOthers) {
  const Recording recording(8);
  record(1, 7);
  EXPECT_EQ(TraceRecorder::lost(), 0U);
  EXPECT_THAT(probesOf(Recording::file().threads.at(0)), ElementsAre(1, 2, 3, 4, 5, 6, 7));
  record(8, 13);
  EXPECT_EQ(TraceRecorder::lost(), 13U);
  const TraceFile::Thread thread = Recording::file().threads.at(0);
  EXPECT_THAT(probesOf(thread), ElementsAre(14, 15, 16, 17, 18, 19, 20));
  EXPECT_EQ(thread.lost, 13U);
  EXPECT_FALSE(thread.ended);
}

TEST(TraceRecorder, RoundsTheEventsOfAThreadUpToAPowerOfTwo) {
  struct Row {
    std::size_t events;
    std::size_t kept;  // one less than the slots, since the next one may be being written
  };
  for (const Row& row : rowsOf({Row{0, 1}, Row{1, 1}, Row{2, 1}, Row{5, 7}, Row{8, 7}, Row{9, 15}})) {
    const Recording recording(row.events);
    record(1, 100);
    EXPECT_EQ(Recording::file().threads.at(0).events.size(), row.kept) << row.events;
  }
}

TEST(TraceRecorder, KeepsTheEventsOfThreadsThatHaveEnded) {
  const Recording recording(8);
  record(1, 2);
  std::thread([] { record(11, 3); }).join();
  std::thread([] { record(21, 8); }).join();
  std::thread([] { record(31, 9); }).join();
  const TraceFile file = Recording::file();
  ASSERT_EQ(file.threads.size(), 4U);
  EXPECT_THAT(probesOf(file.threads[0]), ElementsAre(11, 12, 13));
  EXPECT_THAT(probesOf(file.threads[1]), ElementsAre(21, 22, 23, 24, 25, 26, 27, 28));
  EXPECT_THAT(probesOf(file.threads[2]), ElementsAre(32, 33, 34, 35, 36, 37, 38, 39));
  EXPECT_THAT(probesOf(file.threads[3]), ElementsAre(1, 2));
  for (std::size_t i = 0; i < 4; ++i) {
    ROW("i", i);
    EXPECT_EQ(file.threads[i].ended, i < 3);
    EXPECT_EQ(file.threads[i].number, i < 3 ? i + 2 : 1);
    EXPECT_EQ(file.threads[i].lost, i == 2 ? 1U : 0U);
  }
  EXPECT_EQ(TraceRecorder::lost(), 1U);
  EXPECT_EQ(file.lost, 0U);
}

TEST(TraceRecorder, DropsTheThreadsThatEndedFirstAndCountsTheirEvents) {
  const Recording recording(TraceRecorder::Settings{16, 2, Clock::SYSTEM});
  for (std::uint32_t i = 1; i <= 5; ++i) std::thread([=] { record(10 * i, i); }).join();
  const TraceFile file = Recording::file();
  ASSERT_EQ(file.threads.size(), 2U);
  EXPECT_THAT(probesOf(file.threads[0]), ElementsAre(40, 41, 42, 43));
  EXPECT_THAT(probesOf(file.threads[1]), ElementsAre(50, 51, 52, 53, 54));
  EXPECT_EQ(file.lost, 1U + 2U + 3U);
  EXPECT_EQ(TraceRecorder::lost(), 1U + 2U + 3U);
}

TEST(TraceRecorder, IgnoresEventsBeforeTheStartAndAfterTheEnd) {
  record(1, 3);
  TraceRecorder::start(TraceRecorder::Settings());
  EXPECT_THAT(Recording::file().threads, IsEmpty());
  record(4, 1);
  TraceRecorder::stop();
  record(5, 3);
  std::thread([] { record(8, 3); }).join();
  const TraceFile file = Recording::file();
  ASSERT_EQ(file.threads.size(), 1U);
  EXPECT_THAT(probesOf(file.threads[0]), ElementsAre(4));
  EXPECT_EQ(TraceRecorder::lost(), 0U);
}

TEST(TraceRecorder, ForgetsTheEarlierRecordingAtAStart) {
  for (const std::size_t events :
       rowsOf({std::size_t{8}, std::size_t{64}, std::size_t{64}, std::size_t{4}})) {
    const Recording recording(events);
    EXPECT_THAT(Recording::file().threads, IsEmpty());
    EXPECT_EQ(TraceRecorder::lost(), 0U);
    std::thread([] { record(11, 2); }).join();
    record(1, 3);
    const TraceFile file = Recording::file();
    ASSERT_EQ(file.threads.size(), 2U);
    EXPECT_THAT(probesOf(file.threads[0]), ElementsAre(11, 12));
    EXPECT_EQ(file.threads[0].number, 1U);
    EXPECT_THAT(probesOf(file.threads[1]), ElementsAre(1, 2, 3));
    record(4, 300);
  }
}

// Threads number their events. A snapshot must show consecutive numbers up to some moment, each with the
// kind that belongs to it.
void writeNumbered(const std::atomic<bool>& stop) {
  std::uint32_t next = 1;
  while (!stop.load()) {
    for (int i = 0; i < 100; ++i, ++next)
      next % 3 == 0 ? TraceRecorder::left(next, 0) : TraceRecorder::entered(next);
  }
}

void checkNumbered(const TraceFile::Thread& thread) {
  for (std::size_t i = 0; i < thread.events.size(); ++i) {
    const TraceFile::Event& event = thread.events[i];
    ASSERT_EQ(event.probe, thread.lost + i + 1) << "thread " << thread.number;
    ASSERT_EQ(event.kind, event.probe % 3 == 0 ? 1U : 0U) << "probe " << event.probe;
    if (i > 0) {
      ASSERT_GE(event.time, thread.events[i - 1].time) << "probe " << event.probe;
    }
  }
}

TEST(TraceRecorder, ShowsNoTornEventWhileThreadsWrite) {
  const Recording recording(64);
  std::atomic<bool> stop = false;
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) threads.emplace_back([&] { writeNumbered(stop); });
  std::ptrdiff_t overwriting = 0;
  for (int i = 0; i < 300 || overwriting < 3; ++i) {
    const TraceFile file = Recording::file();
    for (const TraceFile::Thread& thread : file.threads) checkNumbered(thread);
    overwriting = std::count_if(file.threads.begin(), file.threads.end(),
                                [](const TraceFile::Thread& thread) { return thread.lost > 0; });
  }
  stop = true;
  for (std::thread& thread : threads) thread.join();
  const TraceFile file = Recording::file();
  ASSERT_EQ(file.threads.size(), 3U);
  for (const TraceFile::Thread& thread : rowsOf(file.threads)) {
    checkNumbered(thread);
    EXPECT_EQ(thread.events.size(), 64U);
  }
}

TEST(TraceRecorder, MayBeStartedAndReadWhileThreadsBeginWriteAndEnd) {
  std::atomic<bool> stop = false;
  std::vector<std::thread> threads;
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back([&] {
      while (!stop.load()) std::thread([] { record(1, 50); }).join();
    });
    threads.emplace_back([&] {
      while (!stop.load()) record(1, 100);
    });
  }
  for (std::size_t i = 0; i < 100; ++i) {
    const Recording recording(TraceRecorder::Settings{std::size_t{8} << i % 4, 3, Clock::PROCESSOR});
    for (std::size_t seen = 0; seen < 3;) {
      const TraceFile file = Recording::file();
      seen = file.threads.size();
      for (const TraceFile::Thread& thread : file.threads) {
        for (const TraceFile::Event& event : thread.events) {
          ASSERT_GE(event.probe, 1U);
          ASSERT_LE(event.probe, 100U);
        }
      }
      TraceRecorder::lost();
    }
  }
  stop = true;
  for (std::thread& thread : threads) thread.join();
}

TEST(TraceRecorder, MayBeStartedByTwoThreadsAtOnce) {
  const TraceRecorder::Settings settings{8, 1024, Clock::PROCESSOR};
  TraceRecorder::start(settings);
  for (int round = 0; round < 10; ++round) {
    for (int ended = 0; ended < 50; ++ended) std::thread([] { record(1, 5); }).join();
    std::atomic<int> waiting = 2;
    const auto startTogether = [&] {
      --waiting;
      while (waiting.load() > 0) std::this_thread::yield();
      TraceRecorder::start(settings);  // drops the ended threads
    };
    std::thread other(startTogether);
    startTogether();
    other.join();
  }
  const Recording recording(8);
  record(1, 3);
  const TraceFile file = Recording::file();
  ASSERT_EQ(file.threads.size(), 1U);
  EXPECT_THAT(probesOf(file.threads[0]), ElementsAre(1, 2, 3));
  EXPECT_EQ(file.lost, 0U);
}

}  // namespace
}  // namespace tarvo::test
