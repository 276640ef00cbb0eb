#include <infra/oss/kelBaseException.hpp>
#include <infra/util/kelExtendedProperties.hpp>
#include <iostream>
#include <string>

using namespace tarvo::oss;
using namespace tarvo::util;

int main() {
  try {
    const std::string text = "log = %home%/log.txt\n";
    ExtendedProperties settings;
    settings.load(text.data(), text.size());
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
