#include <infra/oss/kelBaseException.hpp>
#include <infra/oss/kelSocketServer.hpp>
#include <iostream>
#include <string>

using namespace tarvo::oss;

int main() {
  try {
    SocketServer first, second;
    first.listen(0, 1, false);
    second.listen(first.getPort(), 1, false);
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
