#include <infra/oss/kelMessageList.hpp>
#include <iostream>

using namespace tarvo::oss;

int main() {
  MessageList messages;
  const Message* const first = messages.getFirstMsg();
  std::cout << (first == nullptr ? "no message" : "a message") << '\n';
  return 0;
}
