#include <infra/util/kelExtendedProperties.hpp>
#include <iostream>

using namespace tarvo::util;

int main() {
  const ExtendedProperties settings;
  std::cout << settings.getPropertyAsInt32("port", 4711) << '\n';
  return 0;
}
