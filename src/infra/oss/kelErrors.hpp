// Written by scripts/errors from errors/identifiers.json. It decides the layout.
// clang-format off
#pragma once

#include "oss/kelErrorEntry.hpp"

#include <array>

namespace tarvo::oss {
class IOException;
class NLSException;
class SocketException;
}

namespace tarvo::util {
class Base64Exception;
class PropertiesException;
}

/// The identifiers of the library's errors, for `raise` and `makeError`.
namespace tarvo::oss::errors {

inline constexpr Entry<Classes<util::Base64Exception>, Kinds<Text>>
    ERR_BASE64_INVALID_DATA{"ERR_BASE64_INVALID_DATA"};
inline constexpr Entry<Classes<util::Base64Exception>, Kinds<Text>>
    ERR_BASE64_MISALIGNED_DATA{"ERR_BASE64_MISALIGNED_DATA"};
inline constexpr Entry<Classes<NLSException, IOException, util::Base64Exception>, Kinds<Size>>
    ERR_BUFFER_SIZE_TOO_SMALL{"ERR_BUFFER_SIZE_TOO_SMALL"};
inline constexpr Entry<Classes<NLSException>, Kinds<Name, Name>>
    ERR_CONV_CONVERSION_ERROR{"ERR_CONV_CONVERSION_ERROR"};
inline constexpr Entry<Classes<NLSException>, Kinds<>>
    ERR_DB_INVALID_BINARY_DATA{"ERR_DB_INVALID_BINARY_DATA"};
inline constexpr Entry<Classes<SocketException>, Kinds<Size, Size>>
    ERR_DEST_BUFFER_TOO_SMALL{"ERR_DEST_BUFFER_TOO_SMALL"};
inline constexpr Entry<Classes<SocketException>, Kinds<Host, Port>>
    ERR_INVALID_SOCKET_VERSION{"ERR_INVALID_SOCKET_VERSION"};
inline constexpr Entry<Classes<NLSException>, Kinds<>>
    ERR_MALFORMED_UTF8_STRING{"ERR_MALFORMED_UTF8_STRING"};
inline constexpr Entry<Classes<NLSException>, Kinds<>>
    ERR_MSGLIST_EMPTY{"ERR_MSGLIST_EMPTY"};
inline constexpr Entry<Classes<NLSException>, Kinds<Operation>>
    ERR_OUT_OF_MEMORY{"ERR_OUT_OF_MEMORY"};
inline constexpr Entry<Classes<util::PropertiesException>, Kinds<Name, Name>>
    ERR_PROPERTIES_BAD_REFERENCE{"ERR_PROPERTIES_BAD_REFERENCE"};
inline constexpr Entry<Classes<util::PropertiesException>, Kinds<Name>>
    ERR_PROPERTIES_CYCLIC_REFERENCE{"ERR_PROPERTIES_CYCLIC_REFERENCE"};
inline constexpr Entry<Classes<util::PropertiesException>, Kinds<Name>>
    ERR_PROPERTY_MISSING{"ERR_PROPERTY_MISSING"};
inline constexpr Entry<Classes<util::PropertiesException>, Kinds<Name, Text, Name>>
    ERR_PROPERTY_WRONG_TYPE{"ERR_PROPERTY_WRONG_TYPE"};
inline constexpr Entry<Classes<SocketException>, Kinds<Host, Port>>
    ERR_SOCKET_CLOSED{"ERR_SOCKET_CLOSED"};
inline constexpr Entry<Classes<SocketException>, Kinds<Host, Port>>
    ERR_SOCKET_CONNECTED{"ERR_SOCKET_CONNECTED"};
inline constexpr Entry<Classes<SocketException>, Kinds<Host, Port, Code, Text>>
    ERR_SOCKET_GETADDRINFO_ERROR{"ERR_SOCKET_GETADDRINFO_ERROR"};
inline constexpr Entry<Classes<SocketException>, Kinds<Host, Port>>
    ERR_SOCKET_LISTENING{"ERR_SOCKET_LISTENING"};
inline constexpr Entry<Classes<SocketException>, Kinds<Host, Port>>
    ERR_SOCKET_NOT_CONNECTED{"ERR_SOCKET_NOT_CONNECTED"};
inline constexpr Entry<Classes<SocketException>, Kinds<Host, Port>>
    ERR_SOCKET_NOT_LISTENING{"ERR_SOCKET_NOT_LISTENING"};
inline constexpr Entry<Classes<SocketException>, Kinds<Host, Port>>
    ERR_SOCKET_TIMEOUT{"ERR_SOCKET_TIMEOUT"};
inline constexpr Entry<Classes<NLSException>, Kinds<Name, Text>>
    ERR_STR_TO_NUM_CONV_ERR{"ERR_STR_TO_NUM_CONV_ERR"};
inline constexpr Entry<Classes<SocketException>, Kinds<Host, Port>>
    ERR_WSASTARTUP_FAILED{"ERR_WSASTARTUP_FAILED"};
inline constexpr Entry<Classes<NLSException>, Kinds<Operation>>
    QN_ERR_OUT_OF_MEMORY{"QN_ERR_OUT_OF_MEMORY"};
inline constexpr Entry<Classes<SocketException>, Kinds<Host, Port>>
    QN_ERR_SOCKET_ADDRESS_IN_USE{"QN_ERR_SOCKET_ADDRESS_IN_USE"};
inline constexpr Entry<Classes<SocketException>, Kinds<Host, Port>>
    QN_ERR_SOCKET_CONNECTION_REFUSED{"QN_ERR_SOCKET_CONNECTION_REFUSED"};
inline constexpr Entry<Classes<SocketException>, Kinds<Host, Port>>
    QN_ERR_SOCKET_CONNECTION_RESET{"QN_ERR_SOCKET_CONNECTION_RESET"};
inline constexpr Entry<Classes<SocketException>, Kinds<Code>, Kinds<Host, Port>>
    QN_ERR_SOCKET_ERROR{"QN_ERR_SOCKET_ERROR"};
inline constexpr Entry<Classes<SocketException>, Kinds<Host, Port>>
    QN_ERR_SOCKET_NOT_CONNECTED{"QN_ERR_SOCKET_NOT_CONNECTED"};
inline constexpr Entry<Classes<SocketException>, Kinds<Host, Port>>
    QN_ERR_SOCKET_SHUTDOWN{"QN_ERR_SOCKET_SHUTDOWN"};
inline constexpr Entry<Classes<SocketException>, Kinds<Host, Port>>
    QN_ERR_SOCKET_TIMEOUT{"QN_ERR_SOCKET_TIMEOUT"};

/// The identifiers for Winsock's codes. Other codes are QN_ERR_SOCKET_ERROR.
inline constexpr std::array<CodeEntry, 6> socketErrors = {{
    {10048, QN_ERR_SOCKET_ADDRESS_IN_USE},
    {10054, QN_ERR_SOCKET_CONNECTION_RESET},
    {10057, QN_ERR_SOCKET_NOT_CONNECTED},
    {10058, QN_ERR_SOCKET_SHUTDOWN},
    {10060, QN_ERR_SOCKET_TIMEOUT},
    {10061, QN_ERR_SOCKET_CONNECTION_REFUSED},
}};

}  // namespace tarvo::oss::errors
