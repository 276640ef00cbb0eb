#pragma once

#include "infra/trace/kelTraceFacility.hpp"

#include "trace/kelProbes.hpp"

#include <type_traits>
#include <utility>

/// The wrapper through which every traced function reports to the host's facility.
///
///     void MessageList::clear() {
///       trace::traced<trace::probe("MessageList::clear")>([&] { ... });
///     }
///
/// The exit is reported after the body returns normally; if the body throws, no exit is reported. If all
/// flags are clear, entry and exit cost one load and one untaken branch each; nothing is called, locked or
/// allocated.
namespace tarvo::trace {

/// The installed facility: constant-initialised, no function null. Hidden, so that code need not look up its
/// address.
extern constinit KELINFRA_LOCAL Facility installedFacility;

namespace detail {

constexpr std::uint32_t dispatchBit = 0x40000;
constexpr std::uint32_t traceEntryBits = 0x20001;
constexpr std::uint32_t traceExitBits = 0x20002;
constexpr std::uint32_t flightRecordBit = 0x80;
constexpr std::uint32_t anyEntryBits = dispatchBit | traceEntryBits;
constexpr std::uint32_t anyExitBits = dispatchBit | traceExitBits | flightRecordBit;

/// Reads the flags at every test, since a hook or another thread may have changed them. The load is relaxed:
/// a plain load on the supported processors, and no data race with a host that stores atomically.
inline bool flagged(std::uint32_t bits) noexcept {
  return (__atomic_load_n(installedFacility.componentTraceFlags + componentIndex, __ATOMIC_RELAXED) & bits) !=
         0;
}

/// Test the flags again for each hook: the hook before may have changed them.
[[gnu::cold, gnu::noinline]] void callEntryHooks(Probe probe);
[[gnu::cold, gnu::noinline]] void callExitHooks(Probe probe);

}  // namespace detail

/// Whether a function that is entered now has to report its entry. A function with a fast path asks this
/// first: without an entry to report, the fast path ends in `tracedExit` and saves no register for hooks.
inline bool entryIsTraced() noexcept {
  return detail::flagged(detail::anyEntryBits);
}

/// Whether a function that is left now has to report its exit. A function asks this if its result would have
/// to be kept in a register during the hooks: without an exit to report, it returns at once and saves no
/// register.
inline bool exitIsTraced() noexcept {
  return detail::flagged(detail::anyExitBits);
}

/// Runs `body` and reports only the exit: for constructors, destructors and functions that advance a cursor.
template <Probe P, class Body>
inline void tracedExit(Body&& body) requires std::is_void_v<std::invoke_result_t<Body>> {
  std::forward<Body>(body)();
  if (exitIsTraced()) [[unlikely]]
    detail::callExitHooks(P);
}

/// A separate function, since GCC 12 constructs a result in its final place only if its scope is the whole
/// function.
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
