#include <infra/oss/kelFormatter.hpp>
#include <iostream>

using namespace tarvo::oss;

int main() {
  const icu::UnicodeString text = "12 apples";
  std::cout << Formatter::stringToInt32(text.tempSubString(0, text.indexOf(u' '))) << '\n';
  return 0;
}
