#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelMessageList.hpp"

#include <exception>

namespace tarvo::oss {

/// The base of the library's exceptions. They carry messages and are thrown by value.
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
/// another, so an exception may be handed to another thread; one object is used by one thread at a time.
class KELINFRA_API BaseException : public std::exception {
 public:
  /// An exception with one message of level `LEVEL_ERROR` and no arguments yet.
  ///   fileName   plain ASCII, copied; null is the empty name
  BaseException(const icu::UnicodeString& messageID, const char* fileName, unsigned int lineNumber);
  BaseException(const BaseException& other);
  ~BaseException() override;

  BaseException& operator=(const BaseException& other) = delete;

  /// Returns `name()` of the most derived class, a static string.
  const char* what() const noexcept override;
  /// Returns "oss::BaseException"; each subclass overrides it. Only some of the names include a namespace.
  /// The names are frozen because programs print them.
  virtual const char* name() const;

  /// Appends a copy of `m`.
  void addMessage(Message& m);
  /// The exception's own list, not a copy, for reading, iterating and adding. Lives as long as the exception.
  MessageList& getMessages() KELINFRA_LIFETIMEBOUND;
  /// The first message.
  ///   raises   NLSException ERR_MSGLIST_EMPTY (no arguments): the messages were cleared
  Message& getErrorMessage() KELINFRA_LIFETIMEBOUND;
  const Message& getErrorMessage() const KELINFRA_LIFETIMEBOUND;

 private:
  MessageList messages_;
};

}  // namespace tarvo::oss
