#include <cstddef>
#include <cstring>

/// A copy to a place of known size. Compiled with the options of the library, it is a checked call.
extern char eightBytes[8];
void copyToEightBytes(const char* bytes, std::size_t length);

char eightBytes[8];

void copyToEightBytes(const char* bytes, std::size_t length) {
  std::memcpy(eightBytes, bytes, length);
}
