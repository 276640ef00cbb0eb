#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelOutputStream.hpp"

#include <cstddef>

namespace tarvo::oss {

/// An `OutputStream` that writes its bytes into a buffer of the caller, from the start of the buffer on.
///
///     tarvo::util::ExtendedProperties properties;
///     properties.putProperty("host", "db1");
///     char text[512] = {};                   // zeros, so that the text is terminated
///     ByteArrayOutputStream stream(text, sizeof text);
///     properties.save(stream);
///     puts(text);                            // prints #saved by ExtendedProperties on host=db1
///
/// The buffer must exist until the last write. The stream writes no terminator. The position of the stream
/// cannot be reset, and no member returns the number of bytes written. To find the end of the text, count the
/// bytes in the program, or fill the buffer with zeros before the first write. Only one thread at a time may
/// use an object.
class KELINFRA_API ByteArrayOutputStream : public OutputStream {
 public:
  /// `capacity` is the size of the buffer in bytes. If `capacity` is 0, the buffer may be null.
  ByteArrayOutputStream(char* buffer KELINFRA_LIFETIMEBOUND, std::size_t capacity);
  ~ByteArrayOutputStream() override;

  using OutputStream::write;
  /// Stores one byte after the bytes that were written before. The other overloads of `write` call
  /// `write(char)` for each byte: they store all bytes that fit, and then raise the same error.
  ///   raises   IOException ERR_BUFFER_SIZE_TOO_SMALL (capacity as the signed decimal of its low 32 bits),
  ///            file "kelByteArrayOutputStream.cpp": the buffer is full. The byte is not stored, and the
  ///            stream does not change
  void write(char c) override;

 private:
  char* buffer_;
  unsigned long long capacity_;
  unsigned long long position_ = 0;
};

}  // namespace tarvo::oss
