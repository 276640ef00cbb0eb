#pragma once

#include "platform/kelWinsock.hpp"

#include <cstddef>
#include <string>

/// Converts Winsock addresses to numeric text for people. The library does not use the systems' functions,
/// because the systems write some addresses differently.
namespace tarvo::oss {

/// Returns the text of an address, such as "127.0.0.1". For IPv6 the text is the short form with lower-case
/// letters, such as "2001:db8::1", "::ffff:10.0.0.1" and "fe80::1%2". The text is empty if the bytes are not
/// an IPv4 or IPv6 address.
std::string addressText(const unsigned char* address, std::size_t length);

/// Returns the port of an address, or 0 if the bytes are not an IPv4 or IPv6 address.
unsigned int addressPort(const unsigned char* address, std::size_t length);

}  // namespace tarvo::oss
