#include <infra/oss/kelSocketServer.hpp>
#include <iostream>

using namespace tarvo::oss;

int main() {
  SocketServer server;
  server.listen(0, 1, true);
  Socket client, accepted;
  client.connect("127.0.0.1", server.getPort(), Socket::NullAddrInfoExternal, nullptr);
  server.accept(accepted, nullptr);

  client.close();
  client.connect("127.0.0.1", server.getPort(), Socket::NullAddrInfoExternal, nullptr);
  server.accept(accepted, nullptr);
  client.write("x", 0, 1);
  char byte;
  std::cout << accepted.readOnce(&byte, 0, 1) << " byte\n";
  return 0;
}
