#include "oss/kelAddressText.hpp"

#include "machine/kelByteOrder.hpp"
#include "platform/kelWinsockChecks.hpp"

#include <array>
#include <charconv>
#include <cstdint>

namespace tarvo::oss {
namespace {

constexpr std::size_t portOffset = 2;
constexpr std::size_t inetOffset = 4;
constexpr std::size_t inet6Offset = 8;
constexpr std::size_t groups = 8;

std::string inetText(const unsigned char* bytes) {
  std::string text;
  for (std::size_t i = 0; i < 4; ++i) {
    if (i > 0) text += '.';
    text += std::to_string(bytes[i]);
  }
  return text;
}

unsigned int groupAt(const unsigned char* bytes, std::size_t index) {
  return machine::bigEndianAt<std::uint16_t>(bytes + 2 * index);
}

struct Run {
  std::size_t first;
  std::size_t count;
};

/// The groups that "::" replaces: the longest run of at least two groups that are 0. If several runs are
/// equally long, it is the first run.
Run longestZeros(const unsigned char* bytes) {
  Run longest = {groups, 1};
  for (std::size_t i = 0; i < groups;) {
    std::size_t end = i;
    while (end < groups && groupAt(bytes, end) == 0) ++end;
    if (end - i > longest.count) longest = {i, end - i};
    i = end + 1;
  }
  return longest;
}

/// Returns whether the IPv6 address contains an IPv4 address: whether it begins with ::ffff:0:0/96.
bool holdsInet(const unsigned char* bytes) {
  for (std::size_t i = 0; i < 5; ++i) {
    if (groupAt(bytes, i) != 0) return false;
  }
  return groupAt(bytes, 5) == 0xFFFF;
}

std::string inet6Text(const unsigned char* bytes) {
  if (holdsInet(bytes)) return "::ffff:" + inetText(bytes + 12);
  const Run zeros = longestZeros(bytes);
  std::string text;
  for (std::size_t i = 0; i < groups;) {
    if (i == zeros.first) {
      text += "::";
      i += zeros.count;
      continue;
    }
    if (!text.empty() && text.back() != ':') text += ':';
    std::array<char, 4> digits{};
    char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), groupAt(bytes, i), 16).ptr;
    text.append(digits.data(), end);
    ++i;
  }
  return text;
}

bool isKnown(const unsigned char* address, std::size_t length) {
  return platform::addressRefusal(address, length) == 0;
}

}  // namespace

std::string addressText(const unsigned char* address, std::size_t length) {
  if (!isKnown(address, length)) return {};
  if (platform::familyOf(address) == platform::familyInet) return inetText(address + inetOffset);
  std::string text = inet6Text(address + inet6Offset);
  const auto scope = machine::littleEndianAt<std::uint32_t>(address + platform::scopeOffset);
  if (scope != 0) text += "%" + std::to_string(scope);
  return text;
}

unsigned int addressPort(const unsigned char* address, std::size_t length) {
  return isKnown(address, length) ? machine::bigEndianAt<std::uint16_t>(address + portOffset) : 0;
}

}  // namespace tarvo::oss
