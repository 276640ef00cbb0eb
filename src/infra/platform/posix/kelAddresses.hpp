#pragma once

#include "platform/kelWinsock.hpp"

#include <sys/socket.h>

#include <cstddef>
#include <vector>

/// Socket addresses in the system's form and in Winsock's form, and the resolver, which returns addresses.
namespace tarvo::platform::posix {

/// A socket address in the system's own numbers.
struct NativeAddress {
  sockaddr_storage storage;
  socklen_t length;

  const sockaddr* get() const noexcept { return reinterpret_cast<const sockaddr*>(&storage); }
};

/// Translates a Winsock address into the system's form. Returns 0, or a Winsock code if the address is
/// invalid.
int toNative(const unsigned char* address, std::size_t length, NativeAddress& native) noexcept;

/// Does the same as Winsock::getsockname and Winsock::getpeername: `function` is the system's function of
/// that name.
using NameFunction = int (*)(int, sockaddr*, socklen_t*);
int readName(NameFunction function, int descriptor, unsigned char* address, std::size_t& length) noexcept;

/// Does the same as Winsock::getaddrinfo.
int resolve(const char* node, const char* service, const AddressHints& hints,
            std::vector<ResolvedAddress>& list);

}  // namespace tarvo::platform::posix
