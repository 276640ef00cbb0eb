#pragma once

#include <vector>

namespace tarvo::test {

/// What a DataBuffer is, step by step, with raw stores that are compared byte for byte. Slow on purpose: every
/// growth allocates and copies, and every length is measured.
class DataBufferModel {
 public:
  using Bytes = std::vector<char>;

  DataBufferModel() = default;
  explicit DataBufferModel(int size);
  DataBufferModel(const DataBufferModel& other);
  DataBufferModel& operator=(const DataBufferModel&) = delete;
  ~DataBufferModel() = default;

  int length() const { return length_; }
  int capacity() const { return capacity_; }
  /// All bytes up to the capacity, and the one behind it.
  const Bytes& store() const { return heap_.empty() ? inline_ : heap_; }

  void insert(int position, const Bytes& text);
  void clear(bool keepContents);

 private:
  void fit(int position, const Bytes& text);
  void grow(int position, const Bytes& text);

  Bytes inline_ = Bytes(4097, '\0');
  Bytes heap_;
  int capacity_ = 4096;
  int length_ = 0;
};

}  // namespace tarvo::test
