#include <infra/util/kelExtendedProperties.hpp>
#include <iostream>

using namespace tarvo::util;

int main() {
  ExtendedProperties settings;
  settings.putProperty("timeout.seconds", "10");
  std::cout << settings.getPropertyAsInt32("timeout.seconds", 5) << '\n';
  return 0;
}
