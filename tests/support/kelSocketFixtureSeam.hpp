#pragma once

#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketException.hpp"
#include "infra/trace/kelTraceFacility.hpp"

#include "support/kelFakeWinsockSeam.hpp"
#include "support/kelHandles.hpp"
#include "support/kelRaises.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace tarvo::test {

/// A trace facility with all hooks enabled. Each hook overwrites the thread's last error.
class SpoilingTrace {
 public:
  SpoilingTrace() {
    flags_[trace::componentIndex] = 0xFFFFFFFF;
    trace::Facility facility;
    facility.componentTraceFlags = flags_;
    facility.diagDispatchEntry = facility.diagDispatchExit =
        facility.traceEntry = [](std::uint32_t) { spoil(); };
    facility.traceExit = [](std::uint32_t, int) { spoil(); };
    facility.traceFlightRecord = [](std::uint32_t, int, int, int) { spoil(); };
    trace::install(facility);
  }
  SpoilingTrace(const SpoilingTrace&) = delete;
  SpoilingTrace& operator=(const SpoilingTrace&) = delete;
  ~SpoilingTrace() { trace::uninstall(); }

 private:
  static void spoil() { platform::systemWinsock().WSASetLastError(10998); }

  std::uint32_t flags_[trace::componentIndex + 1] = {};
};

/// Matches the error that a member raises after a system call failed with `code`.
inline RaisesMatcher<oss::SocketException> RaisesMapped(int code, const std::string& host,
                                                        unsigned int port) {
  static const std::vector<std::pair<int, const char*>> names = {
      {10048, "QN_ERR_SOCKET_ADDRESS_IN_USE"}, {10054, "QN_ERR_SOCKET_CONNECTION_RESET"},
      {10057, "QN_ERR_SOCKET_NOT_CONNECTED"},  {10058, "QN_ERR_SOCKET_SHUTDOWN"},
      {10060, "QN_ERR_SOCKET_TIMEOUT"},        {10061, "QN_ERR_SOCKET_CONNECTION_REFUSED"}};
  for (const auto& [known, identifier] : names) {
    if (known == code) return Raises<oss::SocketException>(identifier, host, port);
  }
  return Raises<oss::SocketException>("QN_ERR_SOCKET_ERROR", code, host, port);
}

/// Codes for tables of failing calls: some have an identifier, the others raise QN_ERR_SOCKET_ERROR.
inline constexpr int sampleCodes[] = {10054, 10038, 10060, 10055, 10022};

/// A fixture whose sockets use a FakeWinsock. Every successful call sets an unrelated last error. At the end
/// of each test it checks that all handles are closed and that each start-up had its clean-up.
class SocketFixture : public testing::Test {
 protected:
  SocketFixture() : descriptors_(openDescriptors()) { fake.successSets(10999); }

  void TearDown() override { expectNothingLeft(); }

  void expectNothingLeft() const {
    EXPECT_EQ(fake.openHandles(), std::vector<platform::SocketHandle>{});
    EXPECT_EQ(fake.starts(), fake.cleanups());
    EXPECT_EQ(openDescriptors(), descriptors_);
  }

  void resolvesTo(std::vector<platform::ResolvedAddress> answer) {
    fake.on.getaddrinfo = [answer = std::move(answer)](auto, auto, const auto&, auto& list) {
      list = answer;
      return 0;
    };
  }
  void connectsAtOnce() {
    fake.on.connect = [](auto, auto, auto) { return 0; };
  }
  /// Makes connect report "in progress" and select report the socket as writable.
  void connectsLater() {
    fake.on.connect = [this](auto, auto, auto) { return fake.fails(platform::wsa::wouldBlock); };
    fake.on.select = [](auto& read, auto& write, auto& error, auto) {
      read.count = error.count = 0;
      return static_cast<int>(write.count);
    };
  }
  /// Connects `socket` to peer.example:4711 at once. The handle is real, but there is no peer.
  void connected(oss::Socket& socket) {
    resolvesTo({inetAddress("10.0.0.1", 4711)});
    connectsAtOnce();
    socket.connect("peer.example", 4711, oss::Socket::NullAddrInfoExternal, nullptr);
    fake.forget();
  }

  FakeWinsock fake;

 private:
  std::size_t descriptors_;
};

}  // namespace tarvo::test
