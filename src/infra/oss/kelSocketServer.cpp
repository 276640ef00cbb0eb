#include "infra/oss/kelSocketServer.hpp"

#include "oss/kelAddrInfo.hpp"
#include "oss/kelHandleGuard.hpp"
#include "oss/kelSocketError.hpp"
#include "platform/kelProcess.hpp"
#include "platform/kelWinsock.hpp"
#include "platform/kelWinsockChecks.hpp"
#include "trace/kelTrace.hpp"

#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

namespace tarvo::oss {

using platform::invalidSocket;
using platform::SocketHandle;
using platform::winsock;
using trace::probe;
using trace::traced;
using trace::tracedExit;
namespace wsa = platform::wsa;

/// Counts a thread as inside `accept` for the duration of a scope. While threads are counted, `close` does
/// not close the handle.
class SocketServer::Waiter {
 public:
  explicit Waiter(SocketServer& server) : server_(server) {
    forgetParent(server_);
    const std::lock_guard<std::mutex> lock(server_.mutex_);
    handle_ = server_.listeningSocket_.handle();
    ++server_.waiters_;
  }
  Waiter(const Waiter&) = delete;
  Waiter& operator=(const Waiter&) = delete;
  ~Waiter() {
    const std::lock_guard<std::mutex> lock(server_.mutex_);
    if (--server_.waiters_ == 0) server_.waiterLeft_.notify_all();
  }

  SocketHandle handle() const { return handle_; }

  /// Resets the counter, the mutex and the condition variable in a forked child. The other threads of the
  /// parent do not exist in the child, so in the child they never leave `accept` and never release the mutex.
  /// Therefore `close` could wait forever in the child without the reset.
  static void forgetParent(SocketServer& server) {
    const unsigned int process = platform::currentProcess();
    if (server.process_ == process) return;
    new (&server.mutex_) std::mutex;
    new (&server.waiterLeft_) std::condition_variable;
    server.waiters_ = 0;
    server.process_ = process;
  }

 private:
  SocketServer& server_;
  SocketHandle handle_ = invalidSocket;
};

SocketServer::SocketServer() : hostText_(u"localhost", -1), process_(platform::currentProcess()) {
  tracedExit<probe("SocketServer::SocketServer")>([] {});
}

SocketServer::~SocketServer() {
  tracedExit<probe("SocketServer::~SocketServer")>([&] { stopListening(); });
}

// --- listen -------------------------------------------------------------------------------------------

namespace {

int setSocketOption(SocketHandle handle, int option, int value) {
  return winsock().setsockopt(handle, platform::levelSocket, option, value);
}

/// Reads the port to which `handle` is bound; 0 if the address is neither IPv4 nor IPv6.
bool readPort(SocketHandle handle, unsigned int& port) {
  constexpr std::size_t portOffset = 2;
  unsigned char address[128] = {};
  std::size_t length = sizeof address;
  if (winsock().getsockname(handle, address, length) != 0) return false;
  const int family = platform::familyOf(address);
  const bool known = family == platform::familyInet || family == platform::familyInet6;
  port = known ? static_cast<unsigned int>(address[portOffset] << 8 | address[portOffset + 1]) : 0;
  return true;
}

/// Returns the port that the server holds. After a failed `listen` the handle can be bound although the
/// object stores no port. In that case the function asks the system for the port, and returns 0 if the system
/// reports an error.
unsigned int heldPort(SocketHandle handle, unsigned int stored) {
  unsigned int port = stored;
  if (port == 0) readPort(handle, port);
  return port;
}

/// Returns a new socket that is bound to the first address of the list that can be bound.
SocketHandle boundHandle(const AddressList& list, const Peer& asked, bool reuseAddress) {
  int lastFailure = winsock().WSAGetLastError();
  for (const platform::ResolvedAddress& entry : list) {
    HandleGuard handle(winsock().socket(entry.family, entry.socketType, entry.protocol));
    if (handle.valid()) {
      if (reuseAddress && setSocketOption(handle.get(), platform::optionReuseAddress, 1) != 0)
        raiseLastError(asked);
      if (winsock().bind(handle.get(), entry.address.data(), entry.address.size()) == 0)
        return handle.release();
    }
    lastFailure = winsock().WSAGetLastError();
  }
  raiseMapped(lastFailure, asked);
}

}  // namespace

void SocketServer::listen(unsigned int port, unsigned int backlog, bool reuseAddress) {
  traced<probe("SocketServer::listen")>([&] {
    requireNoPort();
    bindFirst(port, reuseAddress);
    startListening(hostText_, port, backlog);
  });
}

void SocketServer::listen(const icu::UnicodeString& localAddress, unsigned int port, unsigned int backlog,
                          bool reuseAddress) {
  traced<probe("SocketServer::listen")>([&] {
    requireNoPort();
    const Peer asked = {&localAddress, port};
    AddressList list;
    if (const int code = resolve(narrowHost(localAddress), port, list); code != 0)
      raiseResolverError(code, asked);
    listeningSocket_.adopt(boundHandle(list, asked, reuseAddress));
    startListening(localAddress, port, backlog);
  });
}

void SocketServer::requireNoPort() {
  if (listeningSocket_.handle() == invalidSocket) return;
  raise<SocketException>(errors::ERR_SOCKET_LISTENING, errors::Host{hostText_},
                         errors::Port{heldPort(listeningSocket_.handle(), port_)});
}

void SocketServer::bindFirst(unsigned int port, bool reuseAddress) {
  constexpr platform::AddressHints hints = {platform::passiveFlag, platform::familyUnspecified,
                                            platform::typeStream, 0};
  AddressList list;
  const int code = winsock().getaddrinfo(nullptr, serviceText(port).c_str(), hints, list);
  const Peer asked = {&hostText_, port};
  if (code != 0) raiseResolverError(code, asked);
  listeningSocket_.adopt(boundHandle(list, asked, reuseAddress));
}

/// Errors contain `host` and `port` as arguments.
void SocketServer::startListening(const icu::UnicodeString& host, unsigned int port, unsigned int backlog) {
  if (winsock().listen(listeningSocket_.handle(), backlog) != 0) raiseLastError({&host, port});
  listening_ = true;
  port_ = port == 0 ? boundPort() : port;
}

// --- accept -------------------------------------------------------------------------------------------

void SocketServer::accept(Socket& client, const unsigned long long* timeout) {
  traced<probe("SocketServer::accept")>([&] {
    const Waiter waiter(*this);
    if (waiter.handle() == invalidSocket) {
      raise<SocketException>(errors::ERR_SOCKET_NOT_LISTENING, errors::Host{hostText_},
                             errors::Port{port_.load()});
    }
    waitForConnection(waiter, timeout);
    const SocketHandle accepted = winsock().accept(waiter.handle());
    if (accepted == invalidSocket) {
      const int code = winsock().WSAGetLastError();
      raiseMapped(listening_ ? code : wsa::invalidArgument, {&hostText_, port_});
    }
    client.adopt(accepted);
  });
}

/// Waits until a connection is pending.
void SocketServer::waitForConnection(const Waiter& waiter, const unsigned long long* timeout) {
  constexpr unsigned long long slice = 10'000'000;
  const Socket listening(waiter.handle(), hostText_, port_);
  std::list<Socket> readList(1, listening);
  std::list<Socket> nothing;
  for (;;) {
    const bool ready = selectListening(readList, nothing, timeout == nullptr ? slice : *timeout);
    if (readList.empty()) readList.push_back(listening);
    if (ready) return;
    if (timeout != nullptr)
      raise<SocketException>(errors::ERR_SOCKET_TIMEOUT, errors::Host{hostText_}, errors::Port{port_.load()});
  }
}

/// Calls `Socket::select` once. If another thread closed the server during the wait, raises the error for a
/// closed server, regardless of the result of select.
bool SocketServer::selectListening(std::list<Socket>& readList, std::list<Socket>& nothing,
                                   unsigned long long limit) {
  unsigned long long ready = 0;
  try {
    ready = Socket::select(readList, nothing, nothing, &limit);
  } catch (const SocketException&) {
    if (listening_) throw;
  }
  if (!listening_) raiseMapped(wsa::invalidArgument, {&hostText_, port_});
  return ready != 0;
}

void SocketServer::close() {
  traced<probe("SocketServer::close")>([&] { stopListening(); });
}

void SocketServer::stopListening() {
  Waiter::forgetParent(*this);
  std::unique_lock<std::mutex> lock(mutex_);
  listening_ = false;
  if (waiters_ > 0) {
    winsock().wakeAccept(listeningSocket_.handle());
    waiterLeft_.wait(lock, [&] { return waiters_ == 0; });
  }
  listeningSocket_.close();
  port_ = 0;
}

// --- ask and set --------------------------------------------------------------------------------------

unsigned int SocketServer::getPort() const {
  return port_;
}

unsigned long long SocketServer::handle() const {
  return listeningSocket_.handle();
}

unsigned int SocketServer::queryPort() const {
  return traced<probe("SocketServer::queryPort")>([&] { return boundPort(); });
}

unsigned int SocketServer::boundPort() const {
  unsigned int port = 0;
  if (!readPort(listeningSocket_.handle(), port)) raiseLastError({&hostText_, port_});
  return port;
}

void SocketServer::setReceiveBufferSize(int bytes) {
  traced<probe("SocketServer::setReceiveBufferSize")>(
      [&] { setBufferSize(platform::optionReceiveBuffer, bytes); });
}

void SocketServer::setSendBufferSize(int bytes) {
  traced<probe("SocketServer::setSendBufferSize")>([&] { setBufferSize(platform::optionSendBuffer, bytes); });
}

void SocketServer::setReuseAddress(bool on) {
  traced<probe("SocketServer::setReuseAddress")>(
      [&] { setOption(listeningSocket_.handle(), platform::optionReuseAddress, on ? 1 : 0); });
}

void SocketServer::setBufferSize(int option, int bytes) {
  if (listeningSocket_.handle() == invalidSocket) {
    raise<SocketException>(errors::ERR_SOCKET_NOT_LISTENING, errors::Host{hostText_},
                           errors::Port{port_.load()});
  }
  setOption(listeningSocket_.handle(), option, bytes);
}

void SocketServer::setOption(unsigned long long handle, int option, int value) {
  if (setSocketOption(handle, option, value) != 0) raiseLastError({&hostText_, port_});
}

}  // namespace tarvo::oss
