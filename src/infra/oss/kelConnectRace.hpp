#pragma once

#include "infra/oss/kelDeadline.hpp"

#include "oss/kelAddrInfo.hpp"
#include "oss/kelHandleGuard.hpp"
#include "platform/kelWinsock.hpp"

#include <cstddef>
#include <list>

namespace tarvo::oss {

/// Connects to several addresses at once, without threads. IPv4 and IPv6 addresses are tried in turn,
/// beginning with the family of the first address. The next attempt starts when the attempt before it has
/// failed, or `stagger` milliseconds after that attempt started.
class ConnectRace {
 public:
  struct Attempt {
    explicit Attempt(const platform::ResolvedAddress& to)
        : address(to), handle(platform::winsock().socket(to.family, to.socketType, to.protocol)) {}

    const platform::ResolvedAddress& address;
    HandleGuard handle;  ///< valid while the attempt is in progress
    int code = 0;        ///< the Winsock code, once it has failed
  };

  ConnectRace(const AddressList& list, const Deadline& deadline, unsigned long long stagger);

  /// Returns the first connection, which is blocking, or `invalidSocket` if every attempt failed or the
  /// deadline passed. The caller closes it.
  platform::SocketHandle run();

  /// The attempts in the order in which they were started.
  const std::list<Attempt>& attempts() const { return attempts_; }
  bool expired() const { return expired_; }

 private:
  std::size_t inFlight() const;
  platform::SocketHandle start();
  platform::SocketHandle await(const Deadline& limit);
  platform::SocketHandle finish(Attempt& attempt);
  void fail(Attempt& attempt, int code);

  AddressList order_;
  Deadline deadline_;
  unsigned long long stagger_;
  std::list<Attempt> attempts_;
  std::size_t next_ = 0;
  Deadline nextStart_ = Deadline::in(0);
  bool expired_ = false;
};

}  // namespace tarvo::oss
