#pragma once

#include "infra/oss/kelSocket.hpp"

#include "support/kelPeer.hpp"

namespace tarvo::test {

/// A connected `Socket` and its peer.
struct Connection {
  explicit Connection(Family family = Family::ipv4) : peer(family) {
    socket.connect(peer.host(), peer.port(), oss::Socket::NullAddrInfoExternal, nullptr);
    peer.accepts();
  }

  const char* host() const { return peer.host(); }
  unsigned int port() const { return peer.port(); }
  Handle handle() const { return socket.handle(); }

  Peer peer;
  oss::Socket socket;
};

}  // namespace tarvo::test
