#pragma once

#include "platform/kelWinsock.hpp"

#include <sys/socket.h>

#include <cstddef>
#include <vector>

/// Socket addresses in the system's form and in Winsock's, and the resolver that makes them.
namespace tarvo::platform::posix {

/// A socket address in the system's own numbers.
struct NativeAddress {
  sockaddr_storage storage;
  socklen_t length;

  const sockaddr* get() const noexcept { return reinterpret_cast<const sockaddr*>(&storage); }
};

/// Translates Winsock's address. Returns 0, or the Winsock code that says what is wrong with it.
int toNative(const unsigned char* address, std::size_t length, NativeAddress& native) noexcept;

/// As Winsock::getsockname.
int readName(int descriptor, unsigned char* address, std::size_t& length) noexcept;

/// As Winsock::getaddrinfo.
int resolve(const char* node, const char* service, const AddressHints& hints,
            std::vector<ResolvedAddress>& list);

}  // namespace tarvo::platform::posix
