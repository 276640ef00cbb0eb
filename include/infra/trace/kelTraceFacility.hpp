#pragma once

#include "infra/kelExport.hpp"

#include <cstdint>

/// The host program's trace facility, as the library calls it.
///
/// The operations of the buffer, conversion, tokenizer, formatter, message-list and networking classes and of
/// `ByteArrayOutputStream` report their entry and exit to the installed facility, each with the 32-bit probe
/// number of the function. Members that only return a value of the object, and all other classes, report
/// nothing (docs/tracing.md lists them). Without an installed facility a built-in one is in place whose flags
/// are all clear; then nothing is called.
///
///     static std::uint32_t flags[256] = {};        // lives as long as the facility is installed
///     tarvo::trace::Facility facility;
///     facility.componentTraceFlags = flags;
///     facility.traceEntry = [](std::uint32_t probe) { std::printf("> %u\n", probe); };
///     tarvo::trace::install(facility);
///     flags[tarvo::trace::componentIndex] = 0x1;   // entries only, from the next test on
namespace tarvo::trace {

/// The library's element of `Facility::componentTraceFlags`.
constexpr unsigned int componentIndex = 155;

/// The functions and flags that a host installs. Every function may be called from any thread that uses the
/// library, and must return normally. A null function is never called; a null flag array means that all flags
/// are clear.
///
/// Bits of the library's flag word:
///   0x40000   diagDispatchEntry at entry, diagDispatchExit at exit
///   0x20001   traceEntry at entry                      (either bit)
///   0x20002   traceExit at exit, return code always 0  (either bit)
///   0x80      traceFlightRecord at exit, further arguments always 0, 0, 0
/// At entry diagDispatchEntry comes before traceEntry; at exit diagDispatchExit, traceExit,
/// traceFlightRecord. An operation that ends with an exception reports its entry and no exit. Constructors,
/// destructors and cursor steps report their exit only. The destruction of a `MessageList`, or of an
/// exception, reports entry and exit of `MessageList::clear`.
struct Facility {
  /// Array of flag words, one for each component of the host. Element 155 is read again before every test, as
  /// a plain load without a lock. The host may change it at any time and from any thread, also in a hook; it
  /// must keep the array alive until `uninstall` or another `install`.
  const volatile std::uint32_t* componentTraceFlags = nullptr;
  void (*diagDispatchEntry)(std::uint32_t probe) = nullptr;
  void (*diagDispatchExit)(std::uint32_t probe) = nullptr;
  void (*traceEntry)(std::uint32_t probe) = nullptr;
  void (*traceExit)(std::uint32_t probe, int returnCode) = nullptr;
  void (*traceFlightRecord)(std::uint32_t probe, int, int, int) = nullptr;
};

/// Replaces the present facility by a copy of `facility`. Call it before other threads make traced calls: the
/// replacement is not synchronised with them. Raises nothing.
KELINFRA_API void install(const Facility& facility) noexcept;

/// Restores the built-in facility; the same rule holds.
KELINFRA_API void uninstall() noexcept;

}  // namespace tarvo::trace
