#include "support/kelResolverText.hpp"

#include <winsock2.h>
// Must be included after winsock2.h, because windows.h would include the first version of Winsock.
#include <windows.h>

namespace tarvo::test {

// The text is on one line. It is empty if the system has no message for the code.
std::string textOfAnUnknownService() {
  constexpr DWORD flags =
      FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK;
  char text[1024] = {};
  const DWORD count = ::FormatMessageA(flags, nullptr, WSATYPE_NOT_FOUND,
                                       MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), text, sizeof text, nullptr);
  return {text, count};
}

}  // namespace tarvo::test
