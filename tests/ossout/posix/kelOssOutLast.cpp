#include "infra/oss/kelPrintStream.hpp"

#include <cstdlib>

namespace {

void printLast() {
  tarvo::oss::ossOut << "the end " << 2 << '\n';
}

void registerFirst() {
  static_cast<void>(std::atexit(&printLast));
}

// Called by the loader before the initialisers of any library.
[[gnu::section(".preinit_array"), gnu::used]] void (*const beforeEverything)() = &registerFirst;

}  // namespace

int main() {
  tarvo::oss::ossOut << "main " << 1 << '\n';
}
