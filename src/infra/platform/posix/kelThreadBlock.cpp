#include "platform/kelThreadBlock.hpp"

#include <pthread.h>

#include <cstdlib>

// A thread's block is the value of a thread-specific key. The block is the value of a key, and not a
// thread_local object with a destructor. If there is no memory for the record of such a destructor, the C
// library ends the process. If there is no memory for the value of a key, pthread_setspecific reports the
// failure. The shared library is linked with "-z nodelete", so it stays loaded and the destructor of the key
// still exists if a thread ends after dlclose.

namespace tarvo::platform {
namespace {

// The library reads the following variables often. They have the TLS model initial-exec, because a variable
// of this model is read without a function call. If a program loads the library with dlopen, the C library
// has only little memory for variables of this model, so the block itself is on the heap.
[[gnu::tls_model("initial-exec")]] constinit thread_local ThreadBlock* usable = nullptr;
[[gnu::tls_model("initial-exec")]] constinit thread_local bool ended = false;

/// The key whose destructor the system calls with the block of a thread that ends.
class Key {
 public:
  Key() noexcept : made_(::pthread_key_create(&key_, &end) == 0) {}

  bool keep(ThreadBlock* block) const noexcept { return made_ && ::pthread_setspecific(key_, block) == 0; }

 private:
  static void end(void* data) noexcept {
    auto* const block = static_cast<ThreadBlock*>(data);
    usable = nullptr;
    ended = true;
    block->end();
    std::free(block);
  }

  pthread_key_t key_ = 0;
  bool made_;
};

bool keep(ThreadBlock* block) noexcept {
  static const Key key;
  return key.keep(block);
}

[[gnu::noinline]] ThreadBlock* firstUse() noexcept {
  if (ended) return nullptr;
  auto* const block = static_cast<ThreadBlock*>(std::calloc(1, sizeof(ThreadBlock)));
  if (block == nullptr) return nullptr;
  if (keep(block)) return usable = block;
  std::free(block);
  return nullptr;
}

}  // namespace

void* threadBlock(ThreadPart part, void (*atEnd)(void*) noexcept) noexcept {
  ThreadBlock* const block = usable != nullptr ? usable : firstUse();
  return block == nullptr ? nullptr : block->use(part, atEnd);
}

}  // namespace tarvo::platform
