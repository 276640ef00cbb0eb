#include "torture/kelFurtherRequests.hpp"

namespace tarvo::test {

std::size_t furtherRequests(std::string_view subject, std::string_view operation) {
  // The host name in the system's wide characters.
  if (subject == "Socket" && operation == "connect to an address in digits") return 1;
  // The record that the listener has a socket to wake it.
  if (subject == "SocketServer" && operation == "listen") return 1;
  return 0;
}

}  // namespace tarvo::test
