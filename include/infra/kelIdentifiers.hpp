#pragma once

/// The identifiers of the library's errors, as constants: if a program misspells one, it does not compile.
/// Written by scripts/errors from errors/identifiers.json.
///
///     bool connected = true;
///     try {
///       Socket().setNoDelay(true);
///     } catch (const SocketException& error) {
///       const icu::UnicodeString& id = error.getErrorMessage().getMessageID();
///       connected = id != tarvo::identifiers::ERR_SOCKET_NOT_CONNECTED;
///     }
///     connected;                  // -> false
///
/// Each identifier is a constant text in UTF-16, terminated by a NUL. Its comment lists the classes of the
/// exceptions that carry the identifier, and the arguments of the message in order; arguments in brackets may
/// be missing. No later version removes an identifier or changes its arguments. The installed file
/// share/kelinfra/catalogue.json contains the same table for tools, and docs/errors contains it for people.
namespace tarvo::identifiers {

/// Base64Exception (unit): A unit of the text to decode is neither in the alphabet nor "=".
inline constexpr char16_t ERR_BASE64_INVALID_DATA[] = u"ERR_BASE64_INVALID_DATA";

/// Base64Exception (text): The last group of the text to decode is incomplete, or the padding is wrong.
inline constexpr char16_t ERR_BASE64_MISALIGNED_DATA[] = u"ERR_BASE64_MISALIGNED_DATA";

/// NLSException or IOException or Base64Exception (capacity): The result does not fit into the caller's
/// buffer.
inline constexpr char16_t ERR_BUFFER_SIZE_TOO_SMALL[] = u"ERR_BUFFER_SIZE_TOO_SMALL";

/// NLSException (to, from): The data cannot be converted between these code pages.
inline constexpr char16_t ERR_CONV_CONVERSION_ERROR[] = u"ERR_CONV_CONVERSION_ERROR";

/// NLSException (no arguments): The buffer does not hold a binary literal such as X'0aff'.
inline constexpr char16_t ERR_DB_INVALID_BINARY_DATA[] = u"ERR_DB_INVALID_BINARY_DATA";

/// SocketException (capacity, length): The payload of the received frame does not fit into the caller's
/// buffer.
inline constexpr char16_t ERR_DEST_BUFFER_TOO_SMALL[] = u"ERR_DEST_BUFFER_TOO_SMALL";

/// SocketException (host, port): The system's Winsock is not version 2.2.
inline constexpr char16_t ERR_INVALID_SOCKET_VERSION[] = u"ERR_INVALID_SOCKET_VERSION";

/// NLSException (no arguments): The text is not well-formed UTF-8.
inline constexpr char16_t ERR_MALFORMED_UTF8_STRING[] = u"ERR_MALFORMED_UTF8_STRING";

/// NLSException (no arguments): The list contains no message.
inline constexpr char16_t ERR_MSGLIST_EMPTY[] = u"ERR_MSGLIST_EMPTY";

/// NLSException (operation): ICU could not create one of the formats for the default locale.
inline constexpr char16_t ERR_OUT_OF_MEMORY[] = u"ERR_OUT_OF_MEMORY";

/// PropertiesException (key, name): A value refers to a property that does not exist.
inline constexpr char16_t ERR_PROPERTIES_BAD_REFERENCE[] = u"ERR_PROPERTIES_BAD_REFERENCE";

/// PropertiesException (key): The value of a property refers to itself, directly or through other properties.
inline constexpr char16_t ERR_PROPERTIES_CYCLIC_REFERENCE[] = u"ERR_PROPERTIES_CYCLIC_REFERENCE";

/// PropertiesException (key): A required property does not exist.
inline constexpr char16_t ERR_PROPERTY_MISSING[] = u"ERR_PROPERTY_MISSING";

/// PropertiesException (key, text, type): The text of the property is not a value of the requested type.
inline constexpr char16_t ERR_PROPERTY_WRONG_TYPE[] = u"ERR_PROPERTY_WRONG_TYPE";

/// SocketException (host, port): The peer closed the connection before a frame began.
inline constexpr char16_t ERR_SOCKET_CLOSED[] = u"ERR_SOCKET_CLOSED";

/// SocketException (host, port): The object has a connection already.
inline constexpr char16_t ERR_SOCKET_CONNECTED[] = u"ERR_SOCKET_CONNECTED";

/// SocketException (host, port, code, text): The host name or the port does not resolve to an address.
inline constexpr char16_t ERR_SOCKET_GETADDRINFO_ERROR[] = u"ERR_SOCKET_GETADDRINFO_ERROR";

/// SocketException (host, port): The server is already bound to a port.
inline constexpr char16_t ERR_SOCKET_LISTENING[] = u"ERR_SOCKET_LISTENING";

/// SocketException (host, port): The object has no connection.
inline constexpr char16_t ERR_SOCKET_NOT_CONNECTED[] = u"ERR_SOCKET_NOT_CONNECTED";

/// SocketException (host, port): The server does not listen.
inline constexpr char16_t ERR_SOCKET_NOT_LISTENING[] = u"ERR_SOCKET_NOT_LISTENING";

/// SocketException (host, port): The caller's timeout passed before there was a connection.
inline constexpr char16_t ERR_SOCKET_TIMEOUT[] = u"ERR_SOCKET_TIMEOUT";

/// NLSException (type, text): The text is not a number of the requested type.
inline constexpr char16_t ERR_STR_TO_NUM_CONV_ERR[] = u"ERR_STR_TO_NUM_CONV_ERR";

/// SocketException (host, port): Winsock does not start.
inline constexpr char16_t ERR_WSASTARTUP_FAILED[] = u"ERR_WSASTARTUP_FAILED";

/// NLSException (operation): There is no memory for the converted text, or the text is above 2^30 bytes or
/// above the buffer's maximum.
inline constexpr char16_t QN_ERR_OUT_OF_MEMORY[] = u"QN_ERR_OUT_OF_MEMORY";

/// SocketException (host, port): The port is in use.
inline constexpr char16_t QN_ERR_SOCKET_ADDRESS_IN_USE[] = u"QN_ERR_SOCKET_ADDRESS_IN_USE";

/// SocketException (host, port): The host refused the connection: nothing listens on the port.
inline constexpr char16_t QN_ERR_SOCKET_CONNECTION_REFUSED[] = u"QN_ERR_SOCKET_CONNECTION_REFUSED";

/// SocketException (host, port): The connection was reset: it ended without an orderly shutdown.
inline constexpr char16_t QN_ERR_SOCKET_CONNECTION_RESET[] = u"QN_ERR_SOCKET_CONNECTION_RESET";

/// SocketException (code, [host], [port]): A call of the system failed with a code that has no identifier.
inline constexpr char16_t QN_ERR_SOCKET_ERROR[] = u"QN_ERR_SOCKET_ERROR";

/// SocketException (host, port): The system reports that the socket is not connected.
inline constexpr char16_t QN_ERR_SOCKET_NOT_CONNECTED[] = u"QN_ERR_SOCKET_NOT_CONNECTED";

/// SocketException (host, port): This program has shut down this direction of the connection.
inline constexpr char16_t QN_ERR_SOCKET_SHUTDOWN[] = u"QN_ERR_SOCKET_SHUTDOWN";

/// SocketException (host, port): The system's timeout for the connection passed, or the timeout that
/// `setTimeout` set.
inline constexpr char16_t QN_ERR_SOCKET_TIMEOUT[] = u"QN_ERR_SOCKET_TIMEOUT";

}  // namespace tarvo::identifiers
