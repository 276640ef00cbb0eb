#include "support/kelResolverText.hpp"

#include <winsock2.h>
// Behind it.
#include <windows.h>

namespace tarvo::test {

// On one line, and nothing where the system has no message for the code.
std::string textOfAnUnknownService() {
  constexpr DWORD flags =
      FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK;
  char text[1024] = {};
  const DWORD count = ::FormatMessageA(flags, nullptr, WSATYPE_NOT_FOUND,
                                       MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), text, sizeof text, nullptr);
  return {text, count};
}

}  // namespace tarvo::test
