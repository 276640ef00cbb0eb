#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

/// Reads the files that tarvo::trace::TraceRecorder writes (docs/formats.md).
namespace kelinfra {

struct TraceEvent {
  std::uint64_t nanoseconds;  ///< since the start of the recording; rises within a thread
  std::uint32_t probe;
  bool isExit;
};

struct TraceThread {
  std::uint64_t number;
  std::uint64_t lost;
  bool ended;
  std::vector<TraceEvent> events;
};

struct TraceFile {
  std::uint32_t process = 0;
  std::uint64_t nanoseconds = 0;  ///< from the start of the recording to the writing of the file
  std::uint64_t lost = 0;         ///< in all threads
  std::vector<TraceThread> threads;
};

enum class TraceFault { none, noTrace, otherVersion, malformed, truncated };

struct TraceReading {
  TraceFault fault;
  std::size_t offset;     ///< of the fault
  std::uint32_t version;  ///< of the file
};

/// Reads a file of any bytes. If there is a fault, `file` contains the threads before it.
TraceReading readTrace(std::string_view bytes, TraceFile& file);

}  // namespace kelinfra
