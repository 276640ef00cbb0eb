#include "support/kelAddrInfoModel.hpp"

#include <utility>

namespace tarvo::platform {

bool operator==(const ResolvedAddress& a, const ResolvedAddress& b) {
  return a.flags == b.flags && a.family == b.family && a.socketType == b.socketType &&
         a.protocol == b.protocol && a.address == b.address && a.canonicalName == b.canonicalName;
}

}  // namespace tarvo::platform

namespace tarvo::test {

using oss::AddressList;
using platform::ResolvedAddress;

Bytes littleEndian(std::uint64_t value, int width) {
  Bytes bytes;
  for (int i = 0; i < width; ++i) bytes += static_cast<char>((value >> (8 * i)) & 0xFF);
  return bytes;
}

Bytes usedArea(const Bytes& host, unsigned int port, const AddressList& list) {
  const auto entryBytes = [](const ResolvedAddress& entry) {
    Bytes bytes;
    for (const int field : {entry.flags, entry.family, entry.socketType, entry.protocol})
      bytes += littleEndian(static_cast<std::uint32_t>(field), 4);
    bytes += littleEndian(entry.address.size(), 8);
    bytes.append(entry.address.begin(), entry.address.end());
    bytes += littleEndian(entry.canonicalName.size(), 2);
    return bytes + entry.canonicalName;
  };
  Bytes bytes = host + Bytes(1, '\0') + littleEndian(port, 2);
  for (const ResolvedAddress& entry : list) bytes += entryBytes(entry);
  return bytes;
}

Bytes recordOf(const Bytes& area, std::size_t used, char filler) {
  Bytes record = littleEndian(used, 2) + area;
  record.resize(recordSize, filler);
  return record;
}

namespace {

class ModelReader {
 public:
  explicit ModelReader(const Bytes& record) : record_(record) {}

  /// Returns the list, or nullopt if the record cannot be read.
  std::optional<AddressList> read() {
    left_ = number(2, true);
    if (left_ > recordSize - 2) return std::nullopt;
    std::size_t scanned = 0;
    for (;;) {
      if (left_ == 0 || scanned > 1024) return std::nullopt;
      if (number(1) == 0) break;
      ++scanned;
    }
    if (scanned > 1024 || left_ < 2) return std::nullopt;
    number(2);
    AddressList list;
    while (left_ >= 42) {
      std::optional<ResolvedAddress> entry = readEntry();
      if (!entry) return std::nullopt;
      list.push_back(std::move(*entry));
    }
    if (list.empty()) return std::nullopt;
    return list;
  }

 private:
  std::uint64_t number(int width, bool count = false) {
    std::uint64_t value = 0;
    for (int i = 0; i < width; ++i) {
      value |= static_cast<std::uint64_t>(static_cast<unsigned char>(record_.at(at_++))) << (8 * i);
    }
    if (!count) left_ -= static_cast<std::uint64_t>(width);
    return value;
  }

  int signedNumber() { return static_cast<int>(static_cast<std::uint32_t>(number(4))); }

  Bytes bytes(std::uint64_t length) {
    Bytes taken;
    for (std::uint64_t i = 0; i < length; ++i) taken += static_cast<char>(number(1));
    return taken;
  }

  std::optional<ResolvedAddress> readEntry() {
    ResolvedAddress entry;
    entry.flags = signedNumber();
    entry.family = signedNumber();
    entry.socketType = signedNumber();
    entry.protocol = signedNumber();
    const std::uint64_t length = number(8);
    if (entry.family == 2 && length != 16) return std::nullopt;
    if (entry.family == 23 && length != 28) return std::nullopt;
    if (length > left_) return std::nullopt;
    const Bytes address = bytes(length);
    entry.address.assign(address.begin(), address.end());
    if (left_ < 2) return std::nullopt;
    const std::uint64_t nameLength = number(2);
    if (nameLength > left_) return std::nullopt;
    entry.canonicalName = bytes(nameLength);
    return entry;
  }

  const Bytes& record_;
  std::size_t at_ = 0;
  std::uint64_t left_ = 0;
};

}  // namespace

std::optional<AddressList> modelRead(const Bytes& record) {
  return ModelReader(record).read();
}

}  // namespace tarvo::test
