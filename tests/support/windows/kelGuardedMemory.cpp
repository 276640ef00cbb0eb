#include "support/kelGuardedMemory.hpp"

#include <windows.h>

#include <system_error>

namespace tarvo::test {
namespace {

std::size_t pageSize() {
  SYSTEM_INFO info = {};
  ::GetSystemInfo(&info);
  return info.dwPageSize;
}

void require(bool done, const char* what) {
  if (!done) throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(), what);
}

}  // namespace

GuardedMemory::GuardedMemory(std::size_t size)
    : front_(nullptr), size_((size + pageSize() - 1) / pageSize() * pageSize()) {
  void* const all = ::VirtualAlloc(nullptr, size_ + 2 * pageSize(), MEM_RESERVE, PAGE_NOACCESS);
  require(all != nullptr, "VirtualAlloc");
  front_ = static_cast<char*>(all) + pageSize();
  // Memory that is reserved but not committed cannot be accessed.
  require(::VirtualAlloc(front_, size_, MEM_COMMIT, PAGE_READWRITE) != nullptr, "VirtualAlloc");
}

GuardedMemory::~GuardedMemory() {
  ::VirtualFree(front_ - pageSize(), 0, MEM_RELEASE);
}

}  // namespace tarvo::test
