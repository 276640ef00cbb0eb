#include <infra/kelIdentifiers.hpp>
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

  client.writeMessage("hello", 0, 5);
  client.close();
  int frames = 0;
  try {
    for (char buffer[40];; ++frames) accepted.readMessage(buffer, nullptr, 0, sizeof buffer, true);
  } catch (const SocketException& error) {
    if (error.getErrorMessage().getMessageID() != tarvo::identifiers::ERR_SOCKET_CLOSED) throw;
  }
  std::cout << frames << " frame, then the orderly end\n";
  return 0;
}
