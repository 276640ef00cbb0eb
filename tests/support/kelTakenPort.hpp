#pragma once

#include "infra/oss/kelSocketServer.hpp"

#include <optional>

namespace tarvo::test {

/// A port that servers listen on in each family that a further server could take. Where a listener of IPv6 leaves IPv4
/// alone, a second server gets the port of IPv6 and only a third one gets none.
class TakenPort {
 public:
  TakenPort();
  /// For a port that a server listens on by IPv4.
  explicit TakenPort(unsigned int port);

  unsigned int number() const { return number_; }

 private:
  std::optional<oss::SocketServer> first_;
  std::optional<oss::SocketServer> second_;
  unsigned int number_;
};

}  // namespace tarvo::test
