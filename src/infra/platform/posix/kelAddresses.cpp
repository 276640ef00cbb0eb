#include "platform/posix/kelAddresses.hpp"

#include "machine/kelByteOrder.hpp"
#include "platform/kelWinsockChecks.hpp"
#include "platform/posix/kelLastError.hpp"
#include "platform/posix/kelWinsockCodes.hpp"

#include <netdb.h>
#include <netinet/in.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>

namespace tarvo::platform::posix {
namespace {

static_assert(inetAddressSize == sizeof(sockaddr_in) && inet6AddressSize == sizeof(sockaddr_in6),
              "Winsock's addresses have the layout of the system's");

int toWinsockFamily(int family) noexcept {
  return family == AF_INET6 ? familyInet6 : family;
}

/// Converts the bytes of a system address to a Winsock address, in place. A Winsock address differs from a
/// system address in the number of the family, and in the byte order of the family and the scope.
void toWinsockAddress(unsigned char* address, std::size_t length, int family) noexcept {
  const std::uint16_t number = machine::littleEndian(static_cast<std::uint16_t>(toWinsockFamily(family)));
  std::memcpy(address, &number, std::min(length, sizeof number));
  if (family == AF_INET6 && length >= inet6AddressSize) {
    machine::putLittleEndian(address + scopeOffset, machine::nativeAt<std::uint32_t>(address + scopeOffset));
  }
}

ResolvedAddress toResolved(const addrinfo& entry) {
  ResolvedAddress resolved;
  resolved.flags = entry.ai_flags;
  resolved.family = toWinsockFamily(entry.ai_family);
  resolved.socketType = entry.ai_socktype;
  resolved.protocol = entry.ai_protocol;
  const auto* const bytes = reinterpret_cast<const unsigned char*>(entry.ai_addr);
  resolved.address.assign(bytes, bytes + entry.ai_addrlen);
  toWinsockAddress(resolved.address.data(), resolved.address.size(), entry.ai_family);
  if (entry.ai_canonname != nullptr) resolved.canonicalName = entry.ai_canonname;
  return resolved;
}

}  // namespace

int toNative(const unsigned char* address, std::size_t length, NativeAddress& native) noexcept {
  if (const int refusal = addressRefusal(address, length); refusal != 0) return refusal;
  const int family = familyOf(address);
  const std::size_t needed = family == familyInet ? inetAddressSize : inet6AddressSize;
  native.storage = {};
  std::memcpy(&native.storage, address, needed);
  native.storage.ss_family = family == familyInet ? AF_INET : AF_INET6;
  if (family == familyInet6) {
    const auto scope = machine::littleEndianAt<std::uint32_t>(address + scopeOffset);
    std::memcpy(reinterpret_cast<unsigned char*>(&native.storage) + scopeOffset, &scope, sizeof scope);
  }
  native.length = static_cast<socklen_t>(needed);
  return 0;
}

int readName(NameFunction function, int descriptor, unsigned char* address, std::size_t& length) noexcept {
  sockaddr_storage storage{};
  socklen_t size = sizeof storage;
  const int result = answer(function(descriptor, reinterpret_cast<sockaddr*>(&storage), &size));
  if (result != 0) return result;
  length = std::min<std::size_t>(length, size);
  std::memcpy(address, &storage, length);
  toWinsockAddress(address, length, storage.ss_family);
  return 0;
}

int resolve(const char* node, const char* service, const AddressHints& hints,
            std::vector<ResolvedAddress>& list) {
  if (isBeyondPorts(service)) return wsa::typeNotFound;
  addrinfo wanted{};
  wanted.ai_flags = (hints.flags & passiveFlag) != 0 ? AI_PASSIVE : 0;
  if ((hints.flags & numericHostFlag) != 0) wanted.ai_flags |= AI_NUMERICHOST;
  wanted.ai_family = hints.family == familyInet6 ? AF_INET6 : hints.family;
  wanted.ai_socktype = hints.socketType;
  wanted.ai_protocol = hints.protocol;
  addrinfo* first = nullptr;
  const int result = ::getaddrinfo(node, service, &wanted, &first);
  if (result == EAI_SYSTEM) return winsockCode(errno);
  if (result != 0) return winsockResolverCode(result);
  const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owner(first, &::freeaddrinfo);
  for (const addrinfo* entry = first; entry != nullptr; entry = entry->ai_next)
    list.push_back(toResolved(*entry));
  return 0;
}

}  // namespace tarvo::platform::posix
