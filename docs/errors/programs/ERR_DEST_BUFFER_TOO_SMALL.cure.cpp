#include <infra/oss/kelSocketException.hpp>
#include <infra/oss/kelSocketServer.hpp>
#include <iostream>

using namespace tarvo::oss;

int main() {
  SocketServer server;
  server.listen(0, 1, true);
  Socket client, accepted;
  client.connect("127.0.0.1", server.getPort(), Socket::NullAddrInfoExternal, nullptr);
  server.accept(accepted, nullptr);

  client.writeMessage("five!", 0, 5);
  client.writeMessage("four", 0, 4);
  char buffer[4];
  const bool drainTooLarge = true;  // the connection stays usable
  try {
    accepted.readMessage(buffer, nullptr, 0, sizeof buffer, drainTooLarge);
  } catch (const SocketException&) {
    std::cout << "the frame is too large\n";
  }
  const unsigned long long size = accepted.readMessage(buffer, nullptr, 0, sizeof buffer, drainTooLarge);
  std::cout << "the next frame has " << size << " bytes\n";
  return 0;
}
