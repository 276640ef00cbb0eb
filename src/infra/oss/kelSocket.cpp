#include "infra/oss/kelSocket.hpp"

#include "machine/kelByteOrder.hpp"
#include "oss/kelAddrInfo.hpp"
#include "oss/kelAddressText.hpp"
#include "oss/kelConnectRace.hpp"
#include "oss/kelFrameQueue.hpp"
#include "oss/kelHandleGuard.hpp"
#include "oss/kelPollTime.hpp"
#include "oss/kelSocketError.hpp"
#include "platform/kelWinsock.hpp"
#include "text/kelInvariant.hpp"
#include "text/kelMemory.hpp"
#include "trace/kelTrace.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <utility>

namespace tarvo::oss {

using platform::invalidSocket;
using platform::socketError;
using platform::SocketHandle;
using platform::winsock;
using trace::probe;
using trace::traced;
using trace::tracedExit;
namespace wsa = platform::wsa;

namespace {

/// Returns 0 or the Winsock code. The function reads the error code inside the traced body, because the exit
/// hooks of the host program could overwrite the code.
int switchNonBlocking(SocketHandle handle, bool on) {
  return traced<probe("Socket::setNonBlocking")>([&] {
    return winsock().ioctlsocketNonBlocking(handle, on ? 1 : 0) == 0 ? 0 : winsock().WSAGetLastError();
  });
}

int pendingError(SocketHandle handle, const Peer& peer) {
  return traced<probe("Socket::getSocketError")>([&] {
    int value = 0;
    if (winsock().getsockopt(handle, platform::levelSocket, platform::optionError, value) != 0)
      raiseLastError(peer);
    return value;
  });
}

/// Returns the address buffer + offset of a range. The sum is computed with integers, because with pointers a
/// range that overflows would be undefined behaviour instead of an error.
char* startOf(const char* buffer, unsigned long long offset, unsigned long long length, const Peer& peer) {
  const auto base = reinterpret_cast<std::uintptr_t>(buffer);
  const std::uintptr_t room = std::numeric_limits<std::uintptr_t>::max() - base;
  if (length > 0 && (buffer == nullptr || offset > room || length > room - offset))
    raiseMapped(wsa::badAddress, peer);
  return reinterpret_cast<char*>(base + offset);
}

/// Returns the count, or the largest int if the count is larger: one system call cannot transfer more.
int cappedCount(unsigned long long count) {
  return static_cast<int>(std::min<unsigned long long>(count, std::numeric_limits<int>::max()));
}

/// Waits until the handle is ready or the deadline has passed; returns whether it is ready.
bool awaitReady(SocketHandle handle, unsigned char wanted, const Deadline& deadline, const Peer& peer) {
  for (;;) {
    platform::PollEntry entry = {handle, wanted, 0};
    const int ready = winsock().poll(&entry, 1, pollTime(deadline));
    if (ready == socketError) raiseLastError(peer);
    if (ready > 0) return true;
    if (deadline.hasPassed()) return false;
  }
}

/// Repeats `step`, a transfer that does not wait, until `length` bytes are transferred. The arguments of
/// `step` are the number of bytes that were transferred before, and the largest number of bytes to transfer.
template <class Step>
Socket::Transfer transferWithin(SocketHandle handle, unsigned char wanted, unsigned long long length,
                                const Deadline& deadline, const Peer& peer, Step step) {
  unsigned long long done = 0;
  while (done < length) {
    const int count = step(done, cappedCount(length - done));
    if (count == 0) return {Socket::Transfer::CLOSED, done, false};
    if (count > 0) {
      done += static_cast<unsigned long long>(count);
      if (done < length && deadline.hasPassed()) return {Socket::Transfer::EXPIRED, done, true};
      continue;
    }
    if (const int code = winsock().WSAGetLastError(); code != wsa::wouldBlock) raiseMapped(code, peer);
    if (deadline.hasPassed() || !awaitReady(handle, wanted, deadline, peer))
      return {Socket::Transfer::EXPIRED, done, true};
  }
  return {Socket::Transfer::COMPLETE, done, true};
}

void sendAll(SocketHandle handle, const char* bytes, unsigned long long length, const Peer& peer) {
  for (unsigned long long sent = 0; sent < length;) {
    const int count = winsock().send(handle, bytes + sent, cappedCount(length - sent));
    if (count < 0) raiseLastError(peer);
    sent += static_cast<unsigned long long>(count);
  }
}

// --- frames -------------------------------------------------------------------------------------------

constexpr std::size_t drainChunk = 1024;
/// The size of the largest payload that is sent together with its length word.
constexpr std::size_t joinedPayload = 2048 - lengthWordSize;

using FrameHead = std::array<char, lengthWordSize + joinedPayload>;

/// Writes the length word, which contains the low 32 bits of the length, and the beginning of the payload
/// into `head`. Returns the number of payload bytes.
std::size_t beginFrame(FrameHead& head, const char* payload, unsigned long long length) {
  const auto joined = static_cast<std::size_t>(std::min<unsigned long long>(length, joinedPayload));
  machine::putBigEndian(head.data(), static_cast<std::uint32_t>(length));
  if (joined > 0) std::memcpy(head.data() + lengthWordSize, payload, joined);
  return joined;
}

unsigned long long getLengthWord(const std::array<char, lengthWordSize>& word) {
  return machine::bigEndianAt<std::uint32_t>(word.data());
}

// --- select -------------------------------------------------------------------------------------------

using SocketList = std::list<Socket>;

/// Returns the set of the handles of a list. The handles of most lists are ascending, so a handle that is
/// larger than all earlier handles is added without a search.
platform::SocketSet setOf(const SocketList& list) {
  platform::SocketSet set;
  SocketHandle greatest = 0;
  for (const Socket& socket : list) {
    const SocketHandle handle = socket.handle();
    if (handle > greatest && set.count < platform::SocketSet::most) {
      set.handles[set.count++] = greatest = handle;
    } else {
      set.add(handle);
    }
  }
  return set;
}

void keepReady(SocketList& list, const platform::SocketSet& ready) {
  list.remove_if([&](const Socket& socket) { return !ready.contains(socket.handle()); });
}

platform::TimeValue timeValueOf(unsigned long long milliseconds) {
  constexpr unsigned long long most = std::numeric_limits<std::int32_t>::max();
  return {static_cast<std::int32_t>(std::min(milliseconds / 1000, most)),
          static_cast<std::int32_t>(milliseconds % 1000 * 1000)};
}

}  // namespace

constinit const Socket::_AddrInfoExternal Socket::NullAddrInfoExternal = {};

Socket::Socket() : handle_(invalidSocket) {
  tracedExit<probe("Socket::Socket")>([&] { startWinsock(); });
}

Socket::Socket(const Socket& other) : Socket(other.handle_, other.host_, other.port_) {}

Socket::Socket(unsigned long long handle, const icu::UnicodeString& host, unsigned int port)
    : handle_(handle), host_(host), port_(port) {
  tracedExit<probe("Socket::Socket")>([&] { startWinsock(); });
}

Socket::~Socket() {
  tracedExit<probe("Socket::~Socket")>([&] {
    close();
    winsock().WSACleanup();
  });
}

void Socket::startWinsock() {
  traced<probe("Socket::startWinsock")>([&] {
    platform::StartupData data;
    if (winsock().WSAStartup(platform::winsockVersion, data) != 0) {
      raise<SocketException>(errors::ERR_WSASTARTUP_FAILED, errors::Host{host_}, errors::Port{port_});
    }
    if (data.version != platform::winsockVersion) {
      winsock().WSACleanup();
      raise<SocketException>(errors::ERR_INVALID_SOCKET_VERSION, errors::Host{host_}, errors::Port{port_});
    }
  });
}

// --- connect and close --------------------------------------------------------------------------------

namespace {

/// Waits for an attempt to connect that is in progress, and returns whether it failed.
bool waitForConnect(const Socket& attempt, const Peer& peer, const unsigned long long* timeout) {
  SocketList read;
  SocketList write(1, attempt);
  SocketList error(1, attempt);
  if (Socket::select(read, write, error, timeout) == 0) {
    raise<SocketException>(errors::ERR_SOCKET_TIMEOUT, errors::Host{*peer.host}, errors::Port{peer.port});
  }
  return !error.empty();
}

enum class Attempt { connected, inProgress, failed };

/// Begins to connect, without waiting.
Attempt beginConnect(SocketHandle handle, const platform::ResolvedAddress& address) {
  if (switchNonBlocking(handle, true) != 0) return Attempt::failed;
  if (winsock().connect(handle, address.address.data(), address.address.size()) == 0)
    return Attempt::connected;
  return winsock().WSAGetLastError() == wsa::wouldBlock ? Attempt::inProgress : Attempt::failed;
}

}  // namespace

void Socket::connect(const icu::UnicodeString& host, unsigned int port, const _AddrInfoExternal& addrInfo,
                     const unsigned long long* timeout) {
  connectUntil(host, port, addrInfo, timeout, Deadline::never());
}

void Socket::connect(const icu::UnicodeString& host, unsigned int port, const _AddrInfoExternal& addrInfo,
                     const Deadline& deadline) {
  connectUntil(host, port, addrInfo, nullptr, deadline);
}

/// `timeout` limits each attempt to connect if it is not null; `deadline` limits all attempts together.
void Socket::connectUntil(const icu::UnicodeString& host, unsigned int port,
                          const _AddrInfoExternal& addrInfo, const unsigned long long* timeout,
                          const Deadline& deadline) {
  traced<probe("Socket::connect")>([&] {
    requireNoHandle();
    host_ = text::copied(host);
    port_ = port;
    const std::string name = narrowHost(host_);
    AddressList list;
    if (holdsAddresses(addrInfo)) {
      list = decodeAddrInfo(addrInfo);
    } else if (const int code = resolve(name, port_, list); code != 0) {
      raiseResolverError(code, {&host_, port_});
    }
    for (const platform::ResolvedAddress& address : list) {
      const unsigned long long left = deadline.remaining();
      if (left == 0)
        raise<SocketException>(errors::ERR_SOCKET_TIMEOUT, errors::Host{host_}, errors::Port{port_});
      if (connectTo(address, deadline.expires() ? &left : timeout)) break;
    }
    finishConnect();
  });
}

void Socket::requireNoHandle() const {
  if (handle_ != invalidSocket)
    raise<SocketException>(errors::ERR_SOCKET_CONNECTED, errors::Host{host_}, errors::Port{port_});
}

bool Socket::connectTo(const platform::ResolvedAddress& address, const unsigned long long* timeout) {
  const Peer peer = {&host_, port_};
  HandleGuard handle(winsock().socket(address.family, address.socketType, address.protocol));
  if (!handle.valid()) return false;
  const Attempt attempt = beginConnect(handle.get(), address);
  if (attempt == Attempt::failed) return false;
  const bool failed =
      attempt == Attempt::inProgress && waitForConnect(Socket(handle.get(), host_, port_), peer, timeout);
  if (const int code = switchNonBlocking(handle.get(), false); code != 0) raiseMapped(code, peer);
  const int pending = pendingError(handle.get(), peer);
  if (failed || pending != 0) raiseMapped(pending, peer);
  adopt(handle.release());
  return true;
}

// If the attempts for all addresses failed at once, there is no handle. In this case setNoDelay raises
// ERR_SOCKET_NOT_CONNECTED, which is the error that `connect` documents.
void Socket::finishConnect() {
  try {
    setNoDelay(true);
  } catch (...) {
    const HandleGuard closed(std::exchange(handle_, invalidSocket));
    ownsHandle_ = false;
    throw;
  }
}

namespace {

/// Resolves a host. An address literal asks no resolver.
AddressList resolveForRace(const icu::UnicodeString& host, unsigned int port) {
  const std::string name = narrowHost(host);
  AddressList list;
  if (readLiteral(name, port, list)) return list;
  if (const int code = resolve(name, port, list); code != 0) raiseResolverError(code, {&host, port});
  return list;
}

/// Returns the error of a race without a connection. The error has one message for the whole race, and one
/// message for each attempt.
SocketException raceError(const ConnectRace& race, const Peer& peer) {
  const errors::Host host{*peer.host};
  const errors::Port port{peer.port};
  SocketException error = race.expired()
                              ? makeError<SocketException>(errors::ERR_SOCKET_TIMEOUT, host, port)
                              : makeError<SocketException>(errors::ERR_SOCKET_NOT_CONNECTED, host, port);
  for (const ConnectRace::Attempt& attempt : race.attempts()) {
    const unsigned char* const bytes = attempt.address.address.data();
    const std::size_t length = attempt.address.address.size();
    const icu::UnicodeString text = text::invariantText(addressText(bytes, length).c_str());
    const int code = attempt.code == 0 ? wsa::timedOut : attempt.code;
    error.addMessage(
        mappedError(code, {&text, addressPort(bytes, length)}, SourcePlace::here()).getErrorMessage());
  }
  return error;
}

}  // namespace

void Socket::connectFirst(const icu::UnicodeString& host, unsigned int port, const Deadline& deadline,
                          unsigned long long stagger) {
  connectFirst(host, port, NullAddrInfoExternal, deadline, stagger);
}

void Socket::connectFirst(const icu::UnicodeString& host, unsigned int port,
                          const _AddrInfoExternal& addrInfo, const Deadline& deadline,
                          unsigned long long stagger) {
  traced<probe("Socket::connectFirst")>([&] {
    requireNoHandle();
    host_ = text::copied(host);
    port_ = port;
    ConnectRace race(holdsAddresses(addrInfo) ? decodeAddrInfo(addrInfo) : resolveForRace(host_, port_),
                     deadline, stagger);
    const SocketHandle connected = race.run();
    if (connected == invalidSocket) throw raceError(race, {&host_, port_});
    adopt(connected);
    finishConnect();
  });
}

void Socket::adopt(unsigned long long handle) {
  handle_ = handle;
  ownsHandle_ = true;
}

void Socket::close() {
  if (!ownsHandle_ || handle_ == invalidSocket) return;
  traced<probe("Socket::close")>([&] {
    ownsHandle_ = false;
    winsock().closesocket(std::exchange(handle_, invalidSocket));
    host_.remove();
    port_ = 0;
  });
}

void Socket::shutdownBoth() {
  if (handle_ == invalidSocket) return;
  traced<probe("Socket::shutdownBoth")>([&] { shutdown(platform::shutdownBoth); });
}

void Socket::shutdownReceive() {
  if (handle_ == invalidSocket) return;
  traced<probe("Socket::shutdownReceive")>([&] { shutdown(platform::shutdownReceive); });
}

void Socket::shutdownSend() {
  if (handle_ == invalidSocket) return;
  traced<probe("Socket::shutdownSend")>([&] { shutdown(platform::shutdownSend); });
}

void Socket::shutdown(int how) {
  if (winsock().shutdown(handle_, how) != 0) raiseLastError({&host_, port_});
}

// --- ask ----------------------------------------------------------------------------------------------

unsigned long long Socket::handle() const {
  return handle_;
}

const icu::UnicodeString& Socket::getHost() const {
  return host_;
}

unsigned int Socket::getPort() const {
  return port_;
}

namespace {

/// Asks the system for the Winsock address of the peer.
struct PeerAddress {
  PeerAddress(SocketHandle handle, const Peer& peer) {
    if (winsock().getpeername(handle, bytes.data(), length) != 0) raiseLastError(peer);
  }

  std::array<unsigned char, 128> bytes{};
  std::size_t length = bytes.size();
};

}  // namespace

icu::UnicodeString Socket::peerHost() const {
  return traced<probe("Socket::peerHost")>([&] {
    requireHandle();
    const PeerAddress address(handle_, {&host_, port_});
    return text::invariantText(addressText(address.bytes.data(), address.length).c_str());
  });
}

unsigned int Socket::peerPort() const {
  return traced<probe("Socket::peerPort")>([&] {
    requireHandle();
    const PeerAddress address(handle_, {&host_, port_});
    return addressPort(address.bytes.data(), address.length);
  });
}

// --- data ---------------------------------------------------------------------------------------------

void Socket::requireHandle() const {
  if (handle_ == invalidSocket)
    raise<SocketException>(errors::ERR_SOCKET_NOT_CONNECTED, errors::Host{host_}, errors::Port{port_});
}

/// Receives up to `length` bytes with one system call.
unsigned long long Socket::receive(char* buffer, unsigned long long length) {
  const int count = winsock().recv(handle_, buffer, cappedCount(length));
  if (count < 0) raiseLastError({&host_, port_});
  return static_cast<unsigned long long>(count);
}

unsigned long long Socket::readOnce(char* buffer, unsigned long long offset, unsigned long long length) {
  return traced<probe("Socket::readOnce")>([&]() -> unsigned long long {
    requireHandle();
    return receive(startOf(buffer, offset, length, {&host_, port_}), length);
  });
}

unsigned long long Socket::read(char* buffer, unsigned long long offset, unsigned long long length) {
  return traced<probe("Socket::read")>([&]() -> unsigned long long {
    requireHandle();
    if (length == 0) return 0;
    char* const start = startOf(buffer, offset, length, {&host_, port_});
    unsigned long long total = 0;
    while (total < length) {
      const unsigned long long count = receive(start + total, length - total);
      if (count == 0) break;
      total += count;
    }
    return total;
  });
}

void Socket::write(const char* buffer, unsigned long long offset, unsigned long long length) {
  traced<probe("Socket::write")>([&] {
    requireHandle();
    const Peer peer = {&host_, port_};
    sendAll(handle_, startOf(buffer, offset, length, peer), length, peer);
  });
}

unsigned long long Socket::readMessage(char* buffer, unsigned long long* frameLength,
                                       unsigned long long offset, unsigned long long capacity,
                                       bool drainTooLarge) {
  return traced<probe("Socket::readMessage")>([&] {
    requireHandle();
    std::array<char, lengthWordSize> word{};
    if (read(word.data(), 0, word.size()) == 0)
      raise<SocketException>(errors::ERR_SOCKET_CLOSED, errors::Host{host_}, errors::Port{port_});
    const unsigned long long length = getLengthWord(word);
    if (frameLength != nullptr) *frameLength = length;
    if (capacity < length) {
      if (drainTooLarge) drain(length);
      raise<SocketException>(errors::ERR_DEST_BUFFER_TOO_SMALL, errors::Size{capacity}, errors::Size{length});
    }
    return read(buffer, offset, length);
  });
}

/// Reads and discards `length` bytes of the stream, or the rest of the stream if it is shorter.
void Socket::drain(unsigned long long length) {
  std::array<char, drainChunk> scratch;
  while (length > 0) {
    const unsigned long long wanted = std::min<unsigned long long>(length, scratch.size());
    const unsigned long long count = read(scratch.data(), 0, wanted);
    if (count < wanted) return;
    length -= count;
  }
}

// The length word and the beginning of the payload are sent together. If the length word and the payload were
// sent separately, the payload would often wait for the acknowledgement of the length word. The trace of a
// host program nevertheless shows two writes for each frame.
void Socket::writeMessage(const char* buffer, unsigned long long offset, unsigned long long length) {
  traced<probe("Socket::writeMessage")>([&] {
    requireHandle();
    const Peer peer = {&host_, port_};
    const char* const payload = startOf(buffer, offset, length, peer);
    std::size_t joined = 0;
    traced<probe("Socket::write")>([&] {
      FrameHead head;
      joined = beginFrame(head, payload, length);
      sendAll(handle_, head.data(), lengthWordSize + joined, peer);
    });
    traced<probe("Socket::write")>([&] {
      if (length > joined) sendAll(handle_, payload + joined, length - joined, peer);
    });
  });
}

unsigned long long Socket::writeOnce(const char* buffer, unsigned long long offset,
                                     unsigned long long length) {
  return traced<probe("Socket::writeOnce")>([&]() -> unsigned long long {
    requireHandle();
    const Peer peer = {&host_, port_};
    const char* const start = startOf(buffer, offset, length, peer);
    if (length == 0) return 0;
    const int count = winsock().sendNow(handle_, start, cappedCount(length));
    if (count >= 0) return static_cast<unsigned long long>(count);
    const int code = winsock().WSAGetLastError();
    if (code != wsa::wouldBlock) raiseMapped(code, peer);
    return 0;
  });
}

// --- data with a deadline -----------------------------------------------------------------------------

Socket::Transfer Socket::receiveWithin(char* bytes, unsigned long long length, const Deadline& deadline) {
  return transferWithin(
      handle_, platform::PollEntry::read, length, deadline, {&host_, port_},
      [&](unsigned long long done, int most) { return winsock().recvNow(handle_, bytes + done, most); });
}

Socket::Transfer Socket::sendWithin(const char* bytes, unsigned long long length, const Deadline& deadline) {
  return transferWithin(
      handle_, platform::PollEntry::write, length, deadline, {&host_, port_},
      [&](unsigned long long done, int most) { return winsock().sendNow(handle_, bytes + done, most); });
}

/// Does the same as `receiveWithin`, but drops the received bytes.
Socket::Transfer Socket::drainWithin(unsigned long long length, const Deadline& deadline) {
  std::array<char, drainChunk> scratch;
  constexpr int chunk = scratch.size();
  return transferWithin(handle_, platform::PollEntry::read, length, deadline, {&host_, port_},
                        [&](unsigned long long, int most) {
                          return winsock().recvNow(handle_, scratch.data(), std::min(most, chunk));
                        });
}

Socket::Transfer Socket::readWithin(char* buffer, unsigned long long offset, unsigned long long length,
                                    const Deadline& deadline) {
  return traced<probe("Socket::readWithin")>([&] {
    requireHandle();
    return receiveWithin(startOf(buffer, offset, length, {&host_, port_}), length, deadline);
  });
}

Socket::Transfer Socket::writeWithin(const char* buffer, unsigned long long offset, unsigned long long length,
                                     const Deadline& deadline) {
  return traced<probe("Socket::writeWithin")>([&] {
    requireHandle();
    return sendWithin(startOf(buffer, offset, length, {&host_, port_}), length, deadline);
  });
}

Socket::Transfer Socket::readMessageWithin(char* buffer, unsigned long long* frameLength,
                                           unsigned long long offset, unsigned long long capacity,
                                           bool drainTooLarge, const Deadline& deadline) {
  return traced<probe("Socket::readMessageWithin")>([&]() -> Transfer {
    requireHandle();
    std::array<char, lengthWordSize> word{};
    const Transfer head = receiveWithin(word.data(), word.size(), deadline);
    if (head.end == Transfer::EXPIRED) return {Transfer::EXPIRED, 0, head.bytes == 0};
    if (head.bytes == 0)
      raise<SocketException>(errors::ERR_SOCKET_CLOSED, errors::Host{host_}, errors::Port{port_});
    const unsigned long long length = getLengthWord(word);
    if (frameLength != nullptr) *frameLength = length;
    if (capacity < length) {
      if (drainTooLarge && drainWithin(length, deadline).end == Transfer::EXPIRED)
        return {Transfer::EXPIRED, 0, false};
      raise<SocketException>(errors::ERR_DEST_BUFFER_TOO_SMALL, errors::Size{capacity}, errors::Size{length});
    }
    char* const start = startOf(buffer, offset, length, {&host_, port_});
    if (head.end == Transfer::CLOSED) return {Transfer::CLOSED, 0, false};
    const Transfer payload = receiveWithin(start, length, deadline);
    return {payload.end, payload.bytes, payload.end == Transfer::COMPLETE};
  });
}

Socket::Transfer Socket::writeMessageWithin(const char* buffer, unsigned long long offset,
                                            unsigned long long length, const Deadline& deadline) {
  return traced<probe("Socket::writeMessageWithin")>([&]() -> Transfer {
    requireHandle();
    const char* const payload = startOf(buffer, offset, length, {&host_, port_});
    FrameHead head;
    const std::size_t joined = beginFrame(head, payload, length);
    const Transfer first = sendWithin(head.data(), lengthWordSize + joined, deadline);
    const unsigned long long sent =
        std::max<unsigned long long>(first.bytes, lengthWordSize) - lengthWordSize;
    if (first.end == Transfer::EXPIRED) return {Transfer::EXPIRED, sent, first.bytes == 0};
    const Transfer rest = sendWithin(payload + joined, length - joined, deadline);
    return {rest.end, joined + rest.bytes, rest.end == Transfer::COMPLETE};
  });
}

// --- options ------------------------------------------------------------------------------------------

void Socket::setNonBlocking(bool on) {
  traced<probe("Socket::setNonBlocking")>([&] {
    requireHandle();
    if (winsock().ioctlsocketNonBlocking(handle_, on ? 1 : 0) != 0) raiseLastError({&host_, port_});
  });
}

void Socket::setOption(int level, int option, int value) {
  if (winsock().setsockopt(handle_, level, option, value) != 0) raiseLastError({&host_, port_});
}

void Socket::setNoDelay(bool on) {
  traced<probe("Socket::setNoDelay")>([&] {
    requireHandle();
    setOption(platform::levelTcp, platform::optionNoDelay, on ? 1 : 0);
  });
}

void Socket::setTimeout(unsigned int milliseconds) {
  traced<probe("Socket::setTimeout")>([&] {
    requireHandle();
    setOption(platform::levelSocket, platform::optionReceiveTimeout, static_cast<int>(milliseconds));
    setOption(platform::levelSocket, platform::optionSendTimeout, static_cast<int>(milliseconds));
  });
}

// --- static -------------------------------------------------------------------------------------------

unsigned long long Socket::select(std::list<Socket>& readList, std::list<Socket>& writeList,
                                  std::list<Socket>& errorList, const unsigned long long* timeout) {
  if (readList.empty() && writeList.empty() && errorList.empty()) return 0;
  return traced<probe("Socket::select")>([&] {
    platform::SocketSet read = setOf(readList);
    platform::SocketSet write = setOf(writeList);
    platform::SocketSet error = setOf(errorList);
    const platform::TimeValue limit = timeValueOf(timeout == nullptr ? 0 : *timeout);
    const int count = winsock().select(read, write, error, timeout == nullptr ? nullptr : &limit);
    if (count == socketError) {
      const Socket& first = (!readList.empty()    ? readList
                             : !writeList.empty() ? writeList
                                                  : errorList)
                                .front();
      raiseLastError({&first.host_, first.port_});
    }
    keepReady(readList, read);
    keepReady(writeList, write);
    keepReady(errorList, error);
    return static_cast<unsigned long long>(count);
  });
}

int Socket::resolveAddrInfo(const icu::UnicodeString& host, unsigned short port, _AddrInfoExternal& record) {
  return traced<probe("Socket::resolveAddrInfo")>([&] {
    const std::string name = narrowHost(host);
    AddressList list;
    if (const int code = resolve(name, port, list); code != 0) return code;
    return encodeAddrInfo(name, port, list, record) ? 0 : wsa::noBuffers;
  });
}

}  // namespace tarvo::oss
