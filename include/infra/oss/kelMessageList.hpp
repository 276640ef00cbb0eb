#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelMessage.hpp"

namespace tarvo::oss {

/// The ordered list of messages that an exception carries. The list stores copies of the messages that a
/// program adds.
///
///     MessageList list(Message("ERR_DISK_FULL", Message::LEVEL_ERROR, "store.cpp", 120));
///     list.addMessage(Message("ERR_SAVE_FAILED", Message::LEVEL_ERROR, "editor.cpp", 33));
///     for (const Message* m = list.getFirstMsg(); m != nullptr; m = list.getNextMsg()) {
///       ossOut << m->getLineNumber() << '\n';  // prints 120 33
///     }
///
/// Only one thread at a time may use an object. This rule includes iterating over the messages, because the
/// list contains the cursor. Returned references and pointers are valid until `clear` is called or the list
/// is destroyed; a program may add messages in the meantime. If there is no memory for a message, the member
/// raises std::bad_alloc and does not add the message; messages that were added before stay.
class KELINFRA_API MessageList {
 public:
  /// Creates an empty list.
  MessageList();
  /// Creates a list that contains a copy of `m`.
  MessageList(const Message& m);  // NOLINT(google-explicit-constructor): callers pass a message for a list
  /// Copies every message of `other`. The cursor of the new list is null.
  MessageList(const MessageList& other);
  ~MessageList();

  MessageList& operator=(const MessageList& other) = delete;

  // --- ask --------------------------------------------------------------------------------------------

  int count() const;
  bool isEmpty() const;

  /// Returns the first message. If the list is not const, the caller may change the message through the
  /// returned reference.
  ///   raises   NLSException ERR_MSGLIST_EMPTY (no arguments): the list is empty
  Message& getFirstMessage() KELINFRA_LIFETIMEBOUND;
  const Message& getFirstMessage() const KELINFRA_LIFETIMEBOUND;

  // --- iterate: one cursor per list -------------------------------------------------------------------

  /// Returns the first message and moves the cursor to the second message. If the list is empty, returns null
  /// and does not move the cursor.
  const Message* getFirstMsg() KELINFRA_LIFETIMEBOUND;
  /// Returns the message at the cursor and moves the cursor to the next message. Returns null if the cursor
  /// was never set, or if it has passed the last message. `getNextMsg` also returns a message that was
  /// appended during the iteration, unless the cursor had already passed the last message.
  const Message* getNextMsg() KELINFRA_LIFETIMEBOUND;
  /// Returns true if the next call of `getNextMsg` returns a message.
  bool hasMoreMsgs() const;

  // --- change; only `clear` moves the cursor ----------------------------------------------------------

  /// Appends a copy of `m`; `m` may be a message of this list.
  void addMessage(const Message& m);
  /// Inserts a copy of `m` before the first message.
  void insertMessage(const Message& m);
  /// Appends copies of the messages of `other`. If `other` is this list, the list then contains each message
  /// twice.
  void join(const MessageList& other);
  /// Removes every message and sets the cursor to null.
  void clear();

 private:
  struct Node;
  KELINFRA_LOCAL void removeAll() noexcept;

  Node* first_ = nullptr;
  Node* last_ = nullptr;
  Node* cursor_ = nullptr;
  int count_ = 0;
};

}  // namespace tarvo::oss
