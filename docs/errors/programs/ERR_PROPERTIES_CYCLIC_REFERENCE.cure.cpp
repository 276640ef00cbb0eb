#include <infra/util/kelExtendedProperties.hpp>
#include <iostream>
#include <string>

using namespace tarvo::util;

int main() {
  const std::string text = "a = x%b%\nb = y\n";
  ExtendedProperties settings;
  settings.load(text.data(), text.size());
  std::string a;
  std::cout << settings.requireProperty("a").toUTF8String(a) << '\n';
  return 0;
}
