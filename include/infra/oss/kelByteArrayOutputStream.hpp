#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelOutputStream.hpp"

#include <cstddef>

namespace tarvo::oss {

/// An `OutputStream` that writes to a buffer that the caller owns, from its start.
///
///     tarvo::util::ExtendedProperties properties;
///     properties.putProperty("host", "db1");
///     char text[512] = {};                   // zeros, so that the text is terminated
///     ByteArrayOutputStream stream(text, sizeof text);
///     properties.save(stream);
///     puts(text);                            // prints #saved by ExtendedProperties on host=db1
///
/// The buffer must outlive the last write. The stream adds no terminator. Its position cannot be reset, and
/// no member returns the number of bytes written: count them in the program, or fill the buffer with zeros
/// first. One thread at a time.
class KELINFRA_API ByteArrayOutputStream : public OutputStream {
 public:
  /// `capacity` is the size of the buffer in bytes; if it is 0, the buffer may be null.
  ByteArrayOutputStream(char* buffer KELINFRA_LIFETIMEBOUND, std::size_t capacity);
  ~ByteArrayOutputStream() override;

  using OutputStream::write;
  /// Stores one byte after the bytes written so far. The other `write` members store bytes up to the first
  /// that does not fit.
  ///   raises   IOException ERR_BUFFER_SIZE_TOO_SMALL (capacity as the signed decimal of its low 32 bits),
  ///            file "kelByteArrayOutputStream.cpp": the buffer is full. The byte is lost, the stream is
  ///            unchanged
  void write(char c) override;

 private:
  char* buffer_;
  unsigned long long capacity_;
  unsigned long long position_ = 0;
};

}  // namespace tarvo::oss
