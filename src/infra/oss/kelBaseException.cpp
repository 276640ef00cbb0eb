#include "infra/oss/kelBaseException.hpp"

namespace tarvo::oss {

BaseException::BaseException(const icu::UnicodeString& messageID, const char* fileName,
                             unsigned int lineNumber) {
  Message message;
  message.setMessageID(messageID);
  message.setFileName(fileName);
  message.setLineNumber(lineNumber);
  addMessage(message);
}

// The messages are copied with the default constructor and `join` of MessageList, and not with its copy
// constructor. These two calls appear in the trace of a host program, and programs that read traces depend on
// them.
BaseException::BaseException(const BaseException& other) : std::exception(other) {
  messages_.join(other.messages_);
}

BaseException::~BaseException() = default;

const char* BaseException::what() const noexcept {
  return name();
}

const char* BaseException::name() const {
  return "oss::BaseException";
}

void BaseException::addMessage(Message& m) {
  messages_.addMessage(m);
}

MessageList& BaseException::getMessages() {
  return messages_;
}

Message& BaseException::getErrorMessage() {
  return messages_.getFirstMessage();
}

const Message& BaseException::getErrorMessage() const {
  return messages_.getFirstMessage();
}

}  // namespace tarvo::oss
