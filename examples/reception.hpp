#pragma once

#include "infra/oss/kelSocketServer.hpp"

#include "clients.hpp"
#include "conversation.hpp"
#include "documentAnalysis.hpp"

#include <chrono>
#include <fstream>
#include <string>

namespace documents {

/// Takes clients until it is asked to stop. A client for whom something is missing (a place, a descriptor, a
/// thread, memory) is refused: its connection is closed at once, the log says why, and the next client is
/// taken.
class Reception {
 public:
  /// `anyFile` names a file that can be opened, see `reserve_`. Settings and screen live longer than the
  /// object.
  Reception(const Settings& settings, std::string anyFile, Screen& screen);

  /// Listens, and serves clients until a stop signal comes or `wanted` clients were served; 0: no limit to
  /// their number. Then takes no new client and returns when those who are there have left. After a stop
  /// signal they have `stopTimeout` for it; then the process ends with status 0.
  ///   raises   ERR_SOCKET_TIMEOUT (host, port): no client came within `acceptTimeout`
  ///            what `SocketServer::listen` raises, and errors of `accept` that concern the listening socket
  ///            itself
  void run(unsigned long long wanted);

 private:
  using Clock = std::chrono::steady_clock;

  void takeNext();
  void takeOrRefuse();
  bool cameTo(tarvo::oss::Socket& socket);
  void refuseWaiting(const char* reason);
  void refuse(tarvo::oss::Socket& client, const char* reason);
  void finish();
  [[noreturn]] void cutOff();
  void sayEnd();

  const Settings& settings_;
  Screen& screen_;
  tarvo::oss::SocketServer listener_;
  Clients clients_;
  unsigned long long started_ = 0;
  Clock::time_point lastCame_;
  tarvo::oss::Socket refused_;  // to accept a client in spite of a shortage, only to close its connection
  // A descriptor that is given up when no other is left, so that the client who waits can be accepted and
  // refused.
  std::string reserveName_;
  std::ifstream reserve_;
};

}  // namespace documents
