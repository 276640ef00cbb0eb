#include <infra/oss/kelSocketServer.hpp>
#include <iostream>

using namespace tarvo::oss;

int main() {
  SocketServer server;
  server.listen(0, 1, true);
  server.close();
  server.listen(0, 1, true);
  std::cout << "listens again\n";
  return 0;
}
