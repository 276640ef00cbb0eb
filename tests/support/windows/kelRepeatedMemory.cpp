#include "support/kelRepeatedMemory.hpp"

#include <windows.h>

#include <algorithm>
#include <system_error>

namespace tarvo::test {
namespace {

template <class Result>
Result checked(Result result, const char* what) {
  if (result == nullptr)
    throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(), what);
  return result;
}

}  // namespace

RepeatedMemory::RepeatedMemory(std::size_t pieces, char byte) : size_(pieces * pieceSize) {
  // Looks for a free range, to fill it piece by piece.
  void* const all =
      checked(::VirtualAlloc(nullptr, size_ + pieceSize, MEM_RESERVE, PAGE_NOACCESS), "VirtualAlloc");
  ::VirtualFree(all, 0, MEM_RELEASE);
  start_ = static_cast<char*>(all);
  const HANDLE file =
      checked(::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, pieceSize, nullptr),
              "CreateFileMapping");
  for (std::size_t at = 0; at < size_; at += pieceSize)
    checked(::MapViewOfFileEx(file, FILE_MAP_WRITE, 0, 0, pieceSize, start_ + at), "MapViewOfFileEx");
  ::CloseHandle(file);
  checked(::VirtualAlloc(start_ + size_, pieceSize, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE),
          "VirtualAlloc");
  std::fill_n(start_, pieceSize, byte);
}

RepeatedMemory::~RepeatedMemory() {
  for (std::size_t at = 0; at < size_; at += pieceSize) ::UnmapViewOfFile(start_ + at);
  ::VirtualFree(start_ + size_, 0, MEM_RELEASE);
}

}  // namespace tarvo::test
