#include <infra/util/kelBase64.hpp>
#include <iostream>

using namespace tarvo::util;

int main() {
  unsigned short text[] = {'Z', 'm', '-', 'v', 0};
  for (unsigned short& unit : text) {
    if (unit == '-') unit = '+';
    if (unit == '_') unit = '/';
  }
  char bytes[3];
  std::cout << Base64::decode(bytes, sizeof bytes, text, 4) << " bytes\n";
  return 0;
}
