#include "support/kelAllocations.hpp"

#include "support/kelSystemNew.hpp"

#include <new>

namespace tarvo::test {
namespace {

struct ThreadState {
  std::size_t made = 0;
  std::size_t released = 0;
  std::size_t grantsLeft = 0;
  bool armed = false;
  bool refused = false;
  bool inside = false;
};

// Constant-initialised: operator new runs before and behind everything else of a thread.
constinit thread_local ThreadState state;

// The standard library's array forms come back through the program's single ones; that is the same request
// still.
class Inside {
 public:
  Inside() noexcept { state.inside = true; }
  Inside(const Inside&) = delete;
  Inside& operator=(const Inside&) = delete;
  ~Inside() { state.inside = false; }
};

bool refusesThis() noexcept {
  if (!state.armed || state.refused) return false;
  if (state.grantsLeft > 0) {
    --state.grantsLeft;
    return false;
  }
  state.refused = true;
  return true;
}

using New = void*(std::size_t);
using Delete = void(void*) noexcept;

void* request(New& systemForm, std::size_t size) {
  if (state.inside) return systemForm(size);
  if (refusesThis()) throw std::bad_alloc();
  const Inside inside;
  void* block = systemForm(size);
  ++state.made;
  return block;
}

void* requestOrNull(New& systemForm, std::size_t size) noexcept {
  try {
    return request(systemForm, size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void giveBack(Delete& systemForm, void* block) noexcept {
  if (block == nullptr) return;
  if (state.inside) return systemForm(block);
  const Inside inside;
  ++state.released;
  systemForm(block);
}

}  // namespace

AllocationCount::AllocationCount() noexcept : madeBefore_(state.made), releasedBefore_(state.released) {}

std::size_t AllocationCount::made() const noexcept {
  return state.made - madeBefore_;
}

std::size_t AllocationCount::released() const noexcept {
  return state.released - releasedBefore_;
}

std::ptrdiff_t AllocationCount::outstanding() const noexcept {
  return static_cast<std::ptrdiff_t>(made()) - static_cast<std::ptrdiff_t>(released());
}

FailingAllocation::FailingAllocation(std::size_t nth) noexcept {
  state.grantsLeft = nth - 1;
  state.refused = false;
  state.armed = true;
}

FailingAllocation::~FailingAllocation() {
  state.armed = false;
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): asked of an object
bool FailingAllocation::happened() const noexcept {
  return state.refused;
}

}  // namespace tarvo::test

using tarvo::test::giveBack;
using tarvo::test::request;
using tarvo::test::requestOrNull;
using tarvo::test::systemDelete;
using tarvo::test::systemDeleteArray;
using tarvo::test::systemNew;
using tarvo::test::systemNewArray;

void* operator new(std::size_t size) {
  return request(systemNew, size);
}
void* operator new[](std::size_t size) {
  return request(systemNewArray, size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return requestOrNull(systemNew, size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return requestOrNull(systemNewArray, size);
}
void operator delete(void* block) noexcept {
  giveBack(systemDelete, block);
}
void operator delete[](void* block) noexcept {
  giveBack(systemDeleteArray, block);
}
void operator delete(void* block, std::size_t) noexcept {
  giveBack(systemDelete, block);
}
void operator delete[](void* block, std::size_t) noexcept {
  giveBack(systemDeleteArray, block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
  giveBack(systemDelete, block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
  giveBack(systemDeleteArray, block);
}
