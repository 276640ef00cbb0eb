#include <infra/oss/kelSocketServer.hpp>
#include <iostream>

using namespace tarvo::oss;

int main() {
  SocketServer server;
  server.listen(0, 2, true);
  Socket client;
  client.connect("127.0.0.1", server.getPort(), Socket::NullAddrInfoExternal, nullptr);
  client.close();
  client.connect("127.0.0.1", server.getPort(), Socket::NullAddrInfoExternal, nullptr);
  std::cout << "connected again\n";
  return 0;
}
