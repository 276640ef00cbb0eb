#pragma once

#include "infra/oss/kelSocket.hpp"

#include "oss/kelRaise.hpp"
#include "platform/kelWinsock.hpp"

#include <unicode/unistr.h>

#include <string>
#include <vector>

/// Name resolution, and the record that contains a list of resolved addresses.
namespace tarvo::oss {

using AddressList = std::vector<platform::ResolvedAddress>;

/// Returns the host name in UTF-8, which the systems' resolvers also accept for international names.
std::string narrowHost(const icu::UnicodeString& host);

/// Resolves `host` for a stream connection; `list` receives the addresses in the resolver's order. Returns 0
/// or the resolver's code; if the resolver finds no address, the code is `wsa::hostNotFound`.
int resolve(const std::string& host, unsigned int port, AddressList& list);

/// Writes the list into a record. Returns false, and leaves the record unchanged, if the list does not fit.
bool encodeAddrInfo(const std::string& host, unsigned short port, const AddressList& list,
                    Socket::_AddrInfoExternal& record);

/// Returns whether the record contains an address list.
bool holdsAddresses(const Socket::_AddrInfoExternal& record);

/// Reads the list of a record. The record may be untrusted: the function reads no byte outside the record. If
/// the record is not valid, raises the error of code 10022 without host and port. The error records the file
/// and line of `place`, by default those of the caller.
AddressList decodeAddrInfo(const Socket::_AddrInfoExternal& record,
                           SourcePlace place = SourcePlace::here(__builtin_FILE(), __builtin_LINE()));

}  // namespace tarvo::oss
