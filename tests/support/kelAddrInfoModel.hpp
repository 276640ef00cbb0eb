#pragma once

#include "oss/kelAddrInfo.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace tarvo::platform {

bool operator==(const ResolvedAddress& a, const ResolvedAddress& b);

}  // namespace tarvo::platform

/// The flat record of a resolved address list as the library has to write and to read it: slow, byte by byte, and
/// written apart from it.
namespace tarvo::test {

using Bytes = std::string;

constexpr std::size_t recordSize = 3000;

Bytes littleEndian(std::uint64_t value, int width);

/// The used area of a record: what follows the count.
Bytes usedArea(const Bytes& host, unsigned int port, const oss::AddressList& list);

/// A record of 3000 bytes, filled up with `filler`; `used` may lie.
Bytes recordOf(const Bytes& area, std::size_t used, char filler = '\0');

/// The list of a record, or nothing for one that cannot be read.
std::optional<oss::AddressList> modelRead(const Bytes& record);

}  // namespace tarvo::test
