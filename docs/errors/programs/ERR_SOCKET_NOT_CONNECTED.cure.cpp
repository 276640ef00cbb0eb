#include <infra/oss/kelSocketServer.hpp>
#include <iostream>

using namespace tarvo::oss;

int main() {
  SocketServer server;
  server.listen(0, 1, true);
  Socket client, accepted;
  client.connect("127.0.0.1", server.getPort(), Socket::NullAddrInfoExternal, nullptr);
  server.accept(accepted, nullptr);

  client.write("hello", 0, 5);
  char buffer[5];
  std::cout << accepted.read(buffer, 0, sizeof buffer) << " bytes\n";
  return 0;
}
