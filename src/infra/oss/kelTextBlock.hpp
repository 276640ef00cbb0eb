#pragma once

#include "infra/oss/kelDataBuffer.hpp"

#include "text/kelWords.hpp"

#include <cstddef>
#include <cstdint>

/// The functions that change a DataBuffer's storage. After each of these functions the positions in the block
/// have the order that the comment of `TextBlock` shows.
namespace tarvo::oss {

/// Gives an empty block `capacity` zeros on the heap. Raises std::bad_alloc if there is no memory.
void takeZeroed(TextBlock& block, int capacity);

/// Releases the heap storage, if there is any, and makes the block empty. The storage is then the inline
/// bytes of the object, which are all 0.
void release(TextBlock& block);

/// Returns whether the capacity for `count` more bytes would fit into an int.
bool admits(const TextBlock& block, std::uint64_t count);

/// Returns whether `text` is inside the storage.
bool owns(const TextBlock& block, const char* text);

/// Returns the number of bytes from the position up to the first zero byte.
std::size_t tailLength(const TextBlock& block, int position);

inline bool onHeap(const TextBlock& block) {
  return block.bytes != block.inlineBytes.data();
}

/// Returns whether there is room for `count` more bytes after the text and all bytes after the text are 0.
inline bool endsInZeros(const TextBlock& block, std::size_t count) {
  return count <= static_cast<std::size_t>(block.capacity - block.length) && block.written <= block.length;
}

/// Inserts `count` bytes. Returns false if the capacity would be too large or if there is no memory.
bool insert(TextBlock& block, int position, const char* text, std::size_t count);

/// Does the same as `insert` at the end of the text, for at least one byte.
bool appendAny(TextBlock& block, const char* text, std::size_t count);

/// Does the same as `appendAny`, with a fast path for short texts. If zeros follow the text of the buffer, as
/// they usually do, an append moves no bytes, even if the added text is a part of the buffer. The function is
/// inline because copying a short text takes less time than a call.
[[gnu::always_inline]] inline bool append(TextBlock& block, const char* text, std::size_t count) {
  if (count > text::shortPiece || !endsInZeros(block, count)) return appendAny(block, text, count);
  char* const end = block.bytes + block.length;
  block.length = block.written = block.length + static_cast<int>(count);
  text::moveShort(end, text, count);
  return true;
}

/// Makes room for `count` bytes at the end of the text and returns the address of the room, or null if there
/// is no memory. The caller writes the bytes, none of which may be 0. When the function returns, the length
/// of the text already includes the `count` bytes, and zeros follow them.
char* openAtEnd(TextBlock& block, int count);

}  // namespace tarvo::oss
