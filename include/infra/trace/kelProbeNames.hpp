#pragma once

#include "infra/kelExport.hpp"

#include <cstddef>
#include <cstdint>
#include <string_view>

/// The names of the library's probes. A probe is a number that stands for a function of the library: the
/// library passes the number to the trace facility when it reports a call of the function.
///
///     std::string(tarvo::trace::findProbe(0x1CD8063A)->name);  // -> "MessageList::join"
///     tarvo::trace::findProbe("MessageList::join")->probe;     // -> 483919418
///
/// All constructors of a class share one number, and all overloads of a function share one number. A number
/// never changes its meaning, and no later version gives the number to another function. Later versions may
/// have more probes. The installed file share/kelinfra/probes.json contains the same table.
///
/// The functions raise nothing, and any thread may call them at any time. The results are constant, and are
/// valid as long as the library is loaded.
namespace tarvo::trace {

/// The events that a call of a function reports. A call that throws never reports an exit.
enum class ProbeReports {
  ENTRY_AND_EXIT,
  EXIT_ONLY,  ///< constructors, destructors, and members that move a cursor
  EITHER      ///< the destructor shares the number of a member; it reports its exit, the member both
};

struct ProbeInfo {
  std::uint32_t probe;
  std::string_view name;  ///< "Class::function"
  ProbeReports reports;

  constexpr std::string_view className() const { return name.substr(0, name.find("::")); }
  constexpr std::string_view function() const { return name.substr(name.find("::") + 2); }
};

/// A range of probes, in the order of their numbers.
struct ProbeRange {
  const ProbeInfo* first;
  std::size_t count;

  constexpr const ProbeInfo* begin() const { return first; }
  constexpr const ProbeInfo* end() const { return first + count; }
  constexpr std::size_t size() const { return count; }
};

/// Returns all probes.
KELINFRA_API ProbeRange allProbes() noexcept;

/// Returns the probe with the number `probe`, or null if the library has no such probe.
KELINFRA_API const ProbeInfo* findProbe(std::uint32_t probe) noexcept;

/// Returns the probe with exactly the name `name`, such as "Class::function", or null if the library has no
/// such probe. The function does not find a destructor that shares the number of a member.
KELINFRA_API const ProbeInfo* findProbe(std::string_view name) noexcept;

}  // namespace tarvo::trace
