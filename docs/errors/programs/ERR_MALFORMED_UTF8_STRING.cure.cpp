#include <infra/oss/kelConverter.hpp>
#include <infra/oss/kelUTF8String.hpp>
#include <iostream>

using namespace tarvo::oss;

int main() {
  char utf8[40];
  Converter::convert(utf8, sizeof utf8, "ISO-8859-1",
                     "Gr\xFC\xDF"
                     "e",
                     "UTF-8");
  std::cout << UTF8String(utf8).numChars() << " characters\n";
  return 0;
}
