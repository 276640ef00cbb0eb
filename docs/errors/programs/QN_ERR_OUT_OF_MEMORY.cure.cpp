#include <infra/oss/kelConverter.hpp>
#include <infra/oss/kelSizeableBuffer.hpp>
#include <iostream>

using namespace tarvo::oss;

// A buffer of at most `maximum` bytes.
class Limited : public SizeableBuffer<char, 4> {
 public:
  explicit Limited(unsigned long long maximum) { setMaximumSize(maximum); }
};

int main() {
  Limited bytes(1000);
  std::cout << Converter::convertToBytes(u"more than eight", "UTF-8", bytes) << " bytes\n";
  return 0;
}
