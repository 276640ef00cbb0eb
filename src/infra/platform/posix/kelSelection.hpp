#pragma once

#include "platform/kelWinsock.hpp"

#include <poll.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace tarvo::platform::posix {

class Deadline;

/// Executes one call of select, with three sets. A descriptor that is in several sets has one poll entry.
///
/// The system's poll accepts descriptors of any file, so select has to check that each descriptor is a
/// socket. The first poll does not wait. If the first poll reports descriptors, the call checks only these
/// descriptors and ends, as most calls do. If the first poll reports no descriptor, the call checks all
/// descriptors before it waits.
class Selection {
 public:
  Selection(SocketSet& read, SocketSet& write, SocketSet& error) noexcept : sets_{&read, &write, &error} {}

  /// Does the same as Winsock::select.
  int wait(const TimeValue* timeout) noexcept;

 private:
  using Index = std::uint8_t;
  static constexpr std::size_t most = std::size_t{3} * SocketSet::most;
  static_assert(most <= UINT8_MAX);
  static constexpr std::array<short, 3> events = {POLLIN, POLLOUT, POLLPRI};

  enum class Outcome { failed, timedOut, ready, notReady };

  bool build() noexcept;
  Index entryOf(int descriptor, std::size_t kind) noexcept;
  Outcome poll(const Deadline& deadline) noexcept;
  bool isSocketAt(std::size_t index) noexcept;
  bool allAreSockets() noexcept;
  int finish(Outcome outcome) noexcept;

  std::array<SocketSet*, 3> sets_;
  std::array<std::array<Index, SocketSet::most>, 3> places_;  ///< the entry of each handle in each set
  std::array<pollfd, most> entries_;
  std::array<bool, most> known_;  ///< whether the entry's descriptor has been found to be a socket
  std::size_t count_ = 0;
  std::size_t next_ = 0;  ///< after the entry found last; sets mostly list handles in the same order
};

}  // namespace tarvo::platform::posix
