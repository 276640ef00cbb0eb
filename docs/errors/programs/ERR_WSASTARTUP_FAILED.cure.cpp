#include <infra/oss/kelSocketException.hpp>
#include <infra/oss/kelSocketServer.hpp>
#include <iostream>

using namespace tarvo::oss;

int main() {
  try {
    const Socket first;  // tries once, at the start of the program
    std::cout << "the network is available\n";
  } catch (const SocketException&) {
    std::cout << "there is no network: the program works without it\n";
  }
  return 0;
}
