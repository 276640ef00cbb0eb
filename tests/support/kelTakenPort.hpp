#pragma once

#include "infra/oss/kelSocketServer.hpp"

#include <optional>

namespace tarvo::test {

/// A port on which servers listen in both families, so that no further server can listen on it. On systems
/// where an IPv6 listener does not take the port of IPv4 too, this needs a second server, which takes the
/// port of IPv6.
class TakenPort {
 public:
  TakenPort();
  /// `port` is a port on which a server already listens with IPv4.
  explicit TakenPort(unsigned int port);

  unsigned int number() const { return number_; }

 private:
  std::optional<oss::SocketServer> first_;
  std::optional<oss::SocketServer> second_;
  unsigned int number_;
};

}  // namespace tarvo::test
