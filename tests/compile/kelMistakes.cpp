#include "infra/oss/kelSocketServer.hpp"

#include <chrono>

// Mistakes of newcomers that do not compile. The compiler shows the line of the declaration, whose comment
// names the cure.

namespace {

using tarvo::oss::Socket;
using tarvo::oss::SocketServer;

[[maybe_unused]] void waitForMilliseconds(Socket& socket, SocketServer& server, unsigned long long timeout) {
  const std::chrono::seconds seconds(5);
  // shows: const unsigned long long* timeout);  // milliseconds by pointer: &timeout
  socket.connect("localhost", 1, Socket::NullAddrInfoExternal, 5000);     // reported: connect|int
  socket.connect("localhost", 1, Socket::NullAddrInfoExternal, timeout);  // reported: connect|long
  socket.connect("localhost", 1, Socket::NullAddrInfoExternal, seconds);  // reported: connect|chrono
  socket.connect("localhost", 1, Socket::NullAddrInfoExternal, &timeout);
  socket.connect("localhost", 1, Socket::NullAddrInfoExternal, nullptr);

  // shows: accept(Socket& client, const unsigned long long* timeout);  // milliseconds by pointer: &timeout
  server.accept(socket, 5000);  // reported: accept|int
  server.accept(socket, &timeout);
}

[[maybe_unused]] void assign(Socket& socket, const Socket& other) {
  // shows: = delete;  // keep sockets in a std::list, not in a std::vector
  socket = other;  // reported: deleted
}

}  // namespace
