#include "support/kelRepeatedMemory.hpp"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace tarvo::test {
namespace {

void* checked(void* place) {
  if (place == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "mmap");
  return place;
}

void* map(void* place, std::size_t size, int kind, int file) {
  return checked(::mmap(place, size, PROT_READ | PROT_WRITE, kind, file, 0));
}

}  // namespace

RepeatedMemory::RepeatedMemory(std::size_t pieces, char byte) : size_(pieces * pieceSize) {
  start_ =
      static_cast<char*>(map(nullptr, size_ + pieceSize, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1));
  const int file = ::memfd_create("piece", 0);
  if (::ftruncate(file, pieceSize) != 0) throw std::system_error(errno, std::generic_category(), "ftruncate");
  for (std::size_t at = 0; at < size_; at += pieceSize)
    map(start_ + at, pieceSize, MAP_SHARED | MAP_FIXED, file);
  ::close(file);
  std::fill_n(start_, pieceSize, byte);
}

RepeatedMemory::~RepeatedMemory() {
  ::munmap(start_, size_ + pieceSize);
}

}  // namespace tarvo::test
