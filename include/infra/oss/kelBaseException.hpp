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
/// `Base64Exception` (tarvo::util) differ only in type and name. Copies are deep and independent of one
/// another, so a copy may be handed to another thread. One object is used by one thread at a time.
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
  /// Returns "oss::BaseException"; each subclass overrides it. Some of these names include a namespace and
  /// others do not. The names are frozen because programs print them.
  virtual const char* name() const;

  /// Appends a copy of `m`.
  void addMessage(Message& m);
  /// Returns a reference to the exception's list, for reading, iterating and adding. The reference is valid
  /// as long as the exception exists.
  MessageList& getMessages() KELINFRA_LIFETIMEBOUND;
  /// Returns the first message.
  ///   raises   NLSException ERR_MSGLIST_EMPTY (no arguments): the messages were cleared
  Message& getErrorMessage() KELINFRA_LIFETIMEBOUND;
  const Message& getErrorMessage() const KELINFRA_LIFETIMEBOUND;

 private:
  MessageList messages_;
};

}  // namespace tarvo::oss
