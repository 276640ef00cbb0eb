#include <infra/oss/kelSocketServer.hpp>
#include <iostream>

using namespace tarvo::oss;

int main() {
  SocketServer server;
  server.listen(0, 1, true);
  for (const unsigned int port : {70000U, server.getPort()}) {
    if (port > 65535) {
      std::cout << port << " is no port\n";
      continue;
    }
    Socket client;
    client.connect("127.0.0.1", port, Socket::NullAddrInfoExternal, nullptr);
    std::cout << "connected\n";
  }
  return 0;
}
