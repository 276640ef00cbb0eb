#pragma once

#include "infra/oss/kelAddressRecord.hpp"
#include "infra/oss/kelSocket.hpp"

#include "oss/kelRaise.hpp"
#include "platform/kelWinsock.hpp"

#include <unicode/unistr.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// Name resolution, and the record that contains a list of resolved addresses.
namespace tarvo::oss {

using AddressList = std::vector<platform::ResolvedAddress>;

/// Returns the host name in UTF-8, which the systems' resolvers also accept for international names.
std::string narrowHost(const icu::UnicodeString& host);

/// Resolves `host` for a stream connection; `list` receives the addresses in the resolver's order. Returns 0
/// or the resolver's code; if the resolver finds no address, the code is `wsa::hostNotFound`.
int resolve(const std::string& host, unsigned int port, AddressList& list);

/// Reads an address literal without a resolver; returns false if `host` is a name.
bool readLiteral(const std::string& host, unsigned int port, AddressList& list);

/// Writes the list into a record. Returns false, and leaves the record unchanged, if the list does not fit.
bool encodeAddrInfo(const std::string& host, unsigned short port, const AddressList& list,
                    Socket::_AddrInfoExternal& record);

/// Returns whether the record contains an address list.
bool holdsAddresses(const Socket::_AddrInfoExternal& record);

/// The content of a record, up to the first fault that ends the list. `offset` is the position of the field
/// with the fault.
struct ScannedRecord {
  AddressRecord::Fault fault = AddressRecord::NONE;
  std::size_t offset = 0;
  std::string_view host;  ///< in the record
  unsigned int port = 0;
  bool hasPort = false;
  AddressList list;
};

/// Reads a record. The record may be untrusted: no byte outside of it is read.
ScannedRecord scanAddrInfo(const Socket::_AddrInfoExternal& record);

/// Reads the list of a record. The record may be untrusted: the function reads no byte outside the record. If
/// the record is not valid, raises the error of code 10022 without host and port. The error records the file
/// and line of `place`, which is the place of the call unless the caller passes another place.
AddressList decodeAddrInfo(const Socket::_AddrInfoExternal& record,
                           SourcePlace place = SourcePlace::here(__builtin_FILE(), __builtin_LINE()));

}  // namespace tarvo::oss
