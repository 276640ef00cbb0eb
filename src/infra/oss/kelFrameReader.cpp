#include "infra/oss/kelFrameReader.hpp"

#include "machine/kelByteOrder.hpp"
#include "oss/kelFrameQueue.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

namespace tarvo::oss {

FrameReader::FrameReader(unsigned long long limit) : limit_(limit) {}

FrameReader::~FrameReader() = default;

void FrameReader::append(const char* buffer, unsigned long long offset, unsigned long long length) {
  if (closed_ || length == 0) return;
  const unsigned long long dropped = std::min(drop_, length);
  bytes_.append(buffer + offset + dropped, static_cast<std::size_t>(length - dropped));
  drop_ -= dropped;
}

void FrameReader::close() {
  closed_ = true;
}

FrameReader::State FrameReader::found(State state, unsigned long long length, unsigned long long received) {
  state_ = state;
  length_ = length;
  received_ = received;
  return state;
}

FrameReader::State FrameReader::next() {
  used_ += std::exchange(frame_, 0);
  removeUsed(bytes_, used_);
  if (drop_ > 0) {
    return closed_ ? found(CLOSED_INSIDE, tooLarge_, tooLarge_ - drop_) : found(NEED_MORE, 0, 0);
  }
  const auto held = static_cast<std::size_t>(bytes_.size() - used_);
  if (!closed_ && held < lengthWordSize) return found(NEED_MORE, 0, 0);
  if (held == 0) return found(CLOSED_BETWEEN, 0, 0);
  const char* word = bytes_.data() + used_;
  std::array<char, lengthWordSize> padded{};
  if (held < lengthWordSize) {
    std::copy_n(word, held, padded.begin());
    word = padded.data();
  }
  const unsigned long long length = machine::bigEndianAt<std::uint32_t>(word);
  const unsigned long long arrived = held - std::min<unsigned long long>(held, lengthWordSize);
  if (length > limit_) return dropTooLarge(length, arrived);
  if (held >= lengthWordSize && arrived >= length) {
    frame_ = lengthWordSize + length;
    return found(FRAME, length, 0);
  }
  return closed_ ? found(CLOSED_INSIDE, length, arrived) : found(NEED_MORE, 0, 0);
}

/// Drops the payload bytes that have arrived; `append` drops the payload bytes that arrive later.
FrameReader::State FrameReader::dropTooLarge(unsigned long long length, unsigned long long arrived) {
  const unsigned long long dropped = std::min(arrived, length);
  used_ = std::min<unsigned long long>(used_ + lengthWordSize + dropped, bytes_.size());
  removeUsed(bytes_, used_);
  tooLarge_ = length;
  drop_ = length - dropped;
  return found(TOO_LARGE, length, 0);
}

const char* FrameReader::payload() const {
  return state_ == FRAME ? bytes_.data() + used_ + lengthWordSize : "";
}

unsigned long long FrameReader::length() const {
  return length_;
}

unsigned long long FrameReader::received() const {
  return received_;
}

std::string FrameReader::takeRest() {
  std::string rest = bytes_.substr(static_cast<std::size_t>(used_ + frame_));
  std::string().swap(bytes_);
  used_ = 0;
  frame_ = 0;
  found(NEED_MORE, 0, 0);
  return rest;
}

}  // namespace tarvo::oss
