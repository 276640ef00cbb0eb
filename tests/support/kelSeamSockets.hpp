#pragma once

#include "platform/kelWinsock.hpp"
#include "support/kelPeer.hpp"
#include "support/kelRows.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <vector>

/// Sockets that are made with the functions of the platform layer, for the tests of these functions.
namespace tarvo::test {

using platform::invalidSocket;
using platform::SocketHandle;
using platform::SocketSet;
using platform::TimeValue;

using Address = std::vector<unsigned char>;

inline platform::Winsock& system() {
  return platform::systemWinsock();
}

inline int lastError() {
  return system().WSAGetLastError();
}

inline SocketHandle tcpSocket(int family = 2) {
  const SocketHandle handle = system().socket(family, 1, 6);
  EXPECT_NE(handle, invalidSocket);
  return handle;
}

/// The loopback address as a Winsock address.
inline Address loopback(unsigned int port = 0) {
  return {2,
          0,
          static_cast<unsigned char>(port >> 8),
          static_cast<unsigned char>(port),
          127,
          0,
          0,
          1,
          0,
          0,
          0,
          0,
          0,
          0,
          0,
          0};
}

inline Address loopback6(unsigned int port = 0) {
  Address address(28);
  address[0] = 23;
  address[2] = static_cast<unsigned char>(port >> 8);
  address[3] = static_cast<unsigned char>(port);
  address[23] = 1;
  return address;
}

inline Address nameOf(SocketHandle handle) {
  Address name(128);
  std::size_t length = name.size();
  EXPECT_EQ(system().getsockname(handle, name.data(), length), 0);
  name.resize(length);
  return name;
}

inline int connectTo(SocketHandle handle, const Address& address) {
  return system().connect(handle, address.data(), address.size());
}

inline SocketHandle socketOfAReachable(int family) {
  requireLoopback(family == loopback()[0] ? Family::ipv4 : Family::ipv6);
  return tcpSocket(family);
}

/// A listener on a free port, and both ends of one connection to it.
class Pair {
 public:
  explicit Pair(const Address& wildcard = loopback())
      : listener(socketOfAReachable(wildcard[0])), client(tcpSocket(wildcard[0])) {
    EXPECT_EQ(system().bind(listener, wildcard.data(), wildcard.size()), 0);
    EXPECT_EQ(system().listen(listener, 5), 0);
    address = nameOf(listener);
    EXPECT_EQ(connectTo(client, address), 0);
    server = system().accept(listener);
    EXPECT_NE(server, invalidSocket);
  }
  Pair(const Pair&) = delete;
  Pair& operator=(const Pair&) = delete;
  ~Pair() {
    for (const SocketHandle handle : {listener, client, server}) {
      if (handle != invalidSocket) system().closesocket(handle);
    }
  }

  SocketHandle listener;
  SocketHandle client;
  SocketHandle server = invalidSocket;
  Address address;
};

/// A socket whose connection its peer has reset.
class ResetConnection {
 public:
  ResetConnection() : client(tcpSocket()) {
    Peer peer;
    EXPECT_EQ(connectTo(client, loopback(peer.port())), 0);
    peer.accepts().resets();
    awaitReset(client);
  }
  ResetConnection(const ResetConnection&) = delete;
  ResetConnection& operator=(const ResetConnection&) = delete;
  ~ResetConnection() { system().closesocket(client); }

  SocketHandle client;
};

/// A function of the platform layer that takes a handle.
struct Function {
  const char* name;
  std::function<bool(SocketHandle)> fails;
};

inline std::vector<Function> functionsOfAHandle() {
  const auto is = [](int result) { return result == platform::socketError; };
  return {
      {"connect", [=](SocketHandle h) { return is(connectTo(h, loopback(1))); }},
      {"bind", [=](SocketHandle h) { return is(system().bind(h, loopback().data(), 16)); }},
      {"listen", [=](SocketHandle h) { return is(system().listen(h, 1)); }},
      {"accept", [](SocketHandle h) { return system().accept(h) == invalidSocket; }},
      {"closesocket", [=](SocketHandle h) { return is(system().closesocket(h)); }},
      {"send", [=](SocketHandle h) { return is(system().send(h, "x", 1)); }},
      {"send of nothing", [=](SocketHandle h) { return is(system().send(h, "x", 0)); }},
      {"recv",
       [=](SocketHandle h) {
         char byte = 0;
         return is(system().recv(h, &byte, 1));
       }},
      {"shutdown", [=](SocketHandle h) { return is(system().shutdown(h, 2)); }},
      {"ioctlsocket", [=](SocketHandle h) { return is(system().ioctlsocketNonBlocking(h, 1)); }},
      {"setsockopt", [=](SocketHandle h) { return is(system().setsockopt(h, 0xFFFF, 4, 1)); }},
      {"setsockopt of a timeout",
       [=](SocketHandle h) { return is(system().setsockopt(h, 0xFFFF, 0x1006, 1)); }},
      {"setsockopt of no delay", [=](SocketHandle h) { return is(system().setsockopt(h, 6, 1, 1)); }},
      {"getsockopt",
       [=](SocketHandle h) {
         int value = 0;
         return is(system().getsockopt(h, 0xFFFF, 0x1007, value));
       }},
      {"getsockname",
       [=](SocketHandle h) {
         unsigned char name[128];
         std::size_t length = sizeof name;
         return is(system().getsockname(h, name, length));
       }},
      {"select for reading",
       [=](SocketHandle h) {
         SocketSet read;
         SocketSet none;
         SocketSet noneEither;
         read.add(h);
         const TimeValue aWhile = {10, 0};  // with a timeout of 0, select need not notice the bad handle
         return is(system().select(read, none, noneEither, &aWhile));
       }},
      {"select for an error",
       [=](SocketHandle h) {
         SocketSet error;
         SocketSet none;
         SocketSet noneEither;
         error.add(h);
         return is(system().select(none, noneEither, error, nullptr));
       }},
  };
}

inline void expectNoSocket(SocketHandle handle) {
  for (const Function& function : rowsOf(functionsOfAHandle())) {
    system().WSASetLastError(0);
    EXPECT_TRUE(function.fails(handle));
    EXPECT_EQ(lastError(), 10038);
  }
}

}  // namespace tarvo::test
