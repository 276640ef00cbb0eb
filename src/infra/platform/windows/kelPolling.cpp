#include "platform/windows/kelPolling.hpp"

// Must be included before windows.h, which would include the first version of Winsock.
#include <winsock2.h>

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <new>

namespace tarvo::platform::windows {
namespace {

/// The system's fd_set with an array for any number of handles. The system allows longer arrays: it reads as
/// many handles as the count says. A short set is stored inside the object and needs no allocation.
class HandleSet {
 public:
  explicit HandleSet(std::size_t most) noexcept {
    if (most <= shortSet) return;
    allocated_.reset(new (std::nothrow) SOCKET[1 + most]);
    words_ = allocated_.get();
    if (words_ != nullptr) words_[0] = 0;
  }

  bool valid() const noexcept { return words_ != nullptr; }
  fd_set* get() noexcept { return reinterpret_cast<fd_set*>(words_); }
  void add(SOCKET handle) noexcept { words_[++count()] = handle; }
  void sort() noexcept { std::sort(words_ + 1, words_ + 1 + count()); }
  bool contains(SOCKET handle) noexcept {
    return std::binary_search(words_ + 1, words_ + 1 + count(), handle);
  }

 private:
  static constexpr std::size_t shortSet = 16;
  static_assert(offsetof(fd_set, fd_array) == sizeof(SOCKET));

  u_int& count() noexcept { return *reinterpret_cast<u_int*>(words_); }

  std::array<SOCKET, 1 + shortSet> inside_{};
  std::unique_ptr<SOCKET[]> allocated_;
  SOCKET* words_ = inside_.data();  ///< the count, padded, then the handles
};

int fail(int code) noexcept {
  ::WSASetLastError(code);
  return socketError;
}

timeval timeOf(long long milliseconds) noexcept {
  constexpr long long most = std::numeric_limits<long>::max();
  return {static_cast<long>(std::min(milliseconds / 1000, most)),
          static_cast<long>(milliseconds % 1000 * 1000)};
}

/// Whether the peer has sent urgent data that nobody has read. The system reports urgent data in the same set
/// as a failed attempt to connect.
bool hasUrgentData(SOCKET handle) noexcept {
  u_long allWasRead = 1;
  return ::ioctlsocket(handle, static_cast<long>(SIOCATMARK), &allWasRead) == 0 && allWasRead == 0;
}

/// Returns 0 before the time is over if only urgent data arrived.
int pollOnce(PollEntry* entries, std::size_t count, long long milliseconds) noexcept {
  HandleSet read(count);
  HandleSet write(count);
  HandleSet failed(count);
  if (!read.valid() || !write.valid() || !failed.valid()) return fail(wsa::noBuffers);
  PollEntry* const end = entries + count;
  for (const PollEntry* entry = entries; entry != end; ++entry) {
    if ((entry->wanted & PollEntry::read) != 0) read.add(entry->handle);
    if ((entry->wanted & PollEntry::write) != 0) {
      write.add(entry->handle);
      if (!hasUrgentData(entry->handle)) failed.add(entry->handle);
    }
  }
  timeval limit = timeOf(std::max(milliseconds, 0LL));
  const int result = ::select(0, read.get(), write.get(), failed.get(), milliseconds < 0 ? nullptr : &limit);
  if (result == SOCKET_ERROR) return socketError;
  read.sort();
  write.sort();
  failed.sort();
  int ready = 0;
  for (PollEntry* entry = entries; entry != end; ++entry) {
    const bool writable =
        write.contains(entry->handle) || (failed.contains(entry->handle) && !hasUrgentData(entry->handle));
    const unsigned int found =
        (read.contains(entry->handle) ? PollEntry::read : 0U) | (writable ? PollEntry::write : 0U);
    entry->ready = static_cast<unsigned char>(found & entry->wanted);
    if (entry->ready != 0) ++ready;
  }
  return ready;
}

}  // namespace

int pollEntries(PollEntry* entries, std::size_t count, long long milliseconds) noexcept {
  const ULONGLONG begin = ::GetTickCount64();
  for (;;) {
    const auto passed = static_cast<long long>(::GetTickCount64() - begin);
    const int ready = pollOnce(entries, count, milliseconds < 0 ? -1 : std::max(milliseconds - passed, 0LL));
    const bool isOver = milliseconds >= 0 && passed >= milliseconds;
    if (ready != 0 || isOver) return ready;
  }
}

}  // namespace tarvo::platform::windows
