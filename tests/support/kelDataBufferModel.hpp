#pragma once

#include <vector>

namespace tarvo::test {

/// A slow model of DataBuffer. Its storage is compared with that of a DataBuffer byte by byte. Each growth
/// allocates and copies, and each length is counted again from the bytes.
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
  /// All bytes up to the capacity, and the byte after it.
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
