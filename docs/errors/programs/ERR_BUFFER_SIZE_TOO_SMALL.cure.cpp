#include <infra/oss/kelConverter.hpp>
#include <iostream>
#include <vector>

using namespace tarvo::oss;

int main() {
  const icu::UnicodeString text = u"seven";
  const int size = Converter::convert(nullptr, 0, "UTF-8", text);
  std::vector<char> buffer(static_cast<std::size_t>(size));
  Converter::convert(buffer.data(), size, "UTF-8", text);
  std::cout << buffer.data() << " takes " << size << " bytes with its NUL\n";
  return 0;
}
