#include "platform/kelThreadBlock.hpp"

#include <windows.h>

#include <cstdlib>

// A thread's block is in a fiber-local slot, whose callback is called when any thread ends. A thread_local
// object is not used, because this compiler's runtime releases a thread's objects before it destroys them.
// The library does not use the notifications about threads that its entry point could receive, because they
// are switched off.

namespace tarvo::platform {
namespace {

/// The value of a thread's slot after its block has been released.
ThreadBlock pastTheEnd{};

/// Two slots of the system. The first slot has a callback, which receives a thread's block when the thread
/// ends. The library can read the second slot until the thread has ended.
class Slots {
 public:
  Slots() noexcept : looked_(::TlsAlloc()), calling_(::FlsAlloc(&end)) {
    // The callback must stay loaded, even if the program unloads the library.
    HMODULE library = nullptr;
    ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                         reinterpret_cast<const wchar_t*>(&pastTheEnd), &library);
  }

  ThreadBlock* find() const noexcept { return static_cast<ThreadBlock*>(::TlsGetValue(looked_)); }

  bool keep(ThreadBlock* block) const noexcept {
    if (::TlsSetValue(looked_, block) == 0) return false;
    if (::FlsSetValue(calling_, block) != 0) return true;
    ::TlsSetValue(looked_, nullptr);
    return false;
  }

 private:
  static void WINAPI end(void* data) noexcept;

  DWORD looked_;
  DWORD calling_;
};

const Slots& slots() noexcept {
  static const Slots made;
  return made;
}

void WINAPI Slots::end(void* data) noexcept {
  auto* const block = static_cast<ThreadBlock*>(data);
  ::TlsSetValue(slots().looked_, &pastTheEnd);
  block->end();
  std::free(block);
}

ThreadBlock* makeBlock() noexcept {
  auto* const block = static_cast<ThreadBlock*>(std::calloc(1, sizeof(ThreadBlock)));
  if (block == nullptr) return nullptr;
  if (slots().keep(block)) return block;
  std::free(block);
  return nullptr;
}

}  // namespace

void* threadBlock(ThreadPart part, void (*atEnd)(void*) noexcept) noexcept {
  // Reading a slot sets the last error. The function restores the last error, because the caller may read it
  // next.
  const DWORD error = ::GetLastError();
  ThreadBlock* block = slots().find();
  if (block == nullptr) block = makeBlock();
  ::SetLastError(error);
  return block == nullptr || block == &pastTheEnd ? nullptr : block->use(part, atEnd);
}

}  // namespace tarvo::platform
