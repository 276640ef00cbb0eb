#include <infra/oss/kelBaseException.hpp>
#include <infra/oss/kelConverter.hpp>
#include <infra/oss/kelSizeableBuffer.hpp>
#include <iostream>
#include <string>

using namespace tarvo::oss;

// A buffer of at most `maximum` bytes.
class Limited : public SizeableBuffer<char, 4> {
 public:
  explicit Limited(unsigned long long maximum) { setMaximumSize(maximum); }
};

int main() {
  try {
    Limited bytes(8);
    Converter::convertToBytes(u"more than eight", "UTF-8", bytes);
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
