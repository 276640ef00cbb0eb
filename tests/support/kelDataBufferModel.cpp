#include "support/kelDataBufferModel.hpp"

#include <cstddef>
#include <cstring>
#include <string>

namespace tarvo::test {

DataBufferModel::DataBufferModel(int size) {
  if (size <= 4096) return;
  capacity_ = size;
  heap_.assign(static_cast<std::size_t>(size) + 1, '\0');
}

DataBufferModel::DataBufferModel(const DataBufferModel& other) {
  if (other.capacity_ > 4096) {
    capacity_ = other.capacity_;
    length_ = other.length_;
    heap_.assign(other.heap_.size(), '\0');
    for (std::size_t i = 0; other.heap_[i] != '\0'; ++i) heap_[i] = other.heap_[i];
  } else {
    insert(0, Bytes(other.inline_.begin(), other.inline_.begin() + other.length_));
  }
}

void DataBufferModel::insert(int position, const Bytes& text) {
  const int n = static_cast<int>(text.size());
  if (n < 1) return;
  if (position < 0) position = 0;
  if (position > length_) position = length_;
  if (length_ + n <= capacity_) {
    fit(position, text);
  } else {
    grow(position, text);
  }
}

void DataBufferModel::clear(bool keepContents) {
  if (!keepContents) inline_.assign(4097, '\0');
  inline_[0] = '\0';
  heap_.clear();
  capacity_ = 4096;
  length_ = 0;
}

void DataBufferModel::fit(int position, const Bytes& text) {
  char* const store = heap_.empty() ? inline_.data() : heap_.data();
  const int n = static_cast<int>(text.size());
  int tail = 0;
  while (store[position + tail] != '\0') ++tail;
  while (position + n + tail > capacity_) --tail;
  for (int i = tail - 1; i >= 0; --i) store[position + n + i] = store[position + i];
  for (int i = 0; i < n; ++i) store[position + i] = text[static_cast<std::size_t>(i)];
  length_ += n;
}

void DataBufferModel::grow(int position, const Bytes& text) {
  const Bytes old = store();
  const int newCapacity = length_ + static_cast<int>(text.size()) + 4096;
  std::string block(old.begin(), old.begin() + position);
  block.resize(std::strlen(block.c_str()));
  for (std::size_t i = 0; i < text.size() && text[i] != '\0'; ++i) block += text[i];
  block += old.data() + position;
  clear(false);
  length_ = static_cast<int>(block.size());
  capacity_ = newCapacity;
  heap_.assign(block.begin(), block.end());
  heap_.resize(static_cast<std::size_t>(newCapacity) + 1, '\0');
}

}  // namespace tarvo::test
