#include "infra/oss/kelMessageList.hpp"

#include "infra/oss/kelNLSException.hpp"

#include "oss/kelRaise.hpp"
#include "trace/kelTrace.hpp"

#include <memory>

namespace tarvo::oss {

using trace::probe;
using trace::traced;
using trace::tracedExit;

struct MessageList::Node {
  Message message;
  Node* next = nullptr;
};

MessageList::MessageList() {
  tracedExit<probe("MessageList::MessageList")>([] {});
}

MessageList::MessageList(const Message& m) {
  tracedExit<probe("MessageList::MessageList")>([&] { addMessage(m); });
}

MessageList::MessageList(const MessageList& other) {
  tracedExit<probe("MessageList::MessageList")>([&] {
    try {
      join(other);
    } catch (...) {
      removeAll();  // the destructor of an incomplete object does not run
      throw;
    }
  });
}

MessageList::~MessageList() {
  clear();
}

int MessageList::count() const {
  return count_;
}

bool MessageList::isEmpty() const {
  return first_ == nullptr;
}

Message& MessageList::getFirstMessage() {
  if (first_ == nullptr) raise<NLSException>(errors::ERR_MSGLIST_EMPTY);
  return first_->message;
}

const Message& MessageList::getFirstMessage() const {
  if (first_ == nullptr) raise<NLSException>(errors::ERR_MSGLIST_EMPTY);
  return first_->message;
}

const Message* MessageList::getFirstMsg() {
  if (first_ == nullptr) return nullptr;
  return tracedExit<probe("MessageList::getFirstMsg")>([&]() -> const Message* {
    cursor_ = first_->next;
    return &first_->message;
  });
}

const Message* MessageList::getNextMsg() {
  if (cursor_ == nullptr) return nullptr;
  return tracedExit<probe("MessageList::getNextMsg")>([&]() -> const Message* {
    const Message& message = cursor_->message;
    cursor_ = cursor_->next;
    return &message;
  });
}

bool MessageList::hasMoreMsgs() const {
  return cursor_ != nullptr;
}

void MessageList::addMessage(const Message& m) {
  traced<probe("MessageList::addMessage")>([&] {
    Node* node = new Node{m};
    (first_ == nullptr ? first_ : last_->next) = node;
    last_ = node;
    ++count_;
  });
}

void MessageList::insertMessage(const Message& m) {
  traced<probe("MessageList::insertMessage")>([&] {
    first_ = new Node{m, first_};
    if (last_ == nullptr) last_ = first_;
    ++count_;
  });
}

void MessageList::join(const MessageList& other) {
  traced<probe("MessageList::join")>([&] {
    const Node* end = other.last_;  // the present end: a list joined to itself grows during the loop
    for (const Node* node = other.first_; node != nullptr; node = node == end ? nullptr : node->next) {
      addMessage(node->message);
    }
  });
}

void MessageList::clear() {
  traced<probe("MessageList::clear")>([&] { removeAll(); });
}

void MessageList::removeAll() noexcept {
  while (first_ != nullptr) {
    const std::unique_ptr<Node> node(first_);
    first_ = node->next;
  }
  last_ = nullptr;
  cursor_ = nullptr;
  count_ = 0;
}

}  // namespace tarvo::oss
