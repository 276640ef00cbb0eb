#pragma once

#include "infra/kelExport.hpp"

#include <cstdint>

/// The interface of a trace facility. The host program installs a trace facility, and the library calls the
/// facility's functions at the entry and exit of operations.
///
/// The operations of the buffer, conversion, tokenizer, formatter, message-list and networking classes and of
/// `ByteArrayOutputStream` report their entry and exit to the installed facility. Each traced operation has a
/// 32-bit number, its probe number, which the library passes to the facility. Members that only return a
/// value of the object, and all other classes, report nothing (see docs/tracing.md). If no facility is
/// installed, the library uses a built-in facility with all flags clear, and calls no function.
///
///     static std::uint32_t flags[256] = {};        // lives as long as the facility is installed
///     tarvo::trace::Facility facility;
///     facility.componentTraceFlags = flags;
///     facility.traceEntry = [](std::uint32_t probe) { std::printf("> %u\n", probe); };
///     tarvo::trace::install(facility);
///     flags[tarvo::trace::componentIndex] = 0x1;   // entries only, from the next test on
namespace tarvo::trace {

/// The index of the library's element in `Facility::componentTraceFlags`.
constexpr unsigned int componentIndex = 155;

/// The functions and flags that a host program installs. The library may call every function from any thread
/// that uses the library. Every function must return to its caller, and must not throw. A null function is
/// never called. A null flag array means that all flags are clear.
///
/// Bits of the library's flag word:
///   0x40000   diagDispatchEntry at entry, diagDispatchExit at exit
///   0x20001   traceEntry at entry                      (either bit)
///   0x20002   traceExit at exit, return code always 0  (either bit)
///   0x80      traceFlightRecord at exit, further arguments always 0, 0, 0
/// At entry diagDispatchEntry is called before traceEntry. At exit the order is diagDispatchExit, traceExit,
/// traceFlightRecord. An operation that ends with an exception reports its entry but no exit. Constructors,
/// destructors and members that move a cursor report only their exit. The destruction of a `MessageList`, or
/// of an exception, reports entry and exit of `MessageList::clear`.
struct Facility {
  /// An array of flag words, one for each component of the host; the library reads element 155. The library
  /// reads this element each time that it tests a flag, without a lock. The host may change the element at
  /// any time and from any thread, also inside a function of the facility. The host must keep the array alive
  /// until `uninstall` or another `install`.
  const volatile std::uint32_t* componentTraceFlags = nullptr;
  void (*diagDispatchEntry)(std::uint32_t probe) = nullptr;
  void (*diagDispatchExit)(std::uint32_t probe) = nullptr;
  void (*traceEntry)(std::uint32_t probe) = nullptr;
  void (*traceExit)(std::uint32_t probe, int returnCode) = nullptr;
  void (*traceFlightRecord)(std::uint32_t probe, int, int, int) = nullptr;
};

/// Replaces the installed facility by a copy of `facility`. Call `install` before other threads use the
/// library: `install` does not synchronise with calls of other threads. `install` raises nothing.
KELINFRA_API void install(const Facility& facility) noexcept;

/// Restores the built-in facility. Do not call `uninstall` while other threads use the library. `uninstall`
/// raises nothing.
KELINFRA_API void uninstall() noexcept;

}  // namespace tarvo::trace
