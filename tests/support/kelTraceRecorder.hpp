#pragma once

#include "infra/trace/kelTraceFacility.hpp"

#include <cstdint>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace tarvo::test {

/// A trace facility of the host that records every call during its lifetime. Only one object may exist at a
/// time. A test fails if a call contradicts the public table of probes.
///
///     TraceRecorder trace(0x20001);
///     list.addMessage(message);
///     EXPECT_THAT(trace.calls(), ElementsAre(entered(0x638), left(0x638)));
///
/// Calls are rendered as "traceEntry 638", "traceExit 638 0", "diagDispatchEntry 638", "diagDispatchExit
/// 638", "traceFlightRecord 638 0 0 0": the function number in upper-case hexadecimal, without the shared
/// high half. A probe whose high half is not 1CD8 is rendered whole.
class TraceRecorder {
 public:
  explicit TraceRecorder(std::uint32_t flags);
  TraceRecorder(const TraceRecorder&) = delete;
  TraceRecorder& operator=(const TraceRecorder&) = delete;
  ~TraceRecorder();

  /// The calls so far, in order.
  std::vector<std::string> calls() const;
  /// Returns the calls so far and removes them from the record.
  std::vector<std::string> take();
  void forget() { take(); }

  /// Changes the library's trace flags, from the next probe on. A hook may call this function.
  void setFlags(std::uint32_t flags);
  /// Sets the trace flags to `flags` during the next call that renders as `call`.
  void switchFlagsAt(std::string call, std::uint32_t flags);

 private:
  friend struct TraceHooks;
  void note(std::string call);

  mutable std::mutex mutex_;
  std::vector<std::string> calls_;
  std::pair<std::string, std::uint32_t> switch_;
  std::uint32_t flags_[trace::componentIndex + 1] = {};
};

}  // namespace tarvo::test
