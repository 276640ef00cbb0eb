#include "oss/kelTextBlock.hpp"

#include "platform/kelLargePages.hpp"
#include "text/kelScratch.hpp"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <new>

namespace tarvo::oss {
namespace {

// The additional capacity that a text gets when it outgrows its storage.
constexpr int spareCapacity = 4096;
// If more than this number of bytes after a text must be zero, the block is allocated with calloc. Memory
// from calloc is already zero. Therefore most of a block is never written if the requested size is far above
// the length of the text.
constexpr std::size_t largeSpare = 65536;
constexpr int largestCapacity = std::numeric_limits<int>::max();
// A text that outgrows a block of this size probably grows further. Therefore the next block is four times as
// large instead of twice, unless the block would be larger than `largestAhead`. Growing to four times the
// size avoids half of the copies. The larger block does not need more memory at once, because the system
// provides a page of memory only when the program writes to the page.
constexpr std::size_t growsAheadFrom = std::size_t{32} << 10U;
constexpr std::size_t largestAhead = std::size_t{32} << 20U;

std::size_t lengthUpTo(const char* text, std::size_t limit) {
  const void* const end = std::memchr(text, '\0', limit);
  return end == nullptr ? limit : static_cast<std::size_t>(static_cast<const char*>(end) - text);
}

char* allocateZeroed(std::size_t size) {
  return static_cast<char*>(std::calloc(size, 1));
}

bool fits(const TextBlock& block, int count) {
  return count <= block.capacity - block.length;
}

/// Returns the number of bytes before the position, or before the first zero byte if the zero byte precedes
/// the position.
std::size_t headLength(const TextBlock& block, int position) {
  const int known = std::min(block.zeroFree, position);
  return static_cast<std::size_t>(known) +
         lengthUpTo(block.bytes + known, static_cast<std::size_t>(position - known));
}

/// Moves the text out of the inline store and zeroes the store, which must be all 0 while the heap is in use.
void leaveInlineBytes(TextBlock& block, char* target) {
  std::memcpy(target, block.inlineBytes.data(), static_cast<std::size_t>(block.written));
  std::memset(block.inlineBytes.data(), 0, static_cast<std::size_t>(block.written));
}

/// Enlarges the heap block to at least twice its size, or allocates a heap block of the needed size. The
/// block keeps the bytes that were written before; its other bytes are undefined.
bool enlarge(TextBlock& block, std::size_t needed) {
  char* const old = onHeap(block) ? block.bytes : nullptr;
  const std::size_t times = block.size >= growsAheadFrom && 4 * block.size <= largestAhead ? 4 : 2;
  const std::size_t ahead = std::min(times * block.size, static_cast<std::size_t>(largestCapacity) + 1);
  std::size_t size = std::max(needed, ahead);
  void* grown = std::realloc(old, size);
  if (grown == nullptr && size > needed) grown = std::realloc(old, size = needed);
  if (grown == nullptr) return false;
  if (old == nullptr) leaveInlineBytes(block, static_cast<char*>(grown));
  block.bytes = static_cast<char*>(grown);
  block.size = size;
  platform::preferLargePages(grown, size);
  return true;
}

/// Moves the text to a heap block of the needed size. In the new block the bytes after the text are 0, and
/// nothing has accessed them.
bool moveToZeroed(TextBlock& block, std::size_t needed) {
  char* const zeroed = allocateZeroed(needed);
  if (zeroed == nullptr) return false;
  if (onHeap(block)) {
    std::memcpy(zeroed, block.bytes, static_cast<std::size_t>(block.written));
    std::free(block.bytes);
  } else {
    leaveInlineBytes(block, zeroed);
  }
  block.bytes = zeroed;
  block.size = needed;
  return true;
}

/// Grows the block, makes a gap of `added` bytes in the text and returns the gap; returns null if there is no
/// memory. `count` is the requested number of bytes; `added` is the number of bytes before their first zero
/// byte. The new capacity is length + count + 4096. The size of the block at least doubles, so a text that is
/// built of many pieces is copied only a few times.
char* growAround(TextBlock& block, int position, int count, std::size_t added) {
  const int capacity = block.length + count + spareCapacity;
  const std::size_t needed = static_cast<std::size_t>(capacity) + 1;
  const std::size_t head = headLength(block, position);
  const std::size_t tail = tailLength(block, position);
  const std::size_t total = head + added + tail;
  std::size_t unknown = needed;  // from here on the bytes are known to be 0
  if (needed - total > largeSpare) {
    if (!moveToZeroed(block, needed)) return nullptr;
    unknown = std::max(total, static_cast<std::size_t>(block.written));
  } else if (needed > block.size && !enlarge(block, needed)) {
    return nullptr;
  }
  std::memmove(block.bytes + head + added, block.bytes + position, tail);
  std::memset(block.bytes + total, 0, unknown - total);
  block.capacity = capacity;
  block.length = block.written = block.zeroFree = static_cast<int>(total);
  return block.bytes + head;
}

/// Inserts into a block with enough capacity. The insert moves the tail: the bytes from the position up to
/// the first zero byte, not up to the length. If the text contains a zero byte, the insert does not move the
/// bytes after the zero byte. If `clear(true)` kept old bytes after the end of the text, the insert moves
/// these bytes. Other bytes after the new text do not change. If a tail that contains old bytes does not fit,
/// the insert cuts the tail.
void insertFitting(TextBlock& block, int position, const char* text, int count) {
  char* const gap = block.bytes + position;
  const int tail = std::min(static_cast<int>(tailLength(block, position)), block.capacity - position - count);
  if (tail > 0) std::memmove(gap + count, gap, static_cast<std::size_t>(tail));
  std::memcpy(gap, text, static_cast<std::size_t>(count));
  block.length += count;
  block.written = std::max(block.written, position + count + tail);
  block.zeroFree = std::min(block.zeroFree, position);
}

/// Inserts and grows the block. The result consists of the bytes before the position, the new text and the
/// tail, each up to its first zero byte. Zeros follow the result.
bool insertGrowing(TextBlock& block, int position, const char* text, int count) {
  const std::size_t added = lengthUpTo(text, static_cast<std::size_t>(count));
  char* const gap = growAround(block, position, count, added);
  if (gap == nullptr) return false;
  std::memcpy(gap, text, added);
  return true;
}

bool insertForeign(TextBlock& block, int position, const char* text, int count) {
  if (!fits(block, count)) return insertGrowing(block, position, text, count);
  insertFitting(block, position, text, count);
  return true;
}

/// Inserts a text that is inside the storage. The function copies the text first, because the insert changes
/// the storage.
bool insertCopied(TextBlock& block, int position, const char* text, int count) {
  const std::size_t used = fits(block, count) ? static_cast<std::size_t>(count)
                                              : lengthUpTo(text, static_cast<std::size_t>(count));
  text::Scratch scratch;
  char* const copy = scratch.room(used + 1);
  if (copy == nullptr) return false;
  std::memcpy(copy, text, used);
  copy[used] = '\0';
  return insertForeign(block, position, copy, count);
}

}  // namespace

void takeZeroed(TextBlock& block, int capacity) {
  const std::size_t size = static_cast<std::size_t>(capacity) + 1;
  char* const zeroed = allocateZeroed(size);
  if (zeroed == nullptr) throw std::bad_alloc();
  block.bytes = zeroed;
  block.size = size;
  block.capacity = capacity;
}

void release(TextBlock& block) {
  if (onHeap(block)) {
    std::free(block.bytes);
  } else {
    std::memset(block.inlineBytes.data(), 0, static_cast<std::size_t>(block.written));
  }
  block.bytes = block.inlineBytes.data();
  block.capacity = TextBlock::inlineCapacity;
  block.length = block.written = block.zeroFree = 0;
  block.size = 0;
}

bool admits(const TextBlock& block, std::uint64_t count) {
  const int most = std::max(block.capacity - block.length, largestCapacity - spareCapacity - block.length);
  return count <= static_cast<std::uint64_t>(most);
}

bool owns(const TextBlock& block, const char* text) {
  const std::less<> before;
  return !before(text, block.bytes) && !before(block.bytes + block.capacity, text);
}

std::size_t tailLength(const TextBlock& block, int position) {
  return position < block.written ? std::strlen(block.bytes + position) : 0;
}

bool insert(TextBlock& block, int position, const char* text, std::size_t count) {
  if (count < 1) return true;
  if (!admits(block, count)) return false;
  const int added = static_cast<int>(count);
  position = std::clamp(position, 0, block.length);
  return owns(block, text) ? insertCopied(block, position, text, added)
                           : insertForeign(block, position, text, added);
}

bool appendAny(TextBlock& block, const char* text, std::size_t count) {
  if (!endsInZeros(block, count)) return insert(block, block.length, text, count);
  std::memmove(block.bytes + block.length, text, count);
  block.length = block.written = block.length + static_cast<int>(count);
  return true;
}

char* openAtEnd(TextBlock& block, int count) {
  if (!fits(block, count)) return growAround(block, block.length, count, static_cast<std::size_t>(count));
  char* const end = block.bytes + block.length;
  block.length = block.written = block.length + count;
  return end;
}

}  // namespace tarvo::oss
