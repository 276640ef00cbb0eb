#pragma once

#include "infra/kelExport.hpp"

#include <string>

namespace tarvo::oss {

/// A bounded queue of frames that wait to be sent, as `Socket::writeMessage` would send them
/// (docs/formats.md). It knows no socket and never waits, so one thread can send to many clients although
/// some of them read slowly:
///
///     FrameWriter writer(1 << 20);
///     writer.add("hello", 0, 5);                        // -> true
///     writer.length();                                  // -> 9
///     const unsigned long long sent = 4;                // what writeOnce returned
///     writer.remove(sent);
///     const std::string rest(writer.bytes(), writer.length());  // rest -> "hello"
///
/// With a connection, the third line is `socket.writeOnce(writer.bytes(), 0, writer.length())`.
///
/// Threads: one at a time. If memory is exhausted, `add` raises std::bad_alloc and queues nothing. Raises no
/// other error.
class KELINFRA_API FrameWriter {
 public:
  /// `limit` is the most bytes that may wait, the length words of 4 bytes included. The memory of the queue
  /// is less than four times the limit.
  explicit FrameWriter(unsigned long long limit);
  FrameWriter(const FrameWriter& other) = delete;
  FrameWriter& operator=(const FrameWriter& other) = delete;
  ~FrameWriter();

  /// Queues one frame.
  ///   returns  false if it would exceed the limit, or has a payload of 4 GiB or more: nothing is queued
  bool add(const char* buffer, unsigned long long offset, unsigned long long length);

  /// The bytes to be sent next, until the next call of `add` or `remove`, and their number: 0 if nothing
  /// waits. A program that polls waits until it can write only if this is not 0.
  const char* bytes() const KELINFRA_LIFETIMEBOUND;
  unsigned long long length() const;

  /// Removes the first `count` bytes, because they have been sent; at most all of them.
  void remove(unsigned long long count);

 private:
  unsigned long long limit_;
  std::string bytes_;
  unsigned long long used_ = 0;  ///< the bytes at the front that were removed
};

}  // namespace tarvo::oss
