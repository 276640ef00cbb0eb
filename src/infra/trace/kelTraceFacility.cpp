#include "infra/trace/kelTraceFacility.hpp"

#include "trace/kelTrace.hpp"

namespace tarvo::trace {
namespace {

constexpr std::uint32_t noFlags[componentIndex + 1] = {};

constexpr Facility builtIn = {noFlags,
                              [](std::uint32_t) {},
                              [](std::uint32_t) {},
                              [](std::uint32_t) {},
                              [](std::uint32_t, int) {},
                              [](std::uint32_t, int, int, int) {}};

template <class Pointer>
Pointer orElse(Pointer given, Pointer fallback) {
  return given != nullptr ? given : fallback;
}

}  // namespace

constinit Facility installedFacility = builtIn;

void install(const Facility& facility) noexcept {
  installedFacility = {orElse(facility.componentTraceFlags, builtIn.componentTraceFlags),
                       orElse(facility.diagDispatchEntry, builtIn.diagDispatchEntry),
                       orElse(facility.diagDispatchExit, builtIn.diagDispatchExit),
                       orElse(facility.traceEntry, builtIn.traceEntry),
                       orElse(facility.traceExit, builtIn.traceExit),
                       orElse(facility.traceFlightRecord, builtIn.traceFlightRecord)};
}

void uninstall() noexcept {
  installedFacility = builtIn;
}

namespace detail {

void callEntryHooks(Probe probe) {
  if (flagged(dispatchBit)) installedFacility.diagDispatchEntry(probe);
  if (flagged(traceEntryBits)) installedFacility.traceEntry(probe);
}

void callExitHooks(Probe probe) {
  if (flagged(dispatchBit)) installedFacility.diagDispatchExit(probe);
  if (flagged(traceExitBits)) installedFacility.traceExit(probe, 0);
  if (flagged(flightRecordBit)) installedFacility.traceFlightRecord(probe, 0, 0, 0);
}

}  // namespace detail
}  // namespace tarvo::trace
