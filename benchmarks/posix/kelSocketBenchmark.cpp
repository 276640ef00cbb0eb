// Sockets compared with system calls, over loopback. Both ends use the one core to which the program is
// pinned.
// Names are "class/task/candidate"; the candidate KELINFRA is compared with the others of its task.
#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketServer.hpp"

#include "posix/kelSocketTasks.hpp"

#include <benchmark/benchmark.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <list>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace tarvo::benchmarks::sockets;
using tarvo::benchmarks::refuse;
using tarvo::benchmarks::timed;

/// Sends and receives with the library, on a connection of the library.
struct Ours : Connection {
  int peer() const { return acceptedDescriptor(); }
  void endOfSending() { client.shutdownSend(); }

  void send(const char* bytes, std::size_t size) { client.write(bytes, 0, size); }
  void receive(char* bytes, std::size_t size) { check(client.read(bytes, 0, size) == size, "read"); }
};

/// Sends and receives with system calls, on the descriptor of a connection of the library.
struct Bare : Ours {
  void send(const char* bytes, std::size_t size) const { sendAll(clientDescriptor(), bytes, size); }
  void receive(char* bytes, std::size_t size) const {
    check(receiveAll(clientDescriptor(), bytes, size), "recv");
  }
};

constexpr std::size_t frameSize = 128;
using Frame = std::array<char, frameSize>;

/// `exchange(connection, bytes)` sends a frame and replaces `bytes` by the frame received; the peer echoes.
template <class Exchange>
void exchangesFrames(benchmark::State& state, Exchange exchange) {
  Ours connection;
  const Echo<Ours> echo(connection, frameSize + 4);
  Frame bytes;
  for (std::size_t i = 0; i < frameSize; ++i) bytes[i] = static_cast<char>(i * 7);
  const Frame sent = bytes;
  exchange(connection, bytes);
  if (bytes != sent) return refuse(state, "the frame differs");
  timed(state, [&] { exchange(connection, bytes); });
}

std::size_t receiveFrame(int descriptor, Frame& bytes) {
  std::uint32_t word = 0;
  check(receiveAll(descriptor, reinterpret_cast<char*>(&word), sizeof word), "recv");
  const std::size_t length = ntohl(word);
  check(length <= bytes.size() && receiveAll(descriptor, bytes.data(), length), "recv");
  return length;
}

void frameOurs(benchmark::State& state) {
  exchangesFrames(state, [](Ours& connection, Frame& bytes) {
    unsigned long long length = 0;
    connection.client.writeMessage(bytes.data(), 0, bytes.size());
    check(connection.client.readMessage(bytes.data(), &length, 0, bytes.size(), false) == frameSize, "frame");
  });
}

void framePosixOneSend(benchmark::State& state) {
  exchangesFrames(state, [](Ours& connection, Frame& bytes) {
    std::array<char, frameSize + 4> frame;
    const std::uint32_t word = htonl(frameSize);
    std::memcpy(frame.data(), &word, sizeof word);
    std::memcpy(frame.data() + sizeof word, bytes.data(), bytes.size());
    sendAll(connection.clientDescriptor(), frame.data(), frame.size());
    check(receiveFrame(connection.clientDescriptor(), bytes) == frameSize, "frame");
  });
}

void framePosixTwoSends(benchmark::State& state) {
  exchangesFrames(state, [](Ours& connection, Frame& bytes) {
    const std::uint32_t word = htonl(frameSize);
    sendAll(connection.clientDescriptor(), reinterpret_cast<const char*>(&word), sizeof word);
    sendAll(connection.clientDescriptor(), bytes.data(), bytes.size());
    check(receiveFrame(connection.clientDescriptor(), bytes) == frameSize, "frame");
  });
}

void connectOurs(benchmark::State& state) {
  SocketServer server;
  server.listen(0, 16, true);
  const unsigned long long timeout = 10000;
  timed(state, [&] {
    Socket client;
    Socket accepted;
    client.connect(loopback, server.getPort(), Socket::NullAddrInfoExternal, &timeout);
    server.accept(accepted, &timeout);
  });
}

/// A listening descriptor and its port, as service text.
struct BareServer {
  BareServer() : descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    socklen_t size = sizeof address;
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    check(bind(descriptor, get(), size) == 0 && listen(descriptor, 16) == 0, "listen");
    check(getsockname(descriptor, get(), &size) == 0, "getsockname");
    service = std::to_string(ntohs(address.sin_port));
  }
  BareServer(const BareServer&) = delete;
  BareServer& operator=(const BareServer&) = delete;
  ~BareServer() { close(descriptor); }

  sockaddr* get() { return reinterpret_cast<sockaddr*>(&address); }

  int descriptor;
  sockaddr_in address{};
  std::string service;
};

/// Makes the steps of `connect` and `accept` with system calls: resolve, connect without blocking, wait, ask
/// for the error.
void connectPosixSameSteps(benchmark::State& state) {
  BareServer server;
  timed(state, [&] {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    check(getaddrinfo("127.0.0.1", server.service.c_str(), &hints, &list) == 0, "getaddrinfo");
    const int client = socket(list->ai_family, list->ai_socktype | SOCK_CLOEXEC, list->ai_protocol);
    const int flags = fcntl(client, F_GETFL);
    fcntl(client, F_SETFL, flags | O_NONBLOCK);
    if (connect(client, list->ai_addr, list->ai_addrlen) != 0) check(isReady(client, POLLOUT), "connect");
    freeaddrinfo(list);
    fcntl(client, F_SETFL, flags);
    int value = 0;
    socklen_t size = sizeof value;
    check(getsockopt(client, SOL_SOCKET, SO_ERROR, &value, &size) == 0 && value == 0, "SO_ERROR");
    value = 1;
    check(setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &value, sizeof value) == 0, "TCP_NODELAY");
    check(isReady(server.descriptor, POLLIN), "poll");
    const int accepted = accept4(server.descriptor, nullptr, nullptr, SOCK_CLOEXEC);
    check(accepted >= 0, "accept");
    close(accepted);
    close(client);
  });
}

void connectPosixLeast(benchmark::State& state) {
  BareServer server;
  timed(state, [&] {
    const int client = socket(AF_INET, SOCK_STREAM, 0);
    check(connect(client, server.get(), sizeof server.address) == 0, "connect");
    const int accepted = accept(server.descriptor, nullptr, nullptr);
    check(accepted >= 0, "accept");
    close(accepted);
    close(client);
  });
}

/// Each wait needs a new list, because select removes the sockets that are not ready.
void selectOurs(benchmark::State& state) {
  const auto connections = idleConnections(state.range(0));
  const unsigned long long timeout = 0;
  timed(state, [&] {
    std::list<Socket> read;
    std::list<Socket> none;
    for (const auto& connection : connections) read.push_back(connection->accepted);
    check(Socket::select(read, none, none, &timeout) == 1 && read.size() == 1, "select");
  });
}

void selectPoll(benchmark::State& state) {
  const auto connections = idleConnections(state.range(0));
  timed(state, [&] {
    std::vector<pollfd> entries;
    entries.reserve(connections.size());
    for (const auto& connection : connections)
      entries.push_back({connection->acceptedDescriptor(), POLLIN, 0});
    check(poll(entries.data(), entries.size(), 0) == 1, "poll");
  });
}

BENCHMARK(roundTrips<Ours>)->Name("Socket/round trip of 64 B/KELINFRA")->Arg(64)->UseRealTime();
BENCHMARK(roundTrips<Bare>)->Name("Socket/round trip of 64 B/send and recv")->Arg(64)->UseRealTime();
BENCHMARK(roundTrips<Ours>)->Name("Socket/round trip of 64 KiB/KELINFRA")->Arg(65536)->UseRealTime();
BENCHMARK(roundTrips<Bare>)->Name("Socket/round trip of 64 KiB/send and recv")->Arg(65536)->UseRealTime();
BENCHMARK(frameOurs)->Name("Socket/frame of 128 B there and back/KELINFRA")->UseRealTime();
BENCHMARK(framePosixOneSend)->Name("Socket/frame of 128 B there and back/one send")->UseRealTime();
BENCHMARK(framePosixTwoSends)->Name("Socket/frame of 128 B there and back/two sends")->UseRealTime();
BENCHMARK(connectOurs)->Name("Socket/connect, accept, close/KELINFRA")->UseRealTime();
BENCHMARK(connectPosixSameSteps)->Name("Socket/connect, accept, close/the same steps")->UseRealTime();
BENCHMARK(connectPosixLeast)->Name("Socket/connect, accept, close/the fewest steps")->UseRealTime();
BENCHMARK(selectOurs)->Name("Socket/select over 60/KELINFRA")->Arg(60);
BENCHMARK(selectPoll)->Name("Socket/select over 60/poll")->Arg(60);
BENCHMARK(selectOurs)->Name("Socket/select over 1/KELINFRA")->Arg(1);
BENCHMARK(selectPoll)->Name("Socket/select over 1/poll")->Arg(1);

}  // namespace
