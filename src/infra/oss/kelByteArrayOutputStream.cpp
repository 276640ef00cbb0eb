#include "infra/oss/kelByteArrayOutputStream.hpp"

#include "infra/oss/kelIOException.hpp"

#include "oss/kelRaise.hpp"
#include "trace/kelTrace.hpp"

namespace tarvo::oss {

using trace::probe;
using trace::traced;
using trace::tracedExit;

ByteArrayOutputStream::ByteArrayOutputStream(char* buffer, std::size_t capacity)
    : buffer_(buffer), capacity_(capacity) {
  tracedExit<probe("ByteArrayOutputStream::ByteArrayOutputStream")>([] {});
}

ByteArrayOutputStream::~ByteArrayOutputStream() = default;

void ByteArrayOutputStream::write(char c) {
  traced<probe("ByteArrayOutputStream::write")>([&] {
    if (position_ >= capacity_) {
      raise<IOException>(errors::ERR_BUFFER_SIZE_TOO_SMALL, errors::Size{capacity_});
    }
    buffer_[position_++] = c;
  });
}

}  // namespace tarvo::oss
