#pragma once

#include "infra/kelExport.hpp"

#include <cstdint>

namespace tarvo::oss {

/// The point in time at which a caller stops waiting. A `Deadline` is a value, and copies of it are cheap.
///
///     const std::string request = "list";
///     char reply[4096];
///     const Deadline deadline = Deadline::in(5000);
///     Socket socket;
///     socket.connect("db.example", 4711, Socket::NullAddrInfoExternal, deadline);
///     socket.writeMessageWithin(request.data(), 0, request.size(), deadline);
///     socket.readMessageWithin(reply, nullptr, 0, sizeof reply, true, deadline);
///
/// A program passes the same deadline to each call that belongs to a request, so the deadline limits the time
/// of the whole request. A timeout for each call does not limit the time of the request: if the peer sends a
/// byte shortly before each timeout passes, the request can last for any time. A deadline changes no setting
/// of the connection.
///
/// Deadlines use the system's monotonic clock. A change of the system's date does not affect this clock. The
/// resolution of the clock is a millisecond or better. `docs/sockets.md` lists the behaviour of each call
/// when its time has passed.
///
/// Threads: any thread may read an object at any time. The members raise no errors and allocate nothing.
class KELINFRA_API Deadline {
 public:
  /// Creates a deadline that never expires, as `never` does.
  Deadline() noexcept;
  static Deadline never() noexcept;
  /// Returns the deadline that passes after `milliseconds`; a deadline of 0 milliseconds has already passed.
  /// If the clock cannot represent a time that far away, the result is the last time that the clock can
  /// represent, some centuries from now.
  static Deadline in(unsigned long long milliseconds) noexcept;

  /// Returns false if this deadline never expires, and true otherwise.
  bool expires() const noexcept;
  bool hasPassed() const noexcept;
  /// Returns the number of milliseconds from now to the deadline. The number is rounded up, so that a caller
  /// who waits for this time does not wake before the deadline. The result is 0 only if the deadline has
  /// passed. If the deadline never expires, the result is ~0ULL.
  unsigned long long remaining() const noexcept;

  /// Compares the points in time. `never` is later than every other deadline. `std::min` returns the earlier
  /// of two deadlines, for example of a deadline for a request and a deadline for a step of the request.
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
