#include "platform/kelThreadBlock.hpp"

#include <windows.h>

#include <cstdlib>

// Not by the language's own means: this compiler's runtime takes a thread's objects away before it destroys them. Nor by
// the library's entry point, which is told of no thread's end. The system calls back from the slots of its fibers when
// any thread ends.

namespace tarvo::platform {
namespace {

struct Block {
  alignas(std::max_align_t) unsigned char bytes[threadBlockSize];
  void (*atEnd)(void*) noexcept;
};

/// What the thread's slot holds once the block is gone.
Block pastTheEnd{};

/// The system's slots: one that calls back with a thread's block, and one that can be looked at until the very end.
class Slots {
 public:
  Slots() noexcept : looked_(::TlsAlloc()), calling_(::FlsAlloc(&end)) {
    // The code that is called back must stay where it is, whoever unloads the library.
    HMODULE library = nullptr;
    ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                         reinterpret_cast<const wchar_t*>(&pastTheEnd), &library);
  }

  Block* find() const noexcept { return static_cast<Block*>(::TlsGetValue(looked_)); }

  bool keep(Block* block) const noexcept {
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
  auto* const block = static_cast<Block*>(data);
  ::TlsSetValue(slots().looked_, &pastTheEnd);
  block->atEnd(block->bytes);
  std::free(block);
}

Block* makeBlock(void (*atEnd)(void*) noexcept) noexcept {
  auto* const block = static_cast<Block*>(std::calloc(1, sizeof(Block)));
  if (block == nullptr) return nullptr;
  block->atEnd = atEnd;
  if (slots().keep(block)) return block;
  std::free(block);
  return nullptr;
}

}  // namespace

void* threadBlock(void (*atEnd)(void*) noexcept) noexcept {
  // Asking a slot sets the last error, which a caller may be about to read.
  const DWORD error = ::GetLastError();
  Block* block = slots().find();
  if (block == nullptr) block = makeBlock(atEnd);
  ::SetLastError(error);
  return block == nullptr || block == &pastTheEnd ? nullptr : block->bytes;
}

}  // namespace tarvo::platform
