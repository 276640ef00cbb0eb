#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelMessageList.hpp"

#include <exception>

namespace tarvo::oss {

/// The base class of the library's exceptions. An exception carries messages and is thrown by value.
///
///     try {
///       Socket socket;
///       socket.connect("127.0.0.1", 1, Socket::NullAddrInfoExternal, nullptr);
///     } catch (const BaseException& error) {
///       error.getErrorMessage().getMessageID();    // -> "QN_ERR_SOCKET_CONNECTION_REFUSED"
///       error.getErrorMessage().getMessageArgs();  // -> "127.0.0.1", "1"
///     }
///
/// The subclasses `NLSException`, `IOException`, `SocketException` (tarvo::oss), `PropertiesException` and
/// `Base64Exception` (tarvo::util) differ only in type and name. A copy of an exception shares no data with
/// the original, so a program may pass a copy to another thread. Only one thread at a time may use an
/// exception object.
class KELINFRA_API BaseException : public std::exception {
 public:
  /// Creates an exception with one message, which has level `LEVEL_ERROR` and no arguments.
  ///   fileName   plain ASCII, copied; null is the empty name
  BaseException(const icu::UnicodeString& messageID, const char* fileName, unsigned int lineNumber);
  BaseException(const BaseException& other);
  ~BaseException() override;

  BaseException& operator=(const BaseException& other) = delete;

  /// Returns `name()` of the most derived class, a static string.
  const char* what() const noexcept override;
  /// Returns "oss::BaseException"; each subclass overrides it. Some exception classes return a name with a
  /// namespace, others a name without a namespace. The names are frozen because programs print them.
  virtual const char* name() const;

  /// Appends a copy of `m`.
  void addMessage(Message& m);
  /// Returns a reference to the exception's list of messages. The caller may read the messages, iterate over
  /// them, and add messages. The reference is valid as long as the exception exists.
  MessageList& getMessages() KELINFRA_LIFETIMEBOUND;
  /// Returns the first message.
  ///   raises   NLSException ERR_MSGLIST_EMPTY (no arguments): the messages were cleared
  Message& getErrorMessage() KELINFRA_LIFETIMEBOUND;
  const Message& getErrorMessage() const KELINFRA_LIFETIMEBOUND;

 private:
  MessageList messages_;
};

}  // namespace tarvo::oss
