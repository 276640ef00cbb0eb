#pragma once

#include "platform/kelWinsock.hpp"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tarvo::test {

/// A Winsock that calls the system and fails in the n-th call. While an object exists, it replaces the
/// platform's Winsock. It allocates nothing. Even a `closesocket` that fails closes its socket.
class FaultyWinsock final : public platform::Winsock {
 public:
  using SocketHandle = platform::SocketHandle;
  using SocketSet = platform::SocketSet;

  enum class Function {
    none,
    startup,
    cleanup,
    socket,
    connect,
    bind,
    listen,
    accept,
    closesocket,
    select,
    send,
    recv,
    sendNow,
    recvNow,
    poll,
    shutdown,
    nonBlocking,
    blocking,
    setsockopt,
    getsockopt,
    getsockname,
    getpeername,
    getaddrinfo,
  };
  /// How a call fails: with a code, or, if the function can do so, with a bad result and no code: another
  /// version from the start-up, a pending error from getsockopt, no address from getaddrinfo.
  enum class Failure { code, answer };

  static constexpr std::size_t never = 1'000'000;

  FaultyWinsock(std::size_t nth, int code, Failure failure = Failure::code);
  FaultyWinsock(const FaultyWinsock&) = delete;
  FaultyWinsock& operator=(const FaultyWinsock&) = delete;
  ~FaultyWinsock();

  /// Whether the n-th call was made, and the function that it called; `none` if this function cannot have the
  /// bad result.
  bool came() const { return left_ == 0; }
  Function struck() const { return struck_; }
  Failure failure() const { return failure_; }
  /// The number of starts that have not had their clean-up yet.
  int started() const { return started_; }

  int WSAStartup(std::uint16_t version, platform::StartupData& data) override;
  int WSACleanup() override;
  int WSAGetLastError() override { return system_.WSAGetLastError(); }
  void WSASetLastError(int code) override { system_.WSASetLastError(code); }
  SocketHandle socket(int family, int type, int protocol) override;
  int connect(SocketHandle handle, const unsigned char* address, std::size_t length) override;
  int bind(SocketHandle handle, const unsigned char* address, std::size_t length) override;
  int listen(SocketHandle handle, unsigned int backlog) override;
  SocketHandle accept(SocketHandle listening) override;
  void wakeAccept(SocketHandle listening) override { system_.wakeAccept(listening); }
  int closesocket(SocketHandle handle) override;
  int select(SocketSet& read, SocketSet& write, SocketSet& error,
             const platform::TimeValue* timeout) override;
  int send(SocketHandle handle, const char* bytes, int length) override;
  int recv(SocketHandle handle, char* bytes, int length) override;
  int sendNow(SocketHandle handle, const char* bytes, int length) override;
  int recvNow(SocketHandle handle, char* bytes, int length) override;
  int poll(platform::PollEntry* entries, std::size_t count, long long milliseconds) override;
  int shutdown(SocketHandle handle, int how) override;
  int ioctlsocketNonBlocking(SocketHandle handle, unsigned long mode) override;
  int setsockopt(SocketHandle handle, int level, int option, int value) override;
  int getsockopt(SocketHandle handle, int level, int option, int& value) override;
  int getsockname(SocketHandle handle, unsigned char* address, std::size_t& length) override;
  int getpeername(SocketHandle handle, unsigned char* address, std::size_t& length) override;
  int getaddrinfo(const char* node, const char* service, const platform::AddressHints& hints,
                  std::vector<platform::ResolvedAddress>& list) override;
  std::string systemText(int code) override { return system_.systemText(code); }

 private:
  bool fails(Function function);
  template <class Call>
  auto call(Function function, Call forward);

  platform::Winsock& system_;
  platform::Winsock* former_;
  std::size_t left_;
  int code_;
  Failure failure_;
  Function struck_ = Function::none;
  int started_ = 0;
};

}  // namespace tarvo::test
