#include "infra/oss/kelFrameWriter.hpp"

#include "machine/kelByteOrder.hpp"
#include "oss/kelFrameQueue.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>

namespace tarvo::oss {

FrameWriter::FrameWriter(unsigned long long limit) : limit_(limit) {}

FrameWriter::~FrameWriter() = default;

bool FrameWriter::add(const char* buffer, unsigned long long offset, unsigned long long length) {
  const unsigned long long waiting = this->length();
  if (length > std::numeric_limits<std::uint32_t>::max() || waiting > limit_ ||
      lengthWordSize + length > limit_ - waiting) {
    return false;
  }
  std::array<char, lengthWordSize> word;
  machine::putBigEndian(word.data(), static_cast<std::uint32_t>(length));
  const std::size_t before = bytes_.size();
  bytes_.append(word.data(), word.size());
  try {
    if (length > 0) bytes_.append(buffer + offset, static_cast<std::size_t>(length));
  } catch (...) {
    bytes_.resize(before);
    throw;
  }
  return true;
}

const char* FrameWriter::bytes() const {
  return bytes_.data() + used_;
}

unsigned long long FrameWriter::length() const {
  return bytes_.size() - used_;
}

void FrameWriter::remove(unsigned long long count) {
  used_ += std::min(count, length());
  removeUsed(bytes_, used_);
}

}  // namespace tarvo::oss
