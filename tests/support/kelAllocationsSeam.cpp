#include "support/kelAllocationsSeam.hpp"

#include "support/kelSystemNew.hpp"

#include <unicode/uclean.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <utility>

namespace tarvo::test {
namespace {

struct ThreadState {
  std::size_t made = 0;
  std::size_t bytes = 0;
  std::size_t released = 0;
  std::size_t requests = 0;  // since a failure was armed
  std::size_t failsAt = 0;   // 0: nothing fails
  std::size_t limit = SIZE_MAX;
  Shortage shortage = Shortage::once;
  bool refused = false;
  bool granted = false;
  bool inside = false;
  void (*action)() = nullptr;
};

// This object is constant-initialised, because a thread requests memory before its other thread_local objects
// are constructed and after they are destroyed.
constinit thread_local ThreadState state;
constinit std::atomic<std::ptrdiff_t> held = 0;

// Makes nested calls count as one request: the standard library's array forms of operator new call the single
// forms, and these call malloc.
class Inside {
 public:
  Inside() noexcept : before_(state.inside) { state.inside = true; }
  Inside(const Inside&) = delete;
  Inside& operator=(const Inside&) = delete;
  ~Inside() { state.inside = before_; }

 private:
  bool before_;
};

void act() {
  if (state.action == nullptr) return;
  void (*const action)() = std::exchange(state.action, nullptr);
  action();
  state.action = action;
}

bool refuses(std::size_t size) noexcept {
  act();
  if (state.granted) return false;
  if (size >= state.limit) return true;
  if (state.failsAt == 0) return false;
  ++state.requests;
  const bool fails =
      state.shortage == Shortage::once ? state.requests == state.failsAt : state.requests >= state.failsAt;
  state.refused = state.refused || fails;
  return fails;
}

void noteMade(std::size_t size) noexcept {
  ++state.made;
  state.bytes += size;
  held.fetch_add(1, std::memory_order_relaxed);
}

void noteReleased() noexcept {
  ++state.released;
  held.fetch_sub(1, std::memory_order_relaxed);
}

using New = void*(std::size_t);
using Delete = void(void*) noexcept;

void* request(New& systemForm, std::size_t size) {
  if (state.inside) return systemForm(size);
  if (refuses(size)) throw std::bad_alloc();
  const Inside inside;
  void* block = systemForm(size);
  noteMade(size);
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
  noteReleased();
  systemForm(block);
}

/// Makes ICU allocate through the malloc at the end of this file.
void lendToIcu() {
  UErrorCode status = U_ZERO_ERROR;
  u_setMemoryFunctions(
      nullptr, [](const void*, std::size_t size) { return std::malloc(size); },
      [](const void*, void* block, std::size_t size) { return std::realloc(block, size); },
      [](const void*, void* block) { std::free(block); }, &status);
  if (U_FAILURE(status)) throw std::runtime_error("ICU does not take the allocator");
}

const bool lent = (lendToIcu(), true);

}  // namespace

AllocationAction::AllocationAction(void (*action)()) noexcept {
  state.action = action;
}

AllocationAction::~AllocationAction() {
  state.action = nullptr;
}

AllocationCount::AllocationCount() noexcept
    : madeBefore_(state.made), bytesBefore_(state.bytes), releasedBefore_(state.released) {}

std::size_t AllocationCount::made() const noexcept {
  return state.made - madeBefore_;
}

std::size_t AllocationCount::bytes() const noexcept {
  return state.bytes - bytesBefore_;
}

std::size_t AllocationCount::released() const noexcept {
  return state.released - releasedBefore_;
}

std::ptrdiff_t AllocationCount::outstanding() const noexcept {
  return static_cast<std::ptrdiff_t>(made()) - static_cast<std::ptrdiff_t>(released());
}

std::ptrdiff_t blocksHeld() noexcept {
  return held.load(std::memory_order_relaxed);
}

FailingAllocation::FailingAllocation(std::size_t nth, Shortage shortage) noexcept {
  state.requests = 0;
  state.refused = false;
  state.shortage = shortage;
  state.failsAt = nth;
}

FailingAllocation::~FailingAllocation() {
  state.failsAt = 0;
}

// NOLINTBEGIN(readability-convert-member-functions-to-static): callers use an object
bool FailingAllocation::happened() const noexcept {
  return state.refused;
}

std::size_t FailingAllocation::requests() const noexcept {
  return state.requests;
}
// NOLINTEND(readability-convert-member-functions-to-static)

AllocationLimit::AllocationLimit(std::size_t size) noexcept {
  state.limit = size;
}

AllocationLimit::~AllocationLimit() {
  state.limit = SIZE_MAX;
}

AllocationsGranted::AllocationsGranted() noexcept : before_(state.granted) {
  state.granted = true;
}

AllocationsGranted::~AllocationsGranted() {
  state.granted = before_;
}

bool refusesToOthers(std::size_t size) noexcept {
  return !state.inside && refuses(size);
}

void restartIcu() {
  u_cleanup();
  lendToIcu();  // u_cleanup has reset ICU's memory functions
}

}  // namespace tarvo::test

using tarvo::test::giveBack;
using tarvo::test::noteMade;
using tarvo::test::noteReleased;
using tarvo::test::refuses;
using tarvo::test::request;
using tarvo::test::requestOrNull;
using tarvo::test::systemDelete;
using tarvo::test::systemDeleteArray;
using tarvo::test::systemNew;
using tarvo::test::systemNewArray;

// The linker replaces calls of the C functions by calls of these functions, and calls of the __real functions
// by calls of the C functions.
// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void __real_free(void* block);

void* __wrap_malloc(std::size_t size) {
  if (refuses(size)) return nullptr;
  const tarvo::test::Inside inside;
  void* const block = __real_malloc(size);
  if (block != nullptr) noteMade(size);
  return block;
}

void* __wrap_calloc(std::size_t count, std::size_t size) {
  if (refuses(count * size)) return nullptr;
  const tarvo::test::Inside inside;
  void* const block = __real_calloc(count, size);
  if (block != nullptr) noteMade(count * size);
  return block;
}

void* __wrap_realloc(void* block, std::size_t size) {
  if (refuses(size)) return nullptr;
  const tarvo::test::Inside inside;
  void* const moved = __real_realloc(block, size);
  if (moved == nullptr) return nullptr;
  if (block != nullptr) noteReleased();
  noteMade(size);
  return moved;
}

void __wrap_free(void* block) {
  if (block != nullptr) noteReleased();
  __real_free(block);
}
}
// NOLINTEND(bugprone-reserved-identifier)

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
