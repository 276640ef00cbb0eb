#include "oss/kelSocketError.hpp"

#include "platform/kelWinsock.hpp"
#include "text/kelTranscoding.hpp"
#include "trace/kelTrace.hpp"

#include <algorithm>

namespace tarvo::oss {

SocketException mappedError(int code, const Peer& peer, SourcePlace place) {
  return trace::traced<trace::probe("Socket::socketError")>([&] {
    const auto* const named =
        std::find_if(errors::socketErrors.begin(), errors::socketErrors.end(),
                     [&](const errors::CodeEntry& entry) { return entry.code == code; });
    const bool generic = named == errors::socketErrors.end();
    const errors::Code number{code};
    if (peer.host == nullptr) return makeError<SocketException>({errors::QN_ERR_SOCKET_ERROR, place}, number);
    const errors::Host host{*peer.host};
    const errors::Port port{peer.port};
    return generic ? makeError<SocketException>({errors::QN_ERR_SOCKET_ERROR, place}, number, host, port)
                   : makeError<SocketException>({named->entry, place}, host, port);
  });
}

void raiseMapped(int code, const Peer& peer, SourcePlace place) {
  throw mappedError(code, peer, place);
}

void raiseLastError(const Peer& peer, SourcePlace place) {
  raiseMapped(platform::winsock().WSAGetLastError(), peer, place);
}

void raiseResolverError(int code, const Peer& peer, SourcePlace place) {
  // The system's text may be empty. The text is passed as a UnicodeString, because an empty `const char*`
  // text would add no argument.
  const icu::UnicodeString text = text::toUnicode(platform::winsock().systemText(code).c_str(), -1, nullptr);
  raise<SocketException>({errors::ERR_SOCKET_GETADDRINFO_ERROR, place}, errors::Host{*peer.host},
                         errors::Port{peer.port}, errors::Code{code}, errors::Text{text});
}

std::string serviceText(unsigned int port) {
  return std::to_string(port);
}

}  // namespace tarvo::oss
