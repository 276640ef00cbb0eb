#include "oss/kelAddrInfo.hpp"

#include "infra/oss/kelConverter.hpp"

#include "machine/kelByteOrder.hpp"
#include "oss/kelSocketError.hpp"
#include "platform/kelWinsockChecks.hpp"
#include "trace/kelTrace.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace tarvo::oss {
namespace {

using platform::ResolvedAddress;
using Record = Socket::_AddrInfoExternal;
using Fault = AddressRecord::Fault;

constexpr std::size_t usedFieldSize = sizeof(std::uint16_t);
constexpr std::size_t usedMost = sizeof(Record) - usedFieldSize;
constexpr std::size_t hostMost = 1024;
/// The size of an entry with an IPv4 address: 26 bytes of fixed fields and 16 bytes of address. If fewer
/// bytes than this size remain after the last entry, the reader ignores them.
constexpr std::size_t smallestEntry = 42;

/// Appends fields to a record's used area until a field does not fit.
class RecordWriter {
 public:
  template <class Value>
  RecordWriter& value(Value number) {
    const auto field = machine::littleEndian(static_cast<std::make_unsigned_t<Value>>(number));
    return bytes(&field, sizeof field);
  }

  RecordWriter& bytes(const void* source, std::size_t count) {
    fits_ = fits_ && count <= usedMost - used_;
    if (fits_ && count > 0) {
      std::memcpy(record_.bytes + usedFieldSize + used_, source, count);
      used_ += count;
    }
    return *this;
  }

  bool finish(Record& record) {
    if (!fits_) return false;
    machine::putLittleEndian(record_.bytes, static_cast<std::uint16_t>(used_));
    record = record_;
    return true;
  }

 private:
  Record record_{};
  std::size_t used_ = 0;
  bool fits_ = true;
};

/// Reads fields from a record's used area until a field is incomplete.
class RecordReader {
 public:
  RecordReader(const unsigned char* bytes, std::size_t count) : next_(bytes), left_(count), total_(count) {}

  std::size_t left() const { return left_; }
  /// The offset of the next field in the record.
  std::size_t offset() const { return usedFieldSize + total_ - left_; }

  const unsigned char* bytes(std::uint64_t count) {
    if (count > left_) return nullptr;
    const unsigned char* const taken = next_;
    next_ += count;
    left_ -= static_cast<std::size_t>(count);
    return taken;
  }

  template <class Value>
  bool value(Value& number) {
    const unsigned char* const taken = bytes(sizeof number);
    if (taken == nullptr) return false;
    number = static_cast<Value>(machine::littleEndianAt<std::make_unsigned_t<Value>>(taken));
    return true;
  }

  bool text(std::size_t most, std::string_view& content) {
    const unsigned char* const end = next_ + std::min(left_, most + 1);
    const unsigned char* const terminator = std::find(next_, end, '\0');
    if (terminator == end) return false;
    content = {reinterpret_cast<const char*>(next_), static_cast<std::size_t>(terminator - next_)};
    bytes(content.size() + 1);
    return true;
  }

 private:
  const unsigned char* next_;
  std::size_t left_;
  std::size_t total_;
};

/// Returns whether the size of an address suits its family. Addresses of families other than IPv4 and IPv6
/// are not checked here, because `socket` refuses them.
bool lengthSuits(int family, std::uint64_t length) {
  if (family == platform::familyInet) return length == platform::inetAddressSize;
  if (family == platform::familyInet6) return length == platform::inet6AddressSize;
  return true;
}

/// Keeps the first fault of a family. Such a fault does not end the list.
void noteFamilyFault(ScannedRecord& scanned, Fault fault, std::size_t offset) {
  if (scanned.fault != AddressRecord::NONE) return;
  scanned.fault = fault;
  scanned.offset = offset;
}

/// Reads the next entry into the list. Returns the fault that ends the list, or NONE.
Fault readEntry(RecordReader& reader, ScannedRecord& scanned) {
  ResolvedAddress entry;
  std::uint64_t addressLength = 0;
  std::uint16_t nameLength = 0;
  const std::size_t familyOffset = reader.offset() + sizeof entry.flags;
  if (!reader.value(entry.flags) || !reader.value(entry.family) || !reader.value(entry.socketType) ||
      !reader.value(entry.protocol)) {
    return AddressRecord::TRUNCATED;
  }
  RecordReader atLength = reader;
  if (!reader.value(addressLength)) return AddressRecord::TRUNCATED;
  if (!lengthSuits(entry.family, addressLength)) {
    reader = atLength;
    return AddressRecord::WRONG_ADDRESS_LENGTH;
  }
  const std::size_t addressOffset = reader.offset();
  const unsigned char* const address = reader.bytes(addressLength);
  if (address == nullptr || !reader.value(nameLength)) return AddressRecord::TRUNCATED;
  const unsigned char* const name = reader.bytes(nameLength);
  if (name == nullptr) return AddressRecord::TRUNCATED;
  entry.address.assign(address, address + addressLength);
  entry.canonicalName.assign(name, name + nameLength);
  if (entry.family != platform::familyInet && entry.family != platform::familyInet6) {
    noteFamilyFault(scanned, AddressRecord::UNKNOWN_FAMILY, familyOffset);
  } else if (platform::familyOf(address) != entry.family) {
    noteFamilyFault(scanned, AddressRecord::DIFFERENT_FAMILY, addressOffset);
  }
  scanned.list.push_back(std::move(entry));
  return AddressRecord::NONE;
}

std::uint16_t usedBytes(const Record& record) {
  return machine::littleEndianAt<std::uint16_t>(record.bytes);
}

/// Reads the host, the port and the entries. Returns the fault that ends the reading, or NONE.
Fault readFields(RecordReader& reader, ScannedRecord& scanned) {
  std::uint16_t port = 0;
  if (!reader.text(hostMost, scanned.host)) return AddressRecord::HOST_NOT_TERMINATED;
  if (!reader.value(port)) return AddressRecord::TRUNCATED;
  scanned.port = port;
  scanned.hasPort = true;
  while (reader.left() >= smallestEntry) {
    if (const Fault fault = readEntry(reader, scanned); fault != AddressRecord::NONE) return fault;
  }
  return scanned.list.empty() ? AddressRecord::EMPTY_LIST : AddressRecord::NONE;
}

/// Returns whether `connect` can use a record with this fault.
bool isReadable(Fault fault) {
  return fault == AddressRecord::NONE || fault == AddressRecord::UNKNOWN_FAMILY ||
         fault == AddressRecord::DIFFERENT_FAMILY;
}

}  // namespace

std::string narrowHost(const icu::UnicodeString& host) {
  SizeableBuffer<char, 1026> bytes;
  const std::size_t count = Converter::convertToBytes(host, "UTF-8", bytes);
  return {bytes.data(), count};
}

namespace {

int resolveWith(int flags, const std::string& host, unsigned int port, AddressList& list) {
  const platform::AddressHints hints = {flags, platform::familyUnspecified, platform::typeStream, 0};
  // The system's resolver would cut the name at a NUL, and look up another host.
  if (host.find('\0') != std::string::npos) return platform::wsa::hostNotFound;
  const int code = platform::winsock().getaddrinfo(host.c_str(), serviceText(port).c_str(), hints, list);
  return code == 0 && list.empty() ? platform::wsa::hostNotFound : code;
}

}  // namespace

int resolve(const std::string& host, unsigned int port, AddressList& list) {
  return resolveWith(0, host, port, list);
}

bool readLiteral(const std::string& host, unsigned int port, AddressList& list) {
  return resolveWith(platform::numericHostFlag, host, port, list) == 0;
}

bool encodeAddrInfo(const std::string& host, unsigned short port, const AddressList& list, Record& record) {
  if (host.size() > hostMost) return false;
  RecordWriter writer;
  writer.bytes(host.c_str(), host.size() + 1).value(port);
  for (const ResolvedAddress& entry : list) {
    writer.value(entry.flags).value(entry.family).value(entry.socketType).value(entry.protocol);
    writer.value(std::uint64_t{entry.address.size()}).bytes(entry.address.data(), entry.address.size());
    writer.value(static_cast<std::uint16_t>(entry.canonicalName.size()));
    writer.bytes(entry.canonicalName.data(), entry.canonicalName.size());
  }
  return writer.finish(record);
}

bool holdsAddresses(const Record& record) {
  return usedBytes(record) != 0;
}

ScannedRecord scanAddrInfo(const Record& record) {
  ScannedRecord scanned;
  const std::uint16_t used = usedBytes(record);
  if (used == 0 || used > usedMost) {
    scanned.fault = used == 0 ? AddressRecord::NO_LIST : AddressRecord::USED_TOO_LARGE;
    return scanned;
  }
  RecordReader reader(record.bytes + usedFieldSize, used);
  if (const Fault fault = readFields(reader, scanned); fault != AddressRecord::NONE) {
    scanned.fault = fault;
    scanned.offset = reader.offset();
  }
  return scanned;
}

AddressList decodeAddrInfo(const Record& record, SourcePlace place) {
  return trace::traced<trace::probe("Socket::decodeAddrInfo")>([&] {
    ScannedRecord scanned = scanAddrInfo(record);
    if (!isReadable(scanned.fault)) {
      platform::winsock().WSASetLastError(platform::wsa::invalidArgument);
      raiseLastError({}, place);
    }
    return std::move(scanned.list);
  });
}

}  // namespace tarvo::oss
