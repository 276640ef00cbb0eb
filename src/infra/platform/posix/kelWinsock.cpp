#include "platform/kelWinsock.hpp"

#include "platform/kelWinsockChecks.hpp"
#include "platform/posix/kelAddresses.hpp"
#include "platform/posix/kelDescriptors.hpp"
#include "platform/posix/kelLastError.hpp"
#include "platform/posix/kelPolling.hpp"
#include "platform/posix/kelSelection.hpp"
#include "platform/posix/kelSocketFacts.hpp"
#include "platform/posix/kelSocketOptions.hpp"
#include "platform/posix/kelSystemCalls.hpp"
#include "platform/posix/kelTransfer.hpp"
#include "platform/posix/kelWinsockCodes.hpp"

#include <netdb.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>

namespace tarvo::platform {
namespace {

using posix::answer;
using posix::descriptorOf;
using posix::fail;
using posix::socketFacts;
namespace fact = posix::fact;

SocketHandle refuse(int code) noexcept {
  posix::setLastError(code);
  return invalidSocket;
}

/// Converts a new descriptor to a handle and records `facts` for it. The function removes the facts about an
/// earlier socket with the same number.
SocketHandle fresh(int descriptor, posix::Facts facts) noexcept {
  if (answer(descriptor) < 0) return invalidSocket;
  if (socketFacts.start(descriptor, facts)) return static_cast<SocketHandle>(descriptor);
  ::close(descriptor);
  return refuse(wsa::noBuffers);
}

/// Returns the result of a system call that began to connect: 0 or a Winsock code.
int outcomeOfConnect(int descriptor, int result) noexcept {
  if (result == 0) {
    socketFacts.add(descriptor, fact::connected);
    return 0;
  }
  if (errno == EINPROGRESS) {
    socketFacts.add(descriptor, fact::attempt);
    return wsa::wouldBlock;
  }
  // For connect, EAGAIN means that the system lacks a resource, for example a free port. For other calls
  // EAGAIN means that the call would wait.
  return errno == EAGAIN ? wsa::noBuffers : posix::winsockCode(errno);
}

// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): one object, never deleted, constant-initialised
class PosixWinsock final : public Winsock {
 public:
  int WSAStartup(std::uint16_t version, StartupData& data) override {
    data.version = version;
    return 0;
  }

  int WSACleanup() override { return 0; }

  int WSAGetLastError() override { return posix::lastError(); }

  void WSASetLastError(int code) override { posix::setLastError(code); }

  SocketHandle socket(int family, int type, int protocol) override {
    if (const int refusal = socketRefusal(family, type); refusal != 0) return refuse(refusal);
    const int native = family == familyInet ? AF_INET : AF_INET6;
    return fresh(posix::newSocket(native, type, protocol), fact::made);
  }

  int connect(SocketHandle handle, const unsigned char* address, std::size_t length) override {
    posix::NativeAddress native;
    if (const int refusal = posix::toNative(address, length, native); refusal != 0) return fail(refusal);
    const int descriptor = descriptorOf(handle);
    const int code = outcomeOfConnect(descriptor, ::connect(descriptor, native.get(), native.length));
    return code == 0 ? 0 : fail(code);
  }

  int bind(SocketHandle handle, const unsigned char* address, std::size_t length) override {
    posix::NativeAddress native;
    if (const int refusal = posix::toNative(address, length, native); refusal != 0) return fail(refusal);
    return answer(::bind(descriptorOf(handle), native.get(), native.length));
  }

  int listen(SocketHandle handle, unsigned int backlog) override {
    return answer(::listen(descriptorOf(handle), static_cast<int>(std::min<unsigned int>(backlog, INT_MAX))));
  }

  SocketHandle accept(SocketHandle listening) override {
    for (;;) {
      const int descriptor = posix::acceptNew(descriptorOf(listening));
      if (descriptor >= 0 || errno != EINTR) return fresh(descriptor, fact::made | fact::connected);
    }
  }

  void wakeAccept(SocketHandle listening) override { posix::endAccepts(descriptorOf(listening)); }

  int closesocket(SocketHandle handle) override {
    const int descriptor = descriptorOf(handle);
    const posix::Facts facts = socketFacts.of(descriptor);
    if ((facts & fact::made) == 0 && !posix::isSocket(descriptor)) return answer(-1);
    posix::leavePortReusable(descriptor, facts);
    socketFacts.remove(descriptor, facts);
    // If close fails with any error except EBADF, the system has closed the descriptor nevertheless.
    return ::close(descriptor) != 0 && errno == EBADF ? answer(-1) : 0;
  }

  int select(SocketSet& read, SocketSet& write, SocketSet& error, const TimeValue* timeout) override {
    return posix::Selection(read, write, error).wait(timeout);
  }

  int send(SocketHandle handle, const char* bytes, int length) override {
    return posix::send(descriptorOf(handle), bytes, length, 0);
  }

  int recv(SocketHandle handle, char* bytes, int length) override {
    return posix::receive(descriptorOf(handle), bytes, length, 0);
  }

  int sendNow(SocketHandle handle, const char* bytes, int length) override {
    return posix::send(descriptorOf(handle), bytes, length, MSG_DONTWAIT);
  }

  int recvNow(SocketHandle handle, char* bytes, int length) override {
    return posix::receive(descriptorOf(handle), bytes, length, MSG_DONTWAIT);
  }

  int poll(PollEntry* entries, std::size_t count, long long milliseconds) override {
    return posix::pollEntries(entries, count, milliseconds);
  }

  int shutdown(SocketHandle handle, int how) override { return posix::shutDown(descriptorOf(handle), how); }

  int ioctlsocketNonBlocking(SocketHandle handle, unsigned long mode) override {
    const int descriptor = descriptorOf(handle);
    if (!posix::isSocket(descriptor)) return answer(-1);
    int on = mode != 0 ? 1 : 0;
    return answer(::ioctl(descriptor, FIONBIO, &on));
  }

  int setsockopt(SocketHandle handle, int level, int option, int value) override {
    return posix::setOption(descriptorOf(handle), level, option, value);
  }

  int getsockopt(SocketHandle handle, int level, int option, int& value) override {
    return posix::getOption(descriptorOf(handle), level, option, value);
  }

  int getsockname(SocketHandle handle, unsigned char* address, std::size_t& length) override {
    return posix::readName(::getsockname, descriptorOf(handle), address, length);
  }

  int getpeername(SocketHandle handle, unsigned char* address, std::size_t& length) override {
    return posix::readName(::getpeername, descriptorOf(handle), address, length);
  }

  int getaddrinfo(const char* node, const char* service, const AddressHints& hints,
                  std::vector<ResolvedAddress>& list) override {
    return posix::resolve(node, service, hints, list);
  }

  std::string systemText(int code) override {
    if (const int result = posix::posixResolverCode(code); result != 0) return ::gai_strerror(result);
    return {};
  }
};

constinit PosixWinsock posixWinsock;

}  // namespace

constinit Winsock* currentWinsock = &posixWinsock;

Winsock& systemWinsock() noexcept {
  return posixWinsock;
}

}  // namespace tarvo::platform
