#include "clients.hpp"

#include <algorithm>
#include <utility>

namespace documents {

using tarvo::oss::Socket;

Clients::Clients(Serve serve) : serve_(std::move(serve)) {}

Clients::~Clients() {
  for (Client& client : clients_) client.thread.join();
}

Socket& Clients::nextSocket() {
  if (next_.empty()) next_.emplace_back();
  return next_.front().socket;
}

void Clients::serveNext(unsigned long long number) {
  Client& client = next_.front();
  try {
    client.thread = std::thread([this, &client, number] { serve(client, number); });
  } catch (...) {
    client.socket.close();
    throw;
  }
  clients_.splice(clients_.end(), next_);
}

void Clients::serve(Client& client, unsigned long long number) noexcept {
  serve_(client.socket, number);
  const std::lock_guard<std::mutex> lock(mutex_);
  client.socket.close();
  client.done = true;
  departed_.notify_one();
}

void Clients::removeDone() {
  const std::lock_guard<std::mutex> lock(mutex_);
  clients_.remove_if([](Client& client) {
    if (client.done) client.thread.join();
    return client.done;
  });
}

void Clients::waitForDeparture(std::chrono::milliseconds limit) {
  std::unique_lock<std::mutex> lock(mutex_);
  departed_.wait_for(lock, limit, [this] {
    return std::any_of(clients_.begin(), clients_.end(), [](const Client& client) { return client.done; });
  });
}

}  // namespace documents
