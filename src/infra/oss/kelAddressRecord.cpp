#include "infra/oss/kelAddressRecord.hpp"

#include "oss/kelAddrInfo.hpp"
#include "oss/kelAddressText.hpp"
#include "platform/kelWinsockChecks.hpp"
#include "text/kelMemory.hpp"

#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

namespace tarvo::oss {
namespace {

constexpr const char* names[] = {
    "NONE",      "WRONG_LENGTH",         "NO_LIST",    "USED_TOO_LARGE", "HOST_NOT_TERMINATED",
    "TRUNCATED", "WRONG_ADDRESS_LENGTH", "EMPTY_LIST", "UNKNOWN_FAMILY", "DIFFERENT_FAMILY"};

std::string visible(std::string_view text) {
  constexpr const char* digits = "0123456789ABCDEF";
  std::string result;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte > ' ' && byte < 0x7F && byte != '\\') {
      result += character;
    } else {
      result += {'\\', 'x', digits[byte >> 4], digits[byte & 0xF]};
    }
  }
  return result;
}

std::string entryText(const platform::ResolvedAddress& entry) {
  const unsigned char* const bytes = entry.address.data();
  const std::size_t length = entry.address.size();
  if (platform::addressRefusal(bytes, length) != 0 || platform::familyOf(bytes) != entry.family)
    return "address of family " + std::to_string(entry.family);
  return "address " + addressText(bytes, length) + " port " + std::to_string(addressPort(bytes, length));
}

}  // namespace

AddressRecord::Result AddressRecord::check(const void* bytes, unsigned long long length) {
  Socket::_AddrInfoExternal record;
  if (length != sizeof record) return {WRONG_LENGTH, 0, 0};
  std::memcpy(&record, bytes, sizeof record);
  const ScannedRecord scanned = scanAddrInfo(record);
  return {scanned.fault, static_cast<unsigned int>(scanned.offset),
          static_cast<unsigned int>(scanned.list.size())};
}

const char* AddressRecord::nameOf(Fault fault) noexcept {
  return names[fault];
}

icu::UnicodeString AddressRecord::toString(const Socket::_AddrInfoExternal& record) {
  const ScannedRecord scanned = scanAddrInfo(record);
  std::string text;
  if (scanned.hasPort) text = "host " + visible(scanned.host) + " port " + std::to_string(scanned.port);
  for (const platform::ResolvedAddress& entry : scanned.list) text += "; " + entryText(entry);
  if (scanned.fault != NONE) {
    if (!text.empty()) text += "; ";
    text += std::string("fault ") + names[scanned.fault] + " at byte " + std::to_string(scanned.offset);
  }
  return text::made(icu::UnicodeString::fromUTF8(text));
}

}  // namespace tarvo::oss
