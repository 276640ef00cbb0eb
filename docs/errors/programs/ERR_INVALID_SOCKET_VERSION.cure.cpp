#include <infra/oss/kelSocketException.hpp>
#include <infra/oss/kelSocketServer.hpp>
#include <iostream>

using namespace tarvo::oss;

int main() {
  try {
    SocketServer server;
    server.listen(0, 1, true);
    std::cout << "the server listens\n";
  } catch (const SocketException&) {
    std::cout << "there is no network: the program works without it\n";
  }
  return 0;
}
