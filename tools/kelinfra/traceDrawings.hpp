#pragma once

#include "traceCalls.hpp"
#include "traceFile.hpp"

#include <string>

/// Traces in the formats of other viewers.
namespace kelinfra {

/// Microseconds with three decimals.
std::string microseconds(std::uint64_t nanoseconds);

/// Returns the trace for the viewers of Chrome's trace format: one complete event ("X") for each call. The
/// events of a thread are nested. Each lasts at least a nanosecond, so a call can begin or end a few
/// nanoseconds later than it was recorded.
std::string chromeTrace(const TraceFile& file);

/// Returns the calls of all threads as a flame graph: one SVG without a script. The width of a rectangle is
/// the time of the calls at that place of the tree; calls inside it are below it.
std::string flameGraph(const TraceTree& tree);

}  // namespace kelinfra
