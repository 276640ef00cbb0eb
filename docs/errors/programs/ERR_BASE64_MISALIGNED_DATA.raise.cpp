#include <infra/oss/kelBaseException.hpp>
#include <infra/util/kelBase64.hpp>
#include <iostream>
#include <string>

using namespace tarvo::oss;
using namespace tarvo::util;

int main() {
  try {
    const unsigned short text[] = {'Z', 'm', '8', 0};  // the padding was left out
    char bytes[3];
    Base64::decode(bytes, sizeof bytes, text, 3);
  } catch (BaseException& error) {
    std::cout << error.what() << '\n';
    MessageList& messages = error.getMessages();
    for (const Message* m = messages.getFirstMsg(); m != nullptr; m = messages.getNextMsg()) {
      icu::UnicodeString line;
      std::string shown;
      std::cout << m->toString(line).toUTF8String(shown) << '\n';
    }
  }
  return 0;
}
