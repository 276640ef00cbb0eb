#pragma once

#include "infra/kelExport.hpp"
#include "infra/trace/kelTraceFacility.hpp"

#include <cstddef>
#include <cstdint>
#include <string>

namespace tarvo::trace {

/// Records the calls that the library reports, with their times, in a ring of events for each thread. The
/// program `kelinfra trace` shows a recording as a call tree, as totals, for Chrome's trace viewer or as a
/// flame graph.
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
/// The class has static members only and does not install itself: the facility, its flags and the moment of
/// `install` belong to the program. A program that has other hooks calls `entered` and `left` in them.
///
/// Record entries and exits together (flag 0x20000). With both 0x20000 and 0x40000 a facility of `facility`
/// records each call once, because it has no functions for the diagnostic dispatcher.
///
/// Threads: any thread may call any member at any time; the calls of `start` must not overlap. `entered` and
/// `left` take no lock and allocate nothing, except in the first event of a thread: that one takes the
/// memory of the thread's ring, and waits if another thread runs `start`, `snapshot` or `lost`, or ends.
/// They are not safe in signal handlers.
///
/// Memory: 16 bytes for each event of a ring. When a thread ends, a ring that is not full shrinks to its
/// events.
class KELINFRA_API TraceRecorder {
 public:
  TraceRecorder() = delete;

  enum class Clock {
    PROCESSOR,  ///< the processor's counter; the system's clock on processors without a known counter
    SYSTEM      ///< the system's steady clock
  };

  struct Settings {
    /// The events that are kept of each thread, the newest ones. It is rounded up to a power of 2, at least
    /// 2 and at most 2^24.
    std::size_t eventsPerThread = 16384;
    /// The number of ended threads whose events are kept. If more threads end, the events of the thread that
    /// ended first are dropped and counted as lost.
    std::size_t endedThreads = 1024;
    Clock clock = Clock::PROCESSOR;
  };

  /// Starts a new recording. Events of an earlier recording are forgotten. Raises nothing.
  static void start(const Settings& settings) noexcept;

  /// Ends the recording: events are ignored from now on. The recorded events can still be read. Raises
  /// nothing.
  static void stop() noexcept;

  /// Returns a facility whose `traceEntry` is `entered` and whose `traceExit` is `left`. It has no other
  /// functions. Raises nothing.
  static Facility facility(const volatile std::uint32_t* flags) noexcept;

  /// Records the entry into a function. The probe may also be a number of the program itself; `kelinfra
  /// trace` shows such a number in hexadecimal. Does nothing if no recording has been started. Raises
  /// nothing: an event that cannot be kept is counted as lost.
  static void entered(std::uint32_t probe) noexcept;
  /// Records the exit from a function, like `entered`. The return code is not recorded.
  static void left(std::uint32_t probe, int returnCode) noexcept;

  /// Returns the bytes of a trace file (docs/formats.md) with all events that are kept, also those of ended
  /// threads. Other threads may record meanwhile: each ring is read at its own moment, and an event that is
  /// overwritten while it is read is left out. Raises std::bad_alloc; nothing is changed then.
  static std::string snapshot();

  /// The number of events of this recording that cannot be read any more: overwritten by newer ones, dropped
  /// with an ended thread, not recorded because there was no memory, or reported by a thread after its
  /// storage was released at its end. Raises nothing.
  static std::uint64_t lost() noexcept;
};

}  // namespace tarvo::trace
