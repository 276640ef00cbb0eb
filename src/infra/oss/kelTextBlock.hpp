#pragma once

#include "infra/oss/kelDataBuffer.hpp"

#include "text/kelWords.hpp"

#include <cstddef>
#include <cstdint>

/// The changes of a DataBuffer's storage. Each one keeps the order of the marks that `TextBlock` shows.
namespace tarvo::oss {

/// Gives an empty block `capacity` zeros on the heap. Raises std::bad_alloc.
void takeZeroed(TextBlock& block, int capacity);

/// Returns to the bytes inside the block, all of them 0.
void release(TextBlock& block);

/// Whether the capacity for `count` more bytes is still an int.
bool admits(const TextBlock& block, std::uint64_t count);

/// Whether `text` is inside the storage.
bool owns(const TextBlock& block, const char* text);

/// The number of bytes from the position up to the first 0.
std::size_t tailLength(const TextBlock& block, int position);

inline bool onHeap(const TextBlock& block) {
  return block.bytes != block.inlineBytes.data();
}

/// Whether there is room for `count` more bytes after the text and all of it is 0.
inline bool endsInZeros(const TextBlock& block, std::size_t count) {
  return count <= static_cast<std::size_t>(block.capacity - block.length) && block.written <= block.length;
}

/// Inserts `count` bytes. Returns false if no capacity suffices or if there is no memory.
bool insert(TextBlock& block, int position, const char* text, std::size_t count);

/// As `insert` at the end, for at least one byte.
bool appendAny(TextBlock& block, const char* text, std::size_t count);

/// As `appendAny`. If zeros follow the text, as they usually do, nothing has to move, even if the added text
/// is a part of the buffer. Inline, since a short text takes less time than a call.
[[gnu::always_inline]] inline bool append(TextBlock& block, const char* text, std::size_t count) {
  if (count > text::shortPiece || !endsInZeros(block, count)) return appendAny(block, text, count);
  char* const end = block.bytes + block.length;
  block.length = block.written = block.length + static_cast<int>(count);
  text::moveShort(end, text, count);
  return true;
}

/// Makes room at the end for `count` bytes, which the caller writes and of which none is 0. The length
/// includes them already, and zeros follow the room. Null if there is no memory.
char* openAtEnd(TextBlock& block, int count);

}  // namespace tarvo::oss
