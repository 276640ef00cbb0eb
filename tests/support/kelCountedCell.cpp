#include "support/kelCountedCell.hpp"

#include <cstdlib>
#include <new>

namespace tarvo::test {

void* Cell::operator new[](std::size_t bytes) {
  asked.push_back(bytes);
  void* const block = failing ? nullptr : std::malloc(bytes);
  if (block == nullptr) throw std::bad_alloc();
  ++live;
  return block;
}

void Cell::operator delete[](void* block) {
  if (block == nullptr) return;
  --live;
  std::free(block);
}

}  // namespace tarvo::test
