#include <infra/oss/kelSocketServer.hpp>
#include <iostream>

using namespace tarvo::oss;

int main() {
  SocketServer server;
  server.listen(0, 1, true);
  Socket client, accepted;
  client.connect("127.0.0.1", server.getPort(), Socket::NullAddrInfoExternal, nullptr);
  server.accept(accepted, nullptr);

  client.write("unread", 0, 6);
  client.shutdownSend();
  char buffer[40];
  while (accepted.readOnce(buffer, 0, sizeof buffer) != 0) continue;  // up to the end, and only then
  accepted.close();
  std::cout << "the end after " << client.readOnce(buffer, 0, sizeof buffer) << " bytes\n";
  return 0;
}
