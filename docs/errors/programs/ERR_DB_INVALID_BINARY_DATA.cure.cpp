#include <infra/oss/kelDataBuffer.hpp>
#include <iostream>

using namespace tarvo::oss;

int main() {
  DataBuffer buffer("");
  buffer.appendBinary("\x0a\xff", 2, false);
  char bytes[2];
  const int size = buffer.decodeBinary(bytes, sizeof bytes);
  std::cout << buffer.getString() << " is " << size << " bytes\n";
  return 0;
}
