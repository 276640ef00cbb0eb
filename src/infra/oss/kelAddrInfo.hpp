#pragma once

#include "infra/oss/kelSocket.hpp"

#include "oss/kelRaise.hpp"
#include "platform/kelWinsock.hpp"

#include <unicode/unistr.h>

#include <string>
#include <vector>

/// Name resolution and the flat record of a resolved address list.
namespace tarvo::oss {

using AddressList = std::vector<platform::ResolvedAddress>;

/// The host name in UTF-8, which is what the resolvers take for international names, too.
std::string narrowHost(const icu::UnicodeString& host);

/// The addresses of `host` for a stream connection, as the resolver orders them. Returns 0 or the resolver's
/// code; an empty list is `wsa::hostNotFound`.
int resolve(const std::string& host, unsigned int port, AddressList& list);

/// Writes the list into a record. False, and the record untouched, when it does not fit.
bool encodeAddrInfo(const std::string& host, unsigned short port, const AddressList& list,
                    Socket::_AddrInfoExternal& record);

/// Whether the record holds an address list at all.
bool holdsAddresses(const Socket::_AddrInfoExternal& record);

/// Reads the list of a record, which may come from a stranger: nothing outside it is read. Raises the mapped
/// error 10022, without host and port, for one that cannot be read; the place is the caller's.
AddressList decodeAddrInfo(const Socket::_AddrInfoExternal& record,
                           SourcePlace place = SourcePlace::here(__builtin_FILE(), __builtin_LINE()));

}  // namespace tarvo::oss
