#pragma once

#include "infra/trace/kelTraceFacility.hpp"

#include <cstdint>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace tarvo::test {

/// A host's trace facility that writes down every call, from its construction to its destruction. One at a
/// time.
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

  /// What was called so far, in order.
  std::vector<std::string> calls() const;
  /// The calls so far, which are then forgotten.
  std::vector<std::string> take();
  void forget() { take(); }

  /// Changes the library's flag word; the next test of it sees the change. Callable from a hook.
  void setFlags(std::uint32_t flags);
  /// The word takes `flags` while the next call with the given rendering is being made.
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
