#pragma once

#include "infra/kelExport.hpp"

#include <string>

namespace tarvo::oss {

/// Takes the bytes of a stream in any pieces and returns the frames in it: those that `Socket::writeMessage`
/// sends and `Socket::readMessage` reads (docs/formats.md). It knows no socket and never waits, so one thread
/// can read frames from many connections.
///
///     FrameReader reader(1 << 20);               // no payload is longer than 1 MiB
///     reader.append("\0\0\0\5hel", 0, 7);
///     reader.next() == FrameReader::NEED_MORE;   // -> true
///     reader.append("lo\0\0", 0, 4);
///     reader.next() == FrameReader::FRAME;       // -> true
///     const std::string first(reader.payload(), reader.length());  // first -> "hello"
///     reader.next() == FrameReader::NEED_MORE;   // -> true
///
/// Memory: the object holds the bytes that were appended and that no frame has used yet. A length word
/// reserves nothing: a peer that announces 4 GiB and sends 4 bytes costs 4 bytes. The payload of a frame
/// above the limit is dropped while it is appended. The memory is less than four times the bytes that are
/// held. Memory that a long frame needed is released when all bytes have been used. If memory is exhausted,
/// `append` raises std::bad_alloc, and the object is as before the call.
///
/// Threads: one at a time. Raises no other error.
class KELINFRA_API FrameReader {
 public:
  enum State {
    NEED_MORE,       ///< no whole frame yet: append more bytes, or close
    FRAME,           ///< `payload` and `length` are those of the next frame
    TOO_LARGE,       ///< a frame of `length` bytes is above the limit; reported once, then it is dropped
    CLOSED_BETWEEN,  ///< the stream has ended after a whole frame, or before the first one
    CLOSED_INSIDE    ///< the stream has ended inside a frame of `length` bytes, after `received` of them
  };

  /// `limit` is the most bytes that a payload may have. There is no default, because the right one depends on
  /// the program: whoever can connect can make the program hold that many bytes for each connection.
  explicit FrameReader(unsigned long long limit);
  FrameReader(const FrameReader& other) = delete;
  FrameReader& operator=(const FrameReader& other) = delete;
  ~FrameReader();

  /// Adds the next bytes of the stream; a length of 0 adds nothing. Does nothing after `close`.
  void append(const char* buffer, unsigned long long offset, unsigned long long length);
  /// Marks the end of the stream. Frames that are complete can still be taken.
  void close();

  /// Goes to the next frame and returns what was found. After NEED_MORE, CLOSED_BETWEEN and CLOSED_INSIDE the
  /// result stays the same until bytes are appended or the stream is closed. A length word that the peer cut
  /// short counts with 0 for each missing byte, as in `Socket::readMessage`.
  State next();

  /// The payload after FRAME, until the next call of a member that is not const; of length 0 after the other
  /// states.
  const char* payload() const KELINFRA_LIFETIMEBOUND;
  /// The length of the payload after FRAME; the length that the length word announces after TOO_LARGE and
  /// CLOSED_INSIDE; otherwise 0.
  unsigned long long length() const;
  /// The number of payload bytes that arrived before CLOSED_INSIDE, dropped ones included; otherwise 0.
  unsigned long long received() const;

  /// Returns the bytes that no frame has used, such as those after the last frame, and forgets them. For
  /// programs that continue to read the connection in another way, for example after a frame that announces
  /// another protocol. While the payload of a frame above the limit is being dropped, there are no such
  /// bytes.
  std::string takeRest();

 private:
  KELINFRA_LOCAL State found(State state, unsigned long long length, unsigned long long received);
  KELINFRA_LOCAL State dropTooLarge(unsigned long long length, unsigned long long arrived);

  unsigned long long limit_;
  std::string bytes_;
  unsigned long long used_ = 0;      ///< the bytes at the front that belong to frames before the next one
  unsigned long long frame_ = 0;     ///< the bytes after them that belong to the frame that was returned
  unsigned long long tooLarge_ = 0;  ///< the payload length of the frame that is being dropped
  unsigned long long drop_ = 0;      ///< the bytes of it that have not arrived
  State state_ = NEED_MORE;
  unsigned long long length_ = 0;
  unsigned long long received_ = 0;
  bool closed_ = false;
};

}  // namespace tarvo::oss
