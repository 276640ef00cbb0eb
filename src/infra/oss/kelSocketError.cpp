#include "oss/kelSocketError.hpp"

#include "platform/kelWinsock.hpp"
#include "text/kelTranscoding.hpp"
#include "trace/kelTrace.hpp"

#include <algorithm>

namespace tarvo::oss {

SocketException mappedError(int code, const Peer& peer, SourcePlace place) {
  return trace::traced<trace::probe("Socket::socketError")>([&] {
    const auto* const named = std::find_if(socketErrorNames.begin(), socketErrorNames.end(),
                                           [&](const SocketErrorName& name) { return name.code == code; });
    const bool generic = named == socketErrorNames.end();
    auto error = makeError<SocketException>({generic ? "QN_ERR_SOCKET_ERROR" : named->identifier, place});
    Message& message = error.getErrorMessage();
    if (generic) message.addArgument(code);
    if (peer.host != nullptr) {
      message.addArgument(*peer.host);
      message.addArgument(peer.port);
    }
    return error;
  });
}

void raiseMapped(int code, const Peer& peer, SourcePlace place) {
  throw mappedError(code, peer, place);
}

void raiseLastError(const Peer& peer, SourcePlace place) {
  raiseMapped(platform::winsock().WSAGetLastError(), peer, place);
}

void raiseResolverError(int code, const Peer& peer, SourcePlace place) {
  // The text may be empty. It is passed as a string, since an empty narrow text would add no argument.
  const icu::UnicodeString text = text::toUnicode(platform::winsock().systemText(code).c_str(), -1, nullptr);
  raise<SocketException>({"ERR_SOCKET_GETADDRINFO_ERROR", place}, *peer.host, peer.port, code, text);
}

std::string serviceText(unsigned int port) {
  return std::to_string(port);
}

}  // namespace tarvo::oss
