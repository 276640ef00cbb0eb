// Written by scripts/errors from errors/identifiers.json. It decides the layout.
// clang-format off
#pragma once

#include <array>
#include <string_view>

/// Which arguments of the library's errors are numbers.
namespace tarvo::oss::errors {

struct NumberArguments {
  std::u16string_view identifier;
  unsigned int places;  ///< bit n is set if argument n can be shown as a number
};

/// All identifiers in their order, including obsolete identifiers.
inline constexpr std::array<NumberArguments, 31> numberArguments = {{
    {u"ERR_BASE64_INVALID_DATA", 0},
    {u"ERR_BASE64_MISALIGNED_DATA", 0},
    {u"ERR_BUFFER_SIZE_TOO_SMALL", 1},
    {u"ERR_CONV_CONVERSION_ERROR", 0},
    {u"ERR_DB_INVALID_BINARY_DATA", 0},
    {u"ERR_DEST_BUFFER_TOO_SMALL", 3},
    {u"ERR_INVALID_SOCKET_VERSION", 0},
    {u"ERR_MALFORMED_UTF8_STRING", 0},
    {u"ERR_MSGLIST_EMPTY", 0},
    {u"ERR_OUT_OF_MEMORY", 0},
    {u"ERR_PROPERTIES_BAD_REFERENCE", 0},
    {u"ERR_PROPERTIES_CYCLIC_REFERENCE", 0},
    {u"ERR_PROPERTY_MISSING", 0},
    {u"ERR_PROPERTY_WRONG_TYPE", 0},
    {u"ERR_SOCKET_CLOSED", 0},
    {u"ERR_SOCKET_CONNECTED", 0},
    {u"ERR_SOCKET_GETADDRINFO_ERROR", 0},
    {u"ERR_SOCKET_LISTENING", 0},
    {u"ERR_SOCKET_NOT_CONNECTED", 0},
    {u"ERR_SOCKET_NOT_LISTENING", 0},
    {u"ERR_SOCKET_TIMEOUT", 0},
    {u"ERR_STR_TO_NUM_CONV_ERR", 0},
    {u"ERR_WSASTARTUP_FAILED", 0},
    {u"QN_ERR_OUT_OF_MEMORY", 0},
    {u"QN_ERR_SOCKET_ADDRESS_IN_USE", 0},
    {u"QN_ERR_SOCKET_CONNECTION_REFUSED", 0},
    {u"QN_ERR_SOCKET_CONNECTION_RESET", 0},
    {u"QN_ERR_SOCKET_ERROR", 0},
    {u"QN_ERR_SOCKET_NOT_CONNECTED", 0},
    {u"QN_ERR_SOCKET_SHUTDOWN", 0},
    {u"QN_ERR_SOCKET_TIMEOUT", 0},
}};

}  // namespace tarvo::oss::errors
