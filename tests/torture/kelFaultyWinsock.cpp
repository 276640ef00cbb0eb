#include "torture/kelFaultyWinsock.hpp"

#include <type_traits>

namespace tarvo::test {

FaultyWinsock::FaultyWinsock(std::size_t nth, int code, Failure failure)
    : system_(platform::systemWinsock()),
      former_(platform::currentWinsock),
      left_(nth),
      code_(code),
      failure_(failure) {
  platform::currentWinsock = this;
}

FaultyWinsock::~FaultyWinsock() {
  platform::currentWinsock = former_;
}

bool FaultyWinsock::fails(Function function) {
  if (left_ == 0 || --left_ > 0) return false;
  const bool answers =
      function == Function::startup || function == Function::getsockopt || function == Function::getaddrinfo;
  if (failure_ == Failure::answer && !answers) return false;
  struck_ = function;
  if (failure_ == Failure::code) system_.WSASetLastError(code_);
  return true;
}

/// A call that reports failure by returning -1 or the invalid handle.
template <class Call>
auto FaultyWinsock::call(Function function, Call forward) {
  using Result = std::invoke_result_t<Call>;
  return fails(function) ? static_cast<Result>(-1) : forward();
}

int FaultyWinsock::WSAStartup(std::uint16_t version, platform::StartupData& data) {
  const bool failing = fails(Function::startup);
  if (failing && failure_ == Failure::code) return code_;
  ++started_;
  const int result = system_.WSAStartup(version, data);
  if (failing) data.version = 0x0101;
  return result;
}

int FaultyWinsock::WSACleanup() {
  --started_;
  const int result = system_.WSACleanup();
  return fails(Function::cleanup) ? platform::socketError : result;
}

platform::SocketHandle FaultyWinsock::socket(int family, int type, int protocol) {
  return call(Function::socket, [&] { return system_.socket(family, type, protocol); });
}

int FaultyWinsock::connect(SocketHandle handle, const unsigned char* address, std::size_t length) {
  // "Would block" is not a failure: it means that an attempt to connect is in progress.
  if (failure_ == Failure::code && code_ == platform::wsa::wouldBlock)
    return system_.connect(handle, address, length);
  return call(Function::connect, [&] { return system_.connect(handle, address, length); });
}

int FaultyWinsock::bind(SocketHandle handle, const unsigned char* address, std::size_t length) {
  return call(Function::bind, [&] { return system_.bind(handle, address, length); });
}

int FaultyWinsock::listen(SocketHandle handle, unsigned int backlog) {
  return call(Function::listen, [&] { return system_.listen(handle, backlog); });
}

platform::SocketHandle FaultyWinsock::accept(SocketHandle listening) {
  return call(Function::accept, [&] { return system_.accept(listening); });
}

int FaultyWinsock::closesocket(SocketHandle handle) {
  const int result = system_.closesocket(handle);
  return fails(Function::closesocket) ? platform::socketError : result;
}

int FaultyWinsock::select(SocketSet& read, SocketSet& write, SocketSet& error,
                          const platform::TimeValue* timeout) {
  return call(Function::select, [&] { return system_.select(read, write, error, timeout); });
}

int FaultyWinsock::send(SocketHandle handle, const char* bytes, int length) {
  return call(Function::send, [&] { return system_.send(handle, bytes, length); });
}

int FaultyWinsock::recv(SocketHandle handle, char* bytes, int length) {
  return call(Function::recv, [&] { return system_.recv(handle, bytes, length); });
}

int FaultyWinsock::sendNow(SocketHandle handle, const char* bytes, int length) {
  return call(Function::sendNow, [&] { return system_.sendNow(handle, bytes, length); });
}

int FaultyWinsock::recvNow(SocketHandle handle, char* bytes, int length) {
  return call(Function::recvNow, [&] { return system_.recvNow(handle, bytes, length); });
}

int FaultyWinsock::poll(platform::PollEntry* entries, std::size_t count, long long milliseconds) {
  return call(Function::poll, [&] { return system_.poll(entries, count, milliseconds); });
}

int FaultyWinsock::shutdown(SocketHandle handle, int how) {
  return call(Function::shutdown, [&] { return system_.shutdown(handle, how); });
}

int FaultyWinsock::ioctlsocketNonBlocking(SocketHandle handle, unsigned long mode) {
  return call(mode == 0 ? Function::blocking : Function::nonBlocking,
              [&] { return system_.ioctlsocketNonBlocking(handle, mode); });
}

int FaultyWinsock::setsockopt(SocketHandle handle, int level, int option, int value) {
  return call(Function::setsockopt, [&] { return system_.setsockopt(handle, level, option, value); });
}

int FaultyWinsock::getsockopt(SocketHandle handle, int level, int option, int& value) {
  const bool failing = fails(Function::getsockopt);
  if (failing && failure_ == Failure::code) return platform::socketError;
  const int result = system_.getsockopt(handle, level, option, value);
  if (failing) value = code_;
  return result;
}

int FaultyWinsock::getsockname(SocketHandle handle, unsigned char* address, std::size_t& length) {
  return call(Function::getsockname, [&] { return system_.getsockname(handle, address, length); });
}

int FaultyWinsock::getpeername(SocketHandle handle, unsigned char* address, std::size_t& length) {
  return call(Function::getpeername, [&] { return system_.getpeername(handle, address, length); });
}

int FaultyWinsock::getaddrinfo(const char* node, const char* service, const platform::AddressHints& hints,
                               std::vector<platform::ResolvedAddress>& list) {
  if (!fails(Function::getaddrinfo)) return system_.getaddrinfo(node, service, hints, list);
  return failure_ == Failure::code ? code_ : 0;
}

}  // namespace tarvo::test
