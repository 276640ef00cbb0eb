#include "platform/posix/kelSocketOptions.hpp"

#include "platform/kelWinsock.hpp"
#include "platform/posix/kelLastError.hpp"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <iterator>

namespace tarvo::platform::posix {
namespace {

struct Option {
  int level;
  int name;
  int nativeLevel;
  int nativeName;
};

constexpr Option options[] = {
    {levelSocket, optionReuseAddress, SOL_SOCKET, SO_REUSEADDR},
    {levelSocket, optionSendBuffer, SOL_SOCKET, SO_SNDBUF},
    {levelSocket, optionReceiveBuffer, SOL_SOCKET, SO_RCVBUF},
    {levelSocket, optionSendTimeout, SOL_SOCKET, SO_SNDTIMEO},
    {levelSocket, optionReceiveTimeout, SOL_SOCKET, SO_RCVTIMEO},
    {levelSocket, optionError, SOL_SOCKET, SO_ERROR},
    {levelTcp, optionNoDelay, IPPROTO_TCP, TCP_NODELAY},
};

const Option* findOption(int level, int name) noexcept {
  const auto* const found = std::find_if(std::begin(options), std::end(options), [&](const Option& option) {
    return option.level == level && option.name == name;
  });
  return found == std::end(options) ? nullptr : found;
}

bool isTimeout(const Option& option) noexcept {
  return option.name == optionSendTimeout || option.name == optionReceiveTimeout;
}

/// Converts a timeout of Winsock, which is an unsigned number of milliseconds in a 4-byte value.
timeval toTimeval(int milliseconds) noexcept {
  const auto value = static_cast<unsigned int>(milliseconds);
  return {static_cast<time_t>(value / 1000), static_cast<suseconds_t>(value % 1000) * 1000};
}

int toMilliseconds(const timeval& value) noexcept {
  return static_cast<int>(1000LL * value.tv_sec + value.tv_usec / 1000);
}

template <class Value>
int setNative(int descriptor, const Option& option, const Value& value) noexcept {
  return answer(::setsockopt(descriptor, option.nativeLevel, option.nativeName, &value, sizeof value));
}

template <class Value>
int getNative(int descriptor, const Option& option, Value& value) noexcept {
  socklen_t size = sizeof value;
  return answer(::getsockopt(descriptor, option.nativeLevel, option.nativeName, &value, &size));
}

}  // namespace

int setOption(int descriptor, int level, int option, int value) noexcept {
  const Option* const found = findOption(level, option);
  if (found == nullptr) return fail(wsa::noProtocolOption);
  if (isTimeout(*found)) return setNative(descriptor, *found, toTimeval(value));
  return setNative(descriptor, *found, value);
}

int getOption(int descriptor, int level, int option, int& value) noexcept {
  const Option* const found = findOption(level, option);
  if (found == nullptr) return fail(wsa::noProtocolOption);
  if (isTimeout(*found)) {
    timeval time{};
    const int result = getNative(descriptor, *found, time);
    if (result == 0) value = toMilliseconds(time);
    return result;
  }
  const int result = getNative(descriptor, *found, value);
  if (result == 0 && option == optionError && value != 0) value = winsockCode(value);
  return result;
}

void leavePortReusable(int descriptor, Facts facts) noexcept {
  if ((facts & fact::connected) == 0 || (facts & (fact::connectionLost | fact::sendEnded)) != 0) return;
  const int on = 1;
  ::setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
}

}  // namespace tarvo::platform::posix
