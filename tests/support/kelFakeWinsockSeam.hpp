#pragma once

#include "platform/kelWinsock.hpp"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace tarvo::test {

/// Replaces the platform's Winsock until the end of the scope. It records every call and forwards it to the
/// platform, except for the calls that a test makes fail or replaces. Calls may come from any thread; set up
/// failures and replacements before other threads make calls.
///
///     FakeWinsock fake;
///     fake.failing("connect", 2).with(10061);             // the second connect from now on
///     fake.on.recv = [](auto, char*, int length) { return length; };
///     ...
///     EXPECT_THAT(fake.steps(), ElementsAre("getaddrinfo(\"h\", \"80\", 0, 0, 1, 0)", "socket(2, 1, 6)", ...
///
/// In the records, handles are #1, #2, ... in the order in which they were opened. The invalid handle is
/// `none`; a handle that was not opened through this object is its plain number.
class FakeWinsock final : public platform::Winsock {
 public:
  using SocketHandle = platform::SocketHandle;
  using SocketSet = platform::SocketSet;

  /// Functions that are called instead of the system's functions, if a test sets them. To fail, they `return
  /// fake.fails(code)`.
  struct Replacements {
    std::function<int(std::uint16_t, platform::StartupData&)> WSAStartup;
    std::function<int()> WSACleanup;
    std::function<SocketHandle(int, int, int)> socket;
    std::function<int(SocketHandle, const unsigned char*, std::size_t)> connect;
    std::function<int(SocketHandle, const unsigned char*, std::size_t)> bind;
    std::function<int(SocketHandle, unsigned int)> listen;
    std::function<SocketHandle(SocketHandle)> accept;
    std::function<void(SocketHandle)> wakeAccept;
    std::function<int(SocketHandle)> closesocket;
    std::function<int(SocketSet&, SocketSet&, SocketSet&, const platform::TimeValue*)> select;
    std::function<int(SocketHandle, const char*, int)> send;
    std::function<int(SocketHandle, char*, int)> recv;
    std::function<int(SocketHandle, const char*, int)> sendNow;
    std::function<int(SocketHandle, char*, int)> recvNow;
    std::function<int(platform::PollEntry*, std::size_t, long long)> poll;
    std::function<int(SocketHandle, int)> shutdown;
    std::function<int(SocketHandle, unsigned long)> ioctlsocketNonBlocking;
    std::function<int(SocketHandle, int, int, int)> setsockopt;
    std::function<int(SocketHandle, int, int, int&)> getsockopt;
    std::function<int(SocketHandle, unsigned char*, std::size_t&)> getsockname;
    std::function<int(SocketHandle, unsigned char*, std::size_t&)> getpeername;
    std::function<int(const char*, const char*, const platform::AddressHints&,
                      std::vector<platform::ResolvedAddress>&)>
        getaddrinfo;
    std::function<std::string(int)> systemText;
  };
  Replacements on;

  FakeWinsock();
  FakeWinsock(const FakeWinsock&) = delete;
  FakeWinsock& operator=(const FakeWinsock&) = delete;
  /// Fails the running test if a failure that was set up has not happened.
  ~FakeWinsock();

  /// Makes the `nth` call of `function`, counted from now, fail. Only that call fails; it is not forwarded.
  class Failing {
   public:
    void with(int code) { fake_.arrange(function_, nth_, code); }

   private:
    friend class FakeWinsock;
    Failing(FakeWinsock& fake, std::string_view function, int nth)
        : fake_(fake), function_(function), nth_(nth) {}

    FakeWinsock& fake_;
    std::string function_;
    int nth_;
  };
  Failing failing(std::string_view function, int nth = 1) { return {*this, function, nth}; }

  /// For replacements: sets the last error and returns the result of a call that fails.
  int fails(int code);
  SocketHandle opensNothing(int code);
  /// From now on, every successful call sets the last error to `code`, as a system may do.
  void successSets(int code) { successCode_ = code; }
  /// From now on, new sockets get the handles `first`, `first` + 1, ..., and every call with them succeeds
  /// without using the network.
  void inventsHandles(SocketHandle first);

  /// All calls so far in order, as function(arguments), without WSAGetLastError and WSASetLastError.
  std::vector<std::string> calls() const;
  /// All calls so far in order, without start-ups and clean-ups.
  std::vector<std::string> steps() const;
  /// The number of calls of `function` so far, including calls that failed.
  int countOf(std::string_view function) const;
  /// Removes the calls so far from the record. If no handle is open, the next one is #1 again.
  void forget();

  /// The number of successful calls so far.
  int starts() const;
  int cleanups() const;
  std::vector<SocketHandle> openHandles() const;

  int WSAStartup(std::uint16_t version, platform::StartupData& data) override;
  int WSACleanup() override;
  int WSAGetLastError() override;
  void WSASetLastError(int code) override;
  SocketHandle socket(int family, int type, int protocol) override;
  int connect(SocketHandle handle, const unsigned char* address, std::size_t length) override;
  int bind(SocketHandle handle, const unsigned char* address, std::size_t length) override;
  int listen(SocketHandle handle, unsigned int backlog) override;
  SocketHandle accept(SocketHandle listening) override;
  void wakeAccept(SocketHandle listening) override;
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
  std::string systemText(int code) override;

 private:
  struct Call {
    std::string function;
    std::string arguments;
  };
  struct Arranged {
    int atCall;
    int code;
  };

  void arrange(const std::string& function, int nth, int code);
  /// Records the call. Returns the code with which the call must fail, or nullopt if it must not fail.
  std::optional<int> note(const std::string& function, std::string arguments);
  template <class Result, class... Parameters, class... Arguments>
  Result answer(const char* function, std::string arguments,
                const std::function<Result(Parameters...)>& replacement,
                Result (Winsock::*real)(Parameters...), Arguments&&... given);
  void spoilLastError();
  void opened(SocketHandle handle);
  void closed(SocketHandle handle);
  std::string label(SocketHandle handle) const;
  std::string label(const SocketSet& set) const;
  std::vector<std::string> written(bool withStarts) const;

  platform::Winsock* former_;
  std::optional<int> successCode_;
  mutable std::mutex mutex_;
  std::vector<Call> calls_;
  std::map<std::string, int> counts_;
  std::multimap<std::string, Arranged> arranged_;
  std::map<SocketHandle, int> labels_;
  std::vector<SocketHandle> open_;
  int lastLabel_ = 0;
  int starts_ = 0;
  int cleanups_ = 0;
  std::atomic<int> pretendedStarts_ = 0;  ///< answered by a replacement and not yet cleaned up
};

/// Returns a result of the resolver with one IPv4 address; `text` is for example "127.0.0.1".
platform::ResolvedAddress inetAddress(const char* text, unsigned int port);
/// Returns a result of the resolver with one IPv6 address, which is given as its 16 bytes.
platform::ResolvedAddress inet6Address(const std::vector<unsigned char>& bytes, unsigned int port);

}  // namespace tarvo::test
