#include "platform/kelThreadBlock.hpp"

#include <pthread.h>

#include <cstdlib>

// A thread's block is the value of a thread-specific key. A thread_local object with a destructor is not
// used, because the C library ends the process if it cannot allocate the record of such a destructor; setting
// the value of a key reports the failure. The shared library is linked with "-z nodelete", so it stays loaded
// and the destructor of the key still exists if a thread ends after dlclose.

namespace tarvo::platform {
namespace {

struct Block {
  alignas(std::max_align_t) unsigned char bytes[threadBlockSize];
  void (*atEnd)(void*) noexcept;
};

// These variables are read often, so they have the TLS model in which a variable is accessed without a
// function call. The C library reserves only little memory for such variables of libraries that are loaded
// later, so the block itself is on the heap.
[[gnu::tls_model("initial-exec")]] constinit thread_local unsigned char* usable = nullptr;
[[gnu::tls_model("initial-exec")]] constinit thread_local bool ended = false;

/// The key whose destructor the system calls with the block of a thread that ends.
class Key {
 public:
  Key() noexcept : made_(::pthread_key_create(&key_, &end) == 0) {}

  bool keep(Block* block) const noexcept { return made_ && ::pthread_setspecific(key_, block) == 0; }

 private:
  static void end(void* data) noexcept {
    auto* const block = static_cast<Block*>(data);
    usable = nullptr;
    ended = true;
    block->atEnd(block->bytes);
    std::free(block);
  }

  pthread_key_t key_ = 0;
  bool made_;
};

bool keep(Block* block) noexcept {
  static const Key key;
  return key.keep(block);
}

[[gnu::noinline]] unsigned char* firstUse(void (*atEnd)(void*) noexcept) noexcept {
  if (ended) return nullptr;
  auto* const block = static_cast<Block*>(std::calloc(1, sizeof(Block)));
  if (block == nullptr) return nullptr;
  block->atEnd = atEnd;
  if (keep(block)) return usable = block->bytes;
  std::free(block);
  return nullptr;
}

}  // namespace

void* threadBlock(void (*atEnd)(void*) noexcept) noexcept {
  return usable != nullptr ? usable : firstUse(atEnd);
}

}  // namespace tarvo::platform
