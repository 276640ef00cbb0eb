#include <infra/kelIdentifiers.hpp>
#include <infra/oss/kelSocketException.hpp>
#include <infra/oss/kelSocketServer.hpp>
#include <iostream>

using namespace tarvo::oss;

int main() {
  SocketServer server;
  server.listen(0, 1, true);
  const unsigned int port = server.getPort();
  server.close();  // the server is not running yet
  Socket client;
  for (bool connected = false; !connected;) {
    try {
      client.connect("127.0.0.1", port, Socket::NullAddrInfoExternal, nullptr);
      connected = true;
    } catch (const SocketException& error) {
      if (error.getErrorMessage().getMessageID() != tarvo::identifiers::QN_ERR_SOCKET_CONNECTION_REFUSED)
        throw;
      std::cout << "the server is starting\n";  // a client would pause here
      server.listen(port, 1, true);
    }
  }
  std::cout << "connected\n";
  return 0;
}
