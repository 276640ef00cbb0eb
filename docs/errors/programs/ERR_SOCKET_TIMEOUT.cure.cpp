#include <infra/kelIdentifiers.hpp>
#include <infra/oss/kelSocketException.hpp>
#include <infra/oss/kelSocketServer.hpp>
#include <iostream>

using namespace tarvo::oss;

int main() {
  SocketServer server;
  server.listen(0, 1, true);
  Socket client, accepted;
  const unsigned long long milliseconds = 10;
  int connections = 0;
  while (connections == 0) {
    try {
      server.accept(accepted, &milliseconds);
      ++connections;
    } catch (const SocketException& error) {
      if (error.getErrorMessage().getMessageID() != tarvo::identifiers::ERR_SOCKET_TIMEOUT) throw;
      std::cout << "nobody came: time for other work\n";
      client.connect("127.0.0.1", server.getPort(), Socket::NullAddrInfoExternal, nullptr);
    }
  }
  std::cout << connections << " connection\n";
  return 0;
}
