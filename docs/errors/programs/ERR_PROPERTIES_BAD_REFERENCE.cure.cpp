#include <infra/util/kelExtendedProperties.hpp>
#include <iostream>
#include <string>

using namespace tarvo::util;

int main() {
  const std::string text = "home = /srv\nlog = %home%/log.txt\n";
  ExtendedProperties settings;
  settings.load(text.data(), text.size());
  std::string log;
  std::cout << settings.requireProperty("log").toUTF8String(log) << '\n';
  return 0;
}
