#include "platform/kelWakeup.hpp"

#include "platform/posix/kelDescriptors.hpp"
#include "platform/posix/kelWinsockCodes.hpp"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace tarvo::platform {

int openWakeup(WakeupHandles& handles) noexcept {
  const int descriptor = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (descriptor < 0) return posix::winsockCode(errno);
  handles.waiting = handles.triggering = static_cast<SocketHandle>(descriptor);
  return 0;
}

void triggerWakeup(const WakeupHandles& handles) noexcept {
  const int before = errno;
  const std::uint64_t one = 1;
  // If the counter is full, `write` fails, but the descriptor is readable already.
  [[maybe_unused]] const auto written = ::write(posix::descriptorOf(handles.triggering), &one, sizeof one);
  errno = before;
}

void clearWakeup(const WakeupHandles& handles) noexcept {
  std::uint64_t count = 0;
  [[maybe_unused]] const auto read = ::read(posix::descriptorOf(handles.waiting), &count, sizeof count);
}

void closeWakeup(const WakeupHandles& handles) noexcept {
  ::close(posix::descriptorOf(handles.waiting));
}

}  // namespace tarvo::platform
