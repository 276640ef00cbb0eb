#pragma once

#include "infra/oss/kelSocket.hpp"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <list>
#include <mutex>
#include <thread>

namespace documents {

/// The connected clients. Each client is served in a separate thread. Only the thread that owns the object
/// calls its members.
class Clients {
 public:
  /// Serves the client with this number until it has left. Raises nothing.
  using Serve = std::function<void(tarvo::oss::Socket&, unsigned long long number)>;

  explicit Clients(Serve serve);
  Clients(const Clients&) = delete;
  Clients& operator=(const Clients&) = delete;
  /// Waits until all have left.
  ~Clients();

  /// Returns the socket for the next client to be accepted. It is the same socket until `serveNext` succeeds.
  tarvo::oss::Socket& nextSocket();
  /// Serves the client that was accepted into `nextSocket`. If no thread can be made, the client's connection
  /// is closed.
  ///   raises   std::system_error: there are too few threads; std::bad_alloc
  void serveNext(unsigned long long number);

  /// Returns the number of clients, including those that have left since the last `removeDone`.
  std::size_t count() const { return clients_.size(); }
  void removeDone();
  /// Waits until a client leaves, but not longer than `limit`. If a client has left since the last
  /// `removeDone`, returns at once.
  void waitForDeparture(std::chrono::milliseconds limit);

 private:
  struct Client {
    tarvo::oss::Socket socket;
    std::thread thread;
    bool done = false;
  };

  void serve(Client& client, unsigned long long number) noexcept;

  Serve serve_;
  std::list<Client> clients_;
  std::list<Client> next_;  // empty, or the one to come
  std::mutex mutex_;        // for `done`, and for closing a client's socket
  std::condition_variable departed_;
};

}  // namespace documents
