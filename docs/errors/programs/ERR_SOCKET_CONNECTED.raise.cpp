#include <infra/oss/kelBaseException.hpp>
#include <infra/oss/kelSocketServer.hpp>
#include <iostream>
#include <string>

using namespace tarvo::oss;

int main() {
  try {
    SocketServer server;
    server.listen(0, 1, true);
    Socket client;
    client.connect("127.0.0.1", server.getPort(), Socket::NullAddrInfoExternal, nullptr);
    client.connect("127.0.0.1", server.getPort(), Socket::NullAddrInfoExternal, nullptr);
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
