#include "platform/kelThreadBlock.hpp"

namespace tarvo::platform {
namespace {

/// Trivially destructible, so that it can still be looked at when the thread's other objects are gone.
struct Block {
  alignas(std::max_align_t) unsigned char bytes[threadBlockSize];
  bool ended;
};

constinit thread_local Block block{};

struct ThreadEnd {
  explicit ThreadEnd(void (*atEnd)(void*) noexcept) noexcept : atEnd_(atEnd) {}
  ThreadEnd(const ThreadEnd&) = delete;
  ThreadEnd& operator=(const ThreadEnd&) = delete;
  ~ThreadEnd() {
    block.ended = true;
    atEnd_(block.bytes);
  }

 private:
  void (*atEnd_)(void*) noexcept;
};

}  // namespace

void* threadBlock(void (*atEnd)(void*) noexcept) noexcept {
  if (block.ended) return nullptr;
  static const thread_local ThreadEnd end(atEnd);
  return block.bytes;
}

}  // namespace tarvo::platform
