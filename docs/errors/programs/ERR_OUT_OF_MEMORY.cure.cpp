#include <infra/oss/kelFormatter.hpp>
#include <infra/oss/kelNLSException.hpp>
#include <iostream>

using namespace tarvo::oss;

int main() {
  try {
    Formatter::setSettings();
    std::cout << "the settings are new\n";
  } catch (const NLSException&) {
    std::cout << "the settings are the former ones: try again later\n";
  }
  return 0;
}
