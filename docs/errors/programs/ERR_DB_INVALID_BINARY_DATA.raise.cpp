#include <infra/oss/kelBaseException.hpp>
#include <infra/oss/kelDataBuffer.hpp>
#include <iostream>
#include <string>

using namespace tarvo::oss;

int main() {
  try {
    const DataBuffer buffer("0aff");  // without X and apostrophes
    buffer.decodeBinary(nullptr, 0);
  } catch (BaseException& error) {
    std::cout << error.what() << '\n';
    MessageList& messages = error.getMessages();
    for (const Message* m = messages.getFirstMsg(); m != nullptr; m = messages.getNextMsg()) {
      icu::UnicodeString line;
      std::string bytes;
      std::cout << m->toString(line).toUTF8String(bytes) << '\n';
    }
  }
  return 0;
}
