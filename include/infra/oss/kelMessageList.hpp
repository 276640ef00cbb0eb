#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelMessage.hpp"

namespace tarvo::oss {

/// The ordered messages that an exception carries. Stores copies of the messages that are added.
///
///     MessageList list(Message("ERR_DISK_FULL", Message::LEVEL_ERROR, "store.cpp", 120));
///     list.addMessage(Message("ERR_SAVE_FAILED", Message::LEVEL_ERROR, "editor.cpp", 33));
///     for (const Message* m = list.getFirstMsg(); m != nullptr; m = list.getNextMsg()) {
///       ossOut << m->getLineNumber() << '\n';  // prints 120 33
///     }
///
/// One thread at a time, the cursor included. Returned references and pointers live until `clear` or the
/// list's destruction; adding messages keeps them. If there is no memory for a message, std::bad_alloc is
/// raised and the message is not added; messages added before it stay.
class KELINFRA_API MessageList {
 public:
  /// An empty list.
  MessageList();
  /// A list of one copy of `m`.
  MessageList(const Message& m);  // NOLINT(google-explicit-constructor): callers pass a message for a list
  /// A deep copy of every message; the cursor is not copied, it starts at null.
  MessageList(const MessageList& other);
  ~MessageList();

  MessageList& operator=(const MessageList& other) = delete;

  // --- ask --------------------------------------------------------------------------------------------

  int count() const;
  bool isEmpty() const;

  /// The first message; through the non-const form a caller may change it in place.
  ///   raises   NLSException ERR_MSGLIST_EMPTY (no arguments): the list is empty
  Message& getFirstMessage() KELINFRA_LIFETIMEBOUND;
  const Message& getFirstMessage() const KELINFRA_LIFETIMEBOUND;

  // --- iterate: one cursor per list -------------------------------------------------------------------

  /// Returns the first message and moves the cursor to the second. Returns null for an empty list, whose
  /// cursor does not change.
  const Message* getFirstMsg() KELINFRA_LIFETIMEBOUND;
  /// Returns the message at the cursor and moves the cursor to the next one. Returns null if the cursor was
  /// never set or has passed the last message. A message appended before the cursor passes the last one is
  /// still reached.
  const Message* getNextMsg() KELINFRA_LIFETIMEBOUND;
  /// Whether the next `getNextMsg` returns a message.
  bool hasMoreMsgs() const;

  // --- change; only `clear` moves the cursor ----------------------------------------------------------

  /// Appends a copy of `m`, which may be a message of this list.
  void addMessage(const Message& m);
  /// Puts a copy of `m` in front.
  void insertMessage(const Message& m);
  /// Appends copies of the messages that `other` holds now; a list joined to itself doubles.
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
