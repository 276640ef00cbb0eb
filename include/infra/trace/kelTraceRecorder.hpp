#pragma once

#include "infra/kelExport.hpp"
#include "infra/trace/kelTraceFacility.hpp"

#include <cstddef>
#include <cstdint>
#include <string>

namespace tarvo::trace {

/// Records the calls that the library reports, with their times. Each thread has a ring: a buffer of events
/// in which a new event replaces the oldest event when the ring is full. The program `kelinfra trace` shows a
/// recording as a call tree, as totals, for Chrome's trace viewer or as a flame graph.
///
///     using tarvo::trace::TraceRecorder;
///     static std::uint32_t flags[256] = {};                     // the program's flag words
///     TraceRecorder::start(TraceRecorder::Settings());
///     tarvo::trace::install(TraceRecorder::facility(flags));
///     flags[tarvo::trace::componentIndex] = 0x20000;            // entries and exits
///     tarvo::oss::Formatter::stringToInt32("17");
///     const std::string file = TraceRecorder::snapshot();       // write it to a file for kelinfra trace
///     file.substr(0, 8);                                        // -> "KELTRACE"
///     TraceRecorder::stop();
///     tarvo::trace::uninstall();
///
/// The class has only static members. The class does not install a facility: the program provides the flags
/// and calls `install`. If the program already has functions for tracing, they can call `entered` and `left`.
///
/// Set the flag 0x20000, which reports entries and exits together. If the program also sets the flag 0x40000,
/// the facility that `facility` returns still records each call once, because this facility has no functions
/// for the diagnostic dispatcher.
///
/// Threads: any thread may call any member at any time; a lock orders calls of `start`. `entered` and `left`
/// take no lock and allocate nothing, except for the first event of a thread in a recording: for this event
/// they take the lock and may allocate the thread's ring. The lock can make them wait for a thread that ends
/// or that runs `start`, `stop`, `snapshot` or `lost`. A signal handler must not call `entered` or `left`.
///
/// Memory: a ring takes 16 bytes for each event. When a thread ends, the recorder releases the unused part of
/// its ring.
class KELINFRA_API TraceRecorder {
 public:
  TraceRecorder() = delete;

  enum class Clock {
    PROCESSOR,  ///< the processor's counter; the system's clock on processors without a known counter
    SYSTEM      ///< the system's steady clock
  };

  struct Settings {
    /// The recorder keeps this number of the newest events of each thread. `start` rounds the number up to a
    /// power of 2, at least 2 and at most 2^24.
    std::size_t eventsPerThread = 16384;
    /// The recorder keeps the events of this number of ended threads. If more threads end, the recorder drops
    /// the events of the thread that ended first, and counts these events as lost.
    std::size_t endedThreads = 1024;
    Clock clock = Clock::PROCESSOR;
  };

  /// Starts a new recording and discards the events of the previous recording. Raises nothing.
  static void start(const Settings& settings) noexcept;

  /// Ends the recording: `entered` and `left` ignore later events. `snapshot` still returns the recorded
  /// events. Raises nothing.
  static void stop() noexcept;

  /// Returns a facility whose `traceEntry` is `entered` and whose `traceExit` is `left`. The facility has no
  /// other functions. The facility keeps the pointer `flags`. Raises nothing.
  static Facility facility(const volatile std::uint32_t* flags) noexcept;

  /// Records the entry into a function. The program may also pass probe numbers that it defines itself;
  /// `kelinfra trace` shows such a number in hexadecimal. Does nothing if no recording is running. Raises
  /// nothing. If there is no memory for the event, the recorder counts the event as lost.
  static void entered(std::uint32_t probe) noexcept;
  /// Records the exit from a function; otherwise like `entered`. The return code is not recorded.
  static void left(std::uint32_t probe, int returnCode) noexcept;

  /// Returns the bytes of a trace file (docs/formats.md) with all events that are kept, also the events of
  /// ended threads. Other threads may record while `snapshot` runs. `snapshot` reads one ring after the
  /// other, so the rings are not read at the same moment. If a thread overwrites an event during the reading,
  /// `snapshot` leaves this event out. Raises std::bad_alloc if there is no memory; the recording then stays
  /// unchanged.
  static std::string snapshot();

  /// Returns the number of events of this recording that `snapshot` cannot return. An event is lost if a
  /// newer event has overwritten it, if the recorder has dropped the events of its ended thread, if there was
  /// no memory for the event, or if a thread reported the event after the thread's storage had been released
  /// at its end. Raises nothing.
  static std::uint64_t lost() noexcept;
};

}  // namespace tarvo::trace
