#include <infra/util/kelBase64.hpp>
#include <iostream>
#include <string>
#include <vector>

using namespace tarvo::util;

int main() {
  std::vector<unsigned short> text = {'Z', 'm', '8'};
  while (text.size() % 4 != 0) text.push_back('=');
  text.push_back(0);
  std::vector<char> bytes(Base64::decodeSize(text.size() - 1));
  const std::size_t size = Base64::decode(bytes.data(), bytes.size(), text.data(), text.size() - 1);
  std::cout << std::string(bytes.data(), size) << '\n';
  return 0;
}
