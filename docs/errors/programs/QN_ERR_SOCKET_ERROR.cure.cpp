#include <infra/oss/kelSocketServer.hpp>
#include <iostream>
#include <list>

using namespace tarvo::oss;

int main() {
  SocketServer server;
  server.listen(0, 1, true);
  Socket client, accepted;
  client.connect("127.0.0.1", server.getPort(), Socket::NullAddrInfoExternal, nullptr);
  server.accept(accepted, nullptr);

  accepted.setNonBlocking(true);
  client.write("x", 0, 1);
  std::list<Socket> readable(1, accepted), none;
  Socket::select(readable, none, none, nullptr);  // waits until something has arrived
  char byte;
  std::cout << accepted.readOnce(&byte, 0, 1) << " byte\n";
  return 0;
}
