#pragma once

#include "infra/oss/kelOutputStream.hpp"
#include "infra/util/kelExtendedProperties.hpp"

#include <string>

namespace tarvo::test {

/// The bytes that `save` writes.
inline std::string savedBytes(const util::ExtendedProperties& properties) {
  class StringStream : public oss::OutputStream {
   public:
    using oss::OutputStream::write;
    void write(char c) override { bytes += c; }

    std::string bytes;
  };
  StringStream stream;
  properties.save(stream);
  return stream.bytes;
}

}  // namespace tarvo::test
