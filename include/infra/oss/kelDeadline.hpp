#pragma once

#include "infra/kelExport.hpp"

#include <cstdint>

namespace tarvo::oss {

/// A point in time on the monotonic clock, at which a caller stops waiting: a value, copied freely.
///
///     const std::string request = "list";
///     char reply[4096];
///     const Deadline deadline = Deadline::in(5000);
///     Socket socket;
///     socket.connect("db.example", 4711, Socket::NullAddrInfoExternal, deadline);
///     socket.writeMessageWithin(request.data(), 0, request.size(), deadline);
///     socket.readMessageWithin(reply, nullptr, 0, sizeof reply, true, deadline);
///
/// One deadline is handed to each call of a request in turn, so the request as a whole takes no longer, into
/// however many steps the system divides it. A timeout for each step has no such limit: a peer that sends a
/// byte shortly before each timeout would hold the caller for as long as it likes. Nothing stays set on the
/// connection.
///
/// The clock runs on when the date is changed. Its steps are at most a millisecond apart. `docs/sockets.md`
/// lists what each call does when a timeout ends.
///
/// Threads: any thread may read an object at any time. Nothing here raises an error or allocates.
class KELINFRA_API Deadline {
 public:
  /// Never expires, like `never`.
  Deadline() noexcept;
  static Deadline never() noexcept;
  /// The time `milliseconds` from now: 0 has passed already. A time that is too far away for the clock is
  /// replaced by the last one that the clock can represent, which is some centuries away.
  static Deadline in(unsigned long long milliseconds) noexcept;

  /// Whether this is a point in time; false for a deadline that never expires.
  bool expires() const noexcept;
  bool hasPassed() const noexcept;
  /// The milliseconds from now, rounded up: 0 exactly if the deadline has passed, so a caller that waits this
  /// long waits long enough. ~0ULL if the deadline never expires.
  unsigned long long remaining() const noexcept;

  /// Compares the points in time. `never` is later than all others, so `std::min` of a deadline for a request
  /// and one for a step is the deadline that holds for the step.
  friend bool operator==(const Deadline& left, const Deadline& right) noexcept {
    return left.nanoseconds_ == right.nanoseconds_;
  }
  friend bool operator!=(const Deadline& left, const Deadline& right) noexcept { return !(left == right); }
  friend bool operator<(const Deadline& left, const Deadline& right) noexcept {
    return left.nanoseconds_ < right.nanoseconds_;
  }

 private:
  KELINFRA_LOCAL explicit Deadline(std::uint64_t nanoseconds) noexcept;

  std::uint64_t nanoseconds_;  ///< on the monotonic clock; the largest number never comes
};

}  // namespace tarvo::oss
