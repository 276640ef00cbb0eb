#include "support/kelGuardedMemory.hpp"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace tarvo::test {
namespace {

std::size_t pageSize() {
  return static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

void require(bool done, const char* what) {
  if (!done) throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

GuardedMemory::GuardedMemory(std::size_t size)
    : front_(nullptr), size_((size + pageSize() - 1) / pageSize() * pageSize()) {
  void* const all = ::mmap(nullptr, size_ + 2 * pageSize(), PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  require(all != MAP_FAILED, "mmap");
  front_ = static_cast<char*>(all) + pageSize();
  require(::mprotect(front_, size_, PROT_READ | PROT_WRITE) == 0, "mprotect");
}

GuardedMemory::~GuardedMemory() {
  ::munmap(front_ - pageSize(), size_ + 2 * pageSize());
}

}  // namespace tarvo::test
