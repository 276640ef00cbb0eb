#pragma once

#include "infra/kelExport.hpp"

#include <string>

namespace tarvo::oss {

/// Finds the frames in a stream of bytes that arrives in pieces of any size. A frame is a message with its
/// length before it, in the format of `Socket::writeMessage` and `Socket::readMessage` (docs/formats.md). A
/// `FrameReader` uses no socket and never waits, so one thread can read frames from many connections.
///
///     FrameReader reader(1 << 20);               // no payload is longer than 1 MiB
///     reader.append("\0\0\0\5hel", 0, 7);
///     reader.next() == FrameReader::NEED_MORE;   // -> true
///     reader.append("lo\0\0", 0, 4);
///     reader.next() == FrameReader::FRAME;       // -> true
///     const std::string first(reader.payload(), reader.length());  // first -> "hello"
///     reader.next() == FrameReader::NEED_MORE;   // -> true
///
/// Memory: the object holds the appended bytes, except the bytes of frames that it has already returned. The
/// length word of a frame reserves no memory: if a peer announces 4 GiB and sends 4 bytes, the object holds 4
/// bytes. If a payload is above the limit, `append` drops the bytes of the payload. The object uses less
/// memory than four times the bytes that it holds. When the object holds no more bytes, it releases the
/// memory that a long frame needed. If there is no memory, `append` and `takeRest` raise std::bad_alloc and
/// do not change the object.
///
/// Threads: only one thread at a time may use an object. The class raises no error except std::bad_alloc.
class KELINFRA_API FrameReader {
 public:
  enum State {
    NEED_MORE,       ///< no whole frame yet: append more bytes, or close
    FRAME,           ///< `payload` and `length` are those of the next frame
    TOO_LARGE,       ///< a frame of `length` bytes is above the limit; reported once, then it is dropped
    CLOSED_BETWEEN,  ///< the stream has ended after a whole frame, or before the first one
    CLOSED_INSIDE    ///< the stream has ended inside a frame of `length` bytes, after `received` of them
  };

  /// `limit` is the largest number of bytes that a payload may have. The limit has no default value, because
  /// the right limit depends on the program: each client can make the program hold `limit` bytes for each of
  /// its connections.
  explicit FrameReader(unsigned long long limit);
  FrameReader(const FrameReader& other) = delete;
  FrameReader& operator=(const FrameReader& other) = delete;
  ~FrameReader();

  /// Appends the next bytes of the stream. If the length is 0, or after `close`, `append` does nothing.
  void append(const char* buffer, unsigned long long offset, unsigned long long length);
  /// Marks the end of the stream. After `close`, `next` still returns the frames that are complete.
  void close();

  /// Moves to the next frame and returns the state of this frame. After NEED_MORE, CLOSED_BETWEEN and
  /// CLOSED_INSIDE the result stays the same until bytes are appended or the stream is closed. If the stream
  /// ends inside a length word, the missing bytes of the length word count as 0, as for
  /// `Socket::readMessage`.
  State next();

  /// After FRAME, returns the payload; the pointer is valid until the next call of a member that is not
  /// const. After the other states, returns an empty text.
  const char* payload() const KELINFRA_LIFETIMEBOUND;
  /// After FRAME, returns the length of the payload. After TOO_LARGE and CLOSED_INSIDE, returns the length
  /// that the length word announces. After the other states, returns 0.
  unsigned long long length() const;
  /// After CLOSED_INSIDE, returns the number of payload bytes that arrived, including dropped bytes. After
  /// the other states, returns 0.
  unsigned long long received() const;

  /// Removes all bytes after the last returned frame from the object, and returns these bytes. Call
  /// `takeRest` if the connection continues with bytes that are not frames, for example after a frame that
  /// announces another protocol. While the object drops the payload of a frame above the limit, the result is
  /// empty.
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
