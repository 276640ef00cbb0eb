#include "platform/kelThreadBlock.hpp"

namespace tarvo::platform {
namespace {

/// Trivially destructible, so that it can still be looked at when the thread's other objects are gone.
struct Block {
  alignas(std::max_align_t) unsigned char bytes[threadBlockSize];
  bool ended;
};

constinit thread_local Block block{};

/// The block while it may be used, which is asked for often: a variable of this model is found without a call, and
/// one pointer always has a place among those.
[[gnu::tls_model("initial-exec")]] constinit thread_local unsigned char* usable = nullptr;

struct ThreadEnd {
  explicit ThreadEnd(void (*atEnd)(void*) noexcept) noexcept : atEnd_(atEnd) {}
  ThreadEnd(const ThreadEnd&) = delete;
  ThreadEnd& operator=(const ThreadEnd&) = delete;
  ~ThreadEnd() {
    block.ended = true;
    usable = nullptr;
    atEnd_(block.bytes);
  }

 private:
  void (*atEnd_)(void*) noexcept;
};

[[gnu::noinline]] unsigned char* firstUse(void (*atEnd)(void*) noexcept) noexcept {
  if (block.ended) return nullptr;
  static const thread_local ThreadEnd end(atEnd);
  return usable = block.bytes;
}

}  // namespace

void* threadBlock(void (*atEnd)(void*) noexcept) noexcept {
  return usable != nullptr ? usable : firstUse(atEnd);
}

}  // namespace tarvo::platform
