#include "oss/kelConnectRace.hpp"

#include "oss/kelPollTime.hpp"

#include <algorithm>
#include <array>

namespace tarvo::oss {

using platform::invalidSocket;
using platform::PollEntry;
using platform::ResolvedAddress;
using platform::socketError;
using platform::SocketHandle;
using platform::winsock;
namespace wsa = platform::wsa;

namespace {

constexpr std::size_t mostInFlight = 6;
constexpr unsigned long long leastStagger = 10;

/// Returns the list with alternating families. Within a family the order stays.
AddressList alternating(const AddressList& list) {
  AddressList like;
  AddressList unlike;
  for (const ResolvedAddress& address : list)
    (address.family == list.front().family ? like : unlike).push_back(address);
  AddressList order;
  for (std::size_t i = 0; order.size() < list.size(); ++i) {
    if (i < like.size()) order.push_back(like[i]);
    if (i < unlike.size()) order.push_back(unlike[i]);
  }
  return order;
}

/// `result` is what a function of Winsock returned. Returns 0 if the function succeeded, otherwise its error
/// code.
int codeOf(int result) {
  return result == socketError ? winsock().WSAGetLastError() : 0;
}

}  // namespace

ConnectRace::ConnectRace(const AddressList& list, const Deadline& deadline, unsigned long long stagger)
    : order_(alternating(list)), deadline_(deadline), stagger_(std::max(stagger, leastStagger)) {}

SocketHandle ConnectRace::run() {
  while (next_ < order_.size() || inFlight() > 0) {
    if (deadline_.hasPassed()) {
      expired_ = true;
      return invalidSocket;
    }
    const bool another = next_ < order_.size() && inFlight() < mostInFlight;
    const SocketHandle connected = another && nextStart_.hasPassed()
                                       ? start()
                                       : await(another ? std::min(nextStart_, deadline_) : deadline_);
    if (connected != invalidSocket) return connected;
  }
  return invalidSocket;
}

std::size_t ConnectRace::inFlight() const {
  return static_cast<std::size_t>(std::count_if(
      attempts_.begin(), attempts_.end(), [](const Attempt& attempt) { return attempt.handle.valid(); }));
}

/// Starts the next attempt. Returns the handle of the attempt if it is connected at once.
SocketHandle ConnectRace::start() {
  const ResolvedAddress& address = order_[next_++];
  Attempt& attempt = attempts_.emplace_back(address);
  nextStart_ = Deadline::in(stagger_);
  if (!attempt.handle.valid() || winsock().ioctlsocketNonBlocking(attempt.handle.get(), 1) != 0) {
    fail(attempt, winsock().WSAGetLastError());
    return invalidSocket;
  }
  const int code =
      codeOf(winsock().connect(attempt.handle.get(), address.address.data(), address.address.size()));
  if (code == 0) return finish(attempt);
  if (code != wsa::wouldBlock) fail(attempt, code);
  return invalidSocket;
}

/// Waits for the attempts in flight. Returns the handle of one that is connected.
SocketHandle ConnectRace::await(const Deadline& limit) {
  std::array<PollEntry, mostInFlight> entries;
  std::array<Attempt*, mostInFlight> flying{};
  std::size_t count = 0;
  for (Attempt& attempt : attempts_) {
    if (!attempt.handle.valid()) continue;
    entries[count] = {attempt.handle.get(), PollEntry::write, 0};
    flying[count++] = &attempt;
  }
  const int ready = winsock().poll(entries.data(), count, pollTime(limit));
  if (const int code = codeOf(ready); code != 0) {
    for (std::size_t i = 0; i < count; ++i) fail(*flying[i], code);
  }
  for (std::size_t i = 0; ready > 0 && i < count; ++i) {
    if (entries[i].ready == 0) continue;
    int pending = 0;
    int code = codeOf(
        winsock().getsockopt(entries[i].handle, platform::levelSocket, platform::optionError, pending));
    if (code == 0) code = pending;
    if (code != 0) {
      fail(*flying[i], code);
    } else if (const SocketHandle connected = finish(*flying[i]); connected != invalidSocket) {
      return connected;
    }
  }
  return invalidSocket;
}

SocketHandle ConnectRace::finish(Attempt& attempt) {
  if (const int code = codeOf(winsock().ioctlsocketNonBlocking(attempt.handle.get(), 0)); code != 0) {
    fail(attempt, code);
    return invalidSocket;
  }
  return attempt.handle.release();
}

void ConnectRace::fail(Attempt& attempt, int code) {
  attempt.code = code;
  if (&attempt == &attempts_.back()) nextStart_ = Deadline::in(0);
  const HandleGuard closed(attempt.handle.release());
}

}  // namespace tarvo::oss
