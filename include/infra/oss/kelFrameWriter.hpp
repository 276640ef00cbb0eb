#pragma once

#include "infra/kelExport.hpp"

#include <string>

namespace tarvo::oss {

/// Queues frames that wait to be sent, up to a limit. The frames have the format of `Socket::writeMessage`
/// (docs/formats.md). A `FrameWriter` uses no socket and never waits, so one thread can send to many clients
/// even if some clients read slowly:
///
///     FrameWriter writer(1 << 20);
///     writer.add("hello", 0, 5);                        // -> true
///     writer.length();                                  // -> 9
///     const unsigned long long sent = 4;                // what writeOnce returned
///     writer.remove(sent);
///     const std::string rest(writer.bytes(), writer.length());  // rest -> "hello"
///
/// To send queued bytes on a connection, call `socket.writeOnce(writer.bytes(), 0, writer.length())`: it
/// returns the number of bytes that were sent.
///
/// Threads: only one thread at a time may use an object. If there is no memory, `add` raises std::bad_alloc
/// and queues nothing. The class raises no error except std::bad_alloc.
class KELINFRA_API FrameWriter {
 public:
  /// `limit` is the largest number of bytes in the queue, including the 4 bytes of each frame's length word.
  /// The queue uses less memory than four times the limit.
  explicit FrameWriter(unsigned long long limit);
  FrameWriter(const FrameWriter& other) = delete;
  FrameWriter& operator=(const FrameWriter& other) = delete;
  ~FrameWriter();

  /// Queues one frame.
  ///   returns  false if it would exceed the limit, or has a payload of 4 GiB or more: nothing is queued
  bool add(const char* buffer, unsigned long long offset, unsigned long long length);

  /// `bytes` returns the bytes to send next, and `length` returns their number, which is 0 if no bytes wait.
  /// The pointer is valid until the next call of `add` or `remove`. Let a `Poller` watch the connection for
  /// WRITE only while `length` is above 0.
  const char* bytes() const KELINFRA_LIFETIMEBOUND;
  unsigned long long length() const;

  /// Removes the first `count` bytes after the program has sent them. If `count` is larger than `length`,
  /// removes all bytes.
  void remove(unsigned long long count);

 private:
  unsigned long long limit_;
  std::string bytes_;
  unsigned long long used_ = 0;  ///< the bytes at the front that were removed
};

}  // namespace tarvo::oss
