#include <infra/oss/kelSocketServer.hpp>
#include <iostream>

using namespace tarvo::oss;

int main() {
  SocketServer first, second;
  first.listen(0, 1, false);
  second.listen(0, 1, false);  // the system chooses a port that is free
  std::cout << (first.getPort() != second.getPort() ? "two ports" : "one port") << '\n';
  return 0;
}
