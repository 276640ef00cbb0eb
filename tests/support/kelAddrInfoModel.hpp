#pragma once

#include "oss/kelAddrInfo.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace tarvo::platform {

bool operator==(const ResolvedAddress& a, const ResolvedAddress& b);

}  // namespace tarvo::platform

/// A slow model of the address record. It writes and reads the record byte by byte and shares no code with
/// the library.
namespace tarvo::test {

using Bytes = std::string;

constexpr std::size_t recordSize = 3000;

Bytes littleEndian(std::uint64_t value, int width);

/// Returns the used area of a record: the bytes after the count.
Bytes usedArea(const Bytes& host, unsigned int port, const oss::AddressList& list);

/// Returns a record of 3000 bytes, padded with `filler`. `used` is written unchanged, even if it is not the
/// size of the area.
Bytes recordOf(const Bytes& area, std::size_t used, char filler = '\0');

/// Returns the list in a record, or nullopt if the record cannot be read.
std::optional<oss::AddressList> modelRead(const Bytes& record);

}  // namespace tarvo::test
