#pragma once

#include "infra/trace/kelTraceFacility.hpp"

#include "trace/kelProbes.hpp"

#include <type_traits>
#include <utility>

/// The wrapper with which functions report their entry and exit to the trace facility of the host program.
///
///     void MessageList::clear() {
///       trace::traced<trace::probe("MessageList::clear")>([&] { ... });
///     }
///
/// The wrapper reports the exit if the body returns normally; if the body throws, the wrapper reports no
/// exit. If all trace flags are clear, entry and exit each cost one load and one branch that is not taken;
/// nothing is called, locked or allocated.
namespace tarvo::trace {

/// The installed facility. The facility is constant-initialised, and none of its functions is null. The
/// variable is not exported, so that the code finds its address without a look-up.
extern constinit KELINFRA_LOCAL Facility installedFacility;

namespace detail {

constexpr std::uint32_t dispatchBit = 0x40000;
constexpr std::uint32_t traceEntryBits = 0x20001;
constexpr std::uint32_t traceExitBits = 0x20002;
constexpr std::uint32_t flightRecordBit = 0x80;
constexpr std::uint32_t anyEntryBits = dispatchBit | traceEntryBits;
constexpr std::uint32_t anyExitBits = dispatchBit | traceExitBits | flightRecordBit;

/// Returns whether at least one of the flags in `bits` is set. Reads the flags at every test, because a hook
/// or another thread may have changed them. The load is atomic and relaxed: on the supported processors it is
/// an ordinary load, and it does not race with a host that stores the flags atomically.
inline bool flagged(std::uint32_t bits) noexcept {
  return (__atomic_load_n(installedFacility.componentTraceFlags + componentIndex, __ATOMIC_RELAXED) & bits) !=
         0;
}

/// The following functions call the hooks whose flags are set. The functions test the flags again for each
/// hook, because the previous hook may have changed the flags.
[[gnu::cold, gnu::noinline]] void callEntryHooks(Probe probe);
[[gnu::cold, gnu::noinline]] void callExitHooks(Probe probe);

}  // namespace detail

/// Returns whether a function that is entered now has to report its entry. A function with a fast path calls
/// `entryIsTraced` first. If the function need not report its entry, the fast path ends in `tracedExit` and
/// saves no registers for hooks.
inline bool entryIsTraced() noexcept {
  return detail::flagged(detail::anyEntryBits);
}

/// Returns whether the calling function, which is about to return, has to report its exit. A function calls
/// `exitIsTraced` directly if it would otherwise have to keep its result in a register while the hooks run.
/// If the function need not report its exit, it returns at once and saves no registers.
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

/// The overload for a body with a result. This overload is a separate function, because GCC 12 constructs a
/// result in its final place only if the scope of the result is the whole function.
template <Probe P, class Body>
inline decltype(auto) tracedExit(Body&& body) {
  decltype(auto) result = std::forward<Body>(body)();
  if (exitIsTraced()) [[unlikely]]
    detail::callExitHooks(P);
  return result;
}

/// Reports the entry, runs `body` and reports the exit.
template <Probe P, class Body>
inline decltype(auto) traced(Body&& body) {
  static_assert(!reportsOnlyItsExit(P), "the table states that this function reports no entry");
  if (entryIsTraced()) [[unlikely]]
    detail::callEntryHooks(P);
  return tracedExit<P>(std::forward<Body>(body));
}

}  // namespace tarvo::trace
