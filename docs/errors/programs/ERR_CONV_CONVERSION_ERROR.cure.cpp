#include <infra/oss/kelConverter.hpp>
#include <iostream>

using namespace tarvo::oss;

int main() {
  char buffer[40];
  const int size = Converter::convert(buffer, sizeof buffer, "ISO-8859-15", "text", "UTF-8");
  std::cout << buffer << ", " << size << " bytes with its NUL\n";
  return 0;
}
