#include <infra/oss/kelBaseException.hpp>
#include <infra/oss/kelConverter.hpp>
#include <iostream>
#include <string>

using namespace tarvo::oss;

int main() {
  try {
    char buffer[40];
    Converter::convert(buffer, sizeof buffer, "ISO-8859-99", "text", "UTF-8");  // there is no such code page
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
