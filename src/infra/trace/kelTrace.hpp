#pragma once

#include "infra/trace/kelTraceFacility.hpp"

#include "trace/kelProbes.hpp"

#include <type_traits>
#include <utility>

/// The one wrapper through which every traced function reports to the host's facility.
///
///     void MessageList::clear() {
///       trace::traced<trace::probe("MessageList::clear")>([&] { ... });
///     }
///
/// The exit is reported behind the body, on its normal return only: an exception passes by without it. With
/// all flags clear entry and exit are a load and a test each that is not taken; nothing is called, locked or
/// allocated.
namespace tarvo::trace {

/// The installed facility: constant-initialised, no function null. Local, so that its address is a part of the code.
extern constinit KELINFRA_LOCAL Facility installedFacility;

namespace detail {

constexpr std::uint32_t dispatchBit = 0x40000;
constexpr std::uint32_t traceEntryBits = 0x20001;
constexpr std::uint32_t traceExitBits = 0x20002;
constexpr std::uint32_t flightRecordBit = 0x80;
constexpr std::uint32_t anyEntryBits = dispatchBit | traceEntryBits;
constexpr std::uint32_t anyExitBits = dispatchBit | traceExitBits | flightRecordBit;

/// Read afresh at every test, since a hook or another thread may have changed it. The load is relaxed: on the
/// supported processors a plain one, and no data race with a host that stores atomically.
inline bool flagged(std::uint32_t bits) noexcept {
  return (__atomic_load_n(installedFacility.componentTraceFlags + componentIndex, __ATOMIC_RELAXED) & bits) !=
         0;
}

/// Test for each hook again: the one before may have changed the flags.
[[gnu::cold, gnu::noinline]] void callEntryHooks(Probe probe);
[[gnu::cold, gnu::noinline]] void callExitHooks(Probe probe);

}  // namespace detail

/// Whether a function that is entered now has an entry to report, for one that keeps a short path apart from
/// its `traced` one: the path of no entry ends in `tracedExit`, and saves no register for hooks.
inline bool entryIsTraced() noexcept {
  return detail::flagged(detail::anyEntryBits);
}

/// Whether a function that is left now has an exit to report, for one whose result would have to be kept in a
/// register over the hooks: with nothing to report it returns at once, and saves none.
inline bool exitIsTraced() noexcept {
  return detail::flagged(detail::anyExitBits);
}

/// Runs `body` and reports the exit alone: for functions that only build, tear down or advance a cursor.
template <Probe P, class Body>
inline void tracedExit(Body&& body) requires std::is_void_v<std::invoke_result_t<Body>> {
  std::forward<Body>(body)();
  if (exitIsTraced()) [[unlikely]]
    detail::callExitHooks(P);
}

/// A function apart, since GCC 12 makes a result where the caller gets it only if its scope is the whole function.
template <Probe P, class Body>
inline decltype(auto) tracedExit(Body&& body) {
  decltype(auto) result = std::forward<Body>(body)();
  if (exitIsTraced()) [[unlikely]]
    detail::callExitHooks(P);
  return result;
}

/// Reports the entry, runs `body`, reports the exit.
template <Probe P, class Body>
inline decltype(auto) traced(Body&& body) {
  if (entryIsTraced()) [[unlikely]]
    detail::callEntryHooks(P);
  return tracedExit<P>(std::forward<Body>(body));
}

}  // namespace tarvo::trace
