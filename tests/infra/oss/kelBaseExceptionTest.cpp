#include "infra/oss/kelBaseException.hpp"
#include "infra/oss/kelIOException.hpp"
#include "infra/oss/kelNLSException.hpp"
#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketException.hpp"
#include "infra/util/kelBase64Exception.hpp"
#include "infra/util/kelPropertiesException.hpp"

#include "support/kelRaises.hpp"
#include "support/kelReporting.hpp"
#include "support/kelRows.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <exception>
#include <memory>
#include <ostream>
#include <string>
#include <thread>
#include <type_traits>
#include <typeinfo>
#include <utility>

namespace tarvo::test {
namespace {

using icu::UnicodeString;
using oss::BaseException;
using oss::IOException;
using oss::Message;
using oss::MessageList;
using oss::NLSException;
using oss::Socket;
using oss::SocketException;
using testing::ElementsAre;
using testing::IsEmpty;
using util::Base64Exception;
using util::PropertiesException;

// --- one row for each class
// ----------------------------------------------------------------------------------------

constexpr const char* raisedFile = "kelA.cpp";
constexpr unsigned int raisedLine = 17;

struct Family {
  const char* label;
  const char* name;
  bool derived;
  const std::type_info& type;
  std::unique_ptr<BaseException> (*make)(const UnicodeString&, const char*, unsigned int);
  std::unique_ptr<BaseException> (*copy)(const BaseException&);
  void (*raise)();                             // throws an exception with the arguments "a" and 2
  bool (*holds)(const BaseException*);         // whether a dynamic_cast to this class succeeds
  bool (*catches)(const std::exception_ptr&);  // whether a handler for this class catches it
};

std::ostream& operator<<(std::ostream& out, const Family& row) {
  return out << row.label;
}

template <class Exception>
constexpr Family rowOf(const char* label, const char* name) {
  static_assert(std::is_base_of_v<BaseException, Exception>);
  static_assert(std::is_convertible_v<Exception*, std::exception*>);
  static_assert(std::has_virtual_destructor_v<Exception>);
  static_assert(std::is_copy_constructible_v<Exception>);
  static_assert(!std::is_copy_assignable_v<Exception> && !std::is_move_assignable_v<Exception>);
  static_assert(!std::is_default_constructible_v<Exception>);
  static_assert(sizeof(Exception) == sizeof(BaseException), "a subclass adds no fields");
  return {label,
          name,
          !std::is_same_v<Exception, BaseException>,
          typeid(Exception),
          [](const UnicodeString& id, const char* file, unsigned int line) -> std::unique_ptr<BaseException> {
            return std::make_unique<Exception>(id, file, line);
          },
          [](const BaseException& other) -> std::unique_ptr<BaseException> {
            return std::make_unique<Exception>(dynamic_cast<const Exception&>(other));
          },
          [] {
            Exception error(u"ERR_A", raisedFile, raisedLine);
            error.getErrorMessage().addArgument(u"a");
            error.getErrorMessage().addArgument(2);
            throw error;
          },
          [](const BaseException* error) { return dynamic_cast<const Exception*>(error) != nullptr; },
          [](const std::exception_ptr& error) {
            try {
              std::rethrow_exception(error);
            } catch (const Exception&) {
              return true;
            } catch (...) {
              return false;
            }
          }};
}

const Family families[] = {
    rowOf<BaseException>("BaseException", "oss::BaseException"),
    rowOf<NLSException>("NLSException", "NLSException"),
    rowOf<IOException>("IOException", "IOException"),
    rowOf<SocketException>("SocketException", "oss::SocketException"),
    rowOf<PropertiesException>("PropertiesException", "PropertiesException"),
    rowOf<Base64Exception>("Base64Exception", "Base64Exception"),
};

std::string rendered(const Message& message) {
  UnicodeString line;
  return utf8(message.toString(line)) + " " + std::to_string(message.getMessageLevel()) + " " +
         utf8(message.getFileName()) + ":" + std::to_string(message.getLineNumber());
}

const std::string raisedMessage = "ERR_A: [] - [a] [2] 4 kelA.cpp:17";

std::exception_ptr raisedBy(const Family& row) {
  try {
    row.raise();
  } catch (...) {
    return std::current_exception();
  }
  return nullptr;
}

class EveryException : public testing::TestWithParam<Family> {
 protected:
  static std::unique_ptr<BaseException> made() { return GetParam().make(u"ERR_A", raisedFile, raisedLine); }
};

INSTANTIATE_TEST_SUITE_P(Class, EveryException, testing::ValuesIn(families),
                         [](const auto& row) { return std::string(row.param.label); });

// --- construction
// -------------------------------------------------------------------------------------------

TEST_P(EveryException, StartsWithOneMessageOfLevelErrorAndNoArguments) {
  const std::unique_ptr<BaseException> error = made();
  ASSERT_EQ(error->getMessages().count(), 1);
  EXPECT_FALSE(error->getMessages().hasMoreMsgs());
  const Message& message = error->getErrorMessage();
  EXPECT_EQ(rendered(message), "ERR_A: [] 4 kelA.cpp:17");
  EXPECT_EQ(message.getMessageArgsCount(), 0);
  EXPECT_FALSE(message.getFormattedMessage().isBogus());
}

TEST_P(EveryException, TreatsANullFileNameAsEmpty) {
  const std::unique_ptr<BaseException> error = GetParam().make(u"ERR_A", nullptr, 0);
  EXPECT_TRUE(error->getErrorMessage().getFileName().isEmpty());
  EXPECT_FALSE(error->getErrorMessage().getFileName().isBogus());
  EXPECT_EQ(error->getErrorMessage().getLineNumber(), 0U);
}

TEST_P(EveryException, OwnsItsIdentifierAndFileName) {
  char fileName[] = "kelA.cpp";
  UnicodeString identifier(u"ERR_A");
  const std::unique_ptr<BaseException> error = GetParam().make(identifier, fileName, 17);
  fileName[0] = '#';
  identifier.remove();
  EXPECT_EQ(rendered(error->getErrorMessage()), "ERR_A: [] 4 kelA.cpp:17");
}

// --- names
// --------------------------------------------------------------------------------------------------

TEST_P(EveryException, HasItsOwnName) {
  const std::unique_ptr<BaseException> error = made();
  EXPECT_STREQ(error->name(), GetParam().name);
  EXPECT_STREQ(error->what(), GetParam().name);
  const std::exception& plain = *error;
  EXPECT_STREQ(plain.what(), GetParam().name);
}

TEST_P(EveryException, ReturnsItsNameAsAStaticString) {
  const char* name = made()->name();
  const char* what = made()->what();
  EXPECT_STREQ(name, GetParam().name) << "after the exception was destroyed";
  EXPECT_EQ(name, what);
}

// --- type
// ---------------------------------------------------------------------------------------------------

TEST_P(EveryException, IsCaughtAsItsClassAndNotAsASibling) {
  const std::unique_ptr<BaseException> error = made();
  const BaseException& held = *error;
  EXPECT_EQ(typeid(held), GetParam().type);
  for (const Family& other : rowsOf(families)) {
    const bool same = other.type == GetParam().type;
    EXPECT_EQ(other.holds(error.get()), same || !other.derived) << other.label;
    EXPECT_EQ(other.catches(raisedBy(GetParam())), same || !other.derived) << other.label;
  }
}

// --- throwing
// -----------------------------------------------------------------------------------------------

TEST_P(EveryException, IsCaughtCompleteAsBaseException) {
  bool caught = false;
  try {
    GetParam().raise();
  } catch (BaseException& error) {
    caught = true;
    EXPECT_EQ(rendered(error.getErrorMessage()), raisedMessage);
    EXPECT_EQ(error.getMessages().count(), 1);
    EXPECT_STREQ(error.name(), GetParam().name);
    EXPECT_EQ(typeid(error), GetParam().type);
  }
  EXPECT_TRUE(caught);
}

TEST_P(EveryException, IsCaughtCompleteAsStandardException) {
  bool caught = false;
  try {
    GetParam().raise();
  } catch (const std::exception& error) {
    caught = true;
    EXPECT_STREQ(error.what(), GetParam().name);
    const auto* base = dynamic_cast<const BaseException*>(&error);
    ASSERT_NE(base, nullptr);
    EXPECT_EQ(rendered(base->getErrorMessage()), raisedMessage);
  }
  EXPECT_TRUE(caught);
}

TEST_P(EveryException, KeepsMessagesThatAHandlerAddsBeforeRethrowing) {
  bool caught = false;
  try {
    try {
      GetParam().raise();
    } catch (BaseException& error) {
      error.getErrorMessage().addArgument(u"on the way");
      Message context(u"CONTEXT", u"", Message::LEVEL_INFO);
      error.addMessage(context);
      throw;
    }
  } catch (const BaseException& error) {
    caught = true;
    EXPECT_THAT(argumentsOf(error.getErrorMessage()), ElementsAre("a", "2", "on the way"));
    BaseException copy(error);
    EXPECT_EQ(copy.getMessages().count(), 2);
    EXPECT_EQ(typeid(error), GetParam().type);
  }
  EXPECT_TRUE(caught);
}

TEST_P(EveryException, CanBeRethrownInAnotherThread) {
  std::exception_ptr carried;
  std::thread(reporting([&] { carried = raisedBy(GetParam()); })).join();
  ASSERT_NE(carried, nullptr);
  for (int i = 0; i < 2; ++i) {
    ROW("i", i);
    bool caught = false;
    try {
      std::rethrow_exception(carried);
    } catch (const BaseException& error) {
      caught = true;
      EXPECT_EQ(rendered(error.getErrorMessage()), raisedMessage);
      EXPECT_EQ(typeid(error), GetParam().type);
    }
    EXPECT_TRUE(caught);
  }
}

// --- copies
// -------------------------------------------------------------------------------------------------

TEST_P(EveryException, CopiesEveryMessage) {
  const std::unique_ptr<BaseException> error = made();
  error->getErrorMessage().addArgument(u"a");
  error->getMessages().addMessage(Message(u"SECOND", u"text", Message::LEVEL_INFO));
  const std::unique_ptr<BaseException> copy = GetParam().copy(*error);
  const BaseException& copied = *copy;
  EXPECT_EQ(typeid(copied), GetParam().type);
  EXPECT_STREQ(copy->what(), GetParam().name);
  MessageList& messages = copy->getMessages();
  ASSERT_EQ(messages.count(), 2);
  EXPECT_EQ(rendered(*messages.getFirstMsg()), "ERR_A: [] - [a] 4 kelA.cpp:17");
  EXPECT_EQ(rendered(*messages.getNextMsg()), "SECOND: [text] 1 :0");
}

TEST_P(EveryException, SharesNothingWithItsCopy) {
  const std::unique_ptr<BaseException> error = made();
  const std::unique_ptr<BaseException> copy = GetParam().copy(*error);
  copy->getErrorMessage().addArgument(u"a");
  Message another(u"ANOTHER", u"", Message::LEVEL_INFO);
  copy->addMessage(another);
  EXPECT_EQ(error->getErrorMessage().getMessageArgsCount(), 0);
  EXPECT_EQ(error->getMessages().count(), 1);
  error->getMessages().clear();
  EXPECT_EQ(copy->getMessages().count(), 2);
}

TEST_P(EveryException, CopiesWithoutTheCursor) {
  const std::unique_ptr<BaseException> error = made();
  error->getMessages().addMessage(error->getErrorMessage());
  error->getMessages().getFirstMsg();
  const std::unique_ptr<BaseException> copy = GetParam().copy(*error);
  EXPECT_FALSE(copy->getMessages().hasMoreMsgs());
  EXPECT_TRUE(error->getMessages().hasMoreMsgs());
}

TEST_P(EveryException, CopiesAnEmptiedList) {
  const std::unique_ptr<BaseException> error = made();
  error->getMessages().clear();
  EXPECT_TRUE(GetParam().copy(*error)->getMessages().isEmpty());
}

// --- messages
// -----------------------------------------------------------------------------------------------

TEST_P(EveryException, AddsACopyOfAMessageAtTheEnd) {
  const std::unique_ptr<BaseException> error = made();
  Message second(u"SECOND", u"", Message::LEVEL_INFO);
  error->addMessage(second);
  second.setMessageID(u"CHANGED");
  error->getMessages().insertMessage(Message(u"ZEROTH", u"", Message::LEVEL_INFO));
  MessageList& messages = error->getMessages();
  ASSERT_EQ(messages.count(), 3);
  EXPECT_EQ(utf8(messages.getFirstMsg()->getMessageID()), "ZEROTH");
  EXPECT_EQ(utf8(messages.getNextMsg()->getMessageID()), "ERR_A");
  EXPECT_EQ(utf8(messages.getNextMsg()->getMessageID()), "SECOND");
  EXPECT_EQ(utf8(error->getErrorMessage().getMessageID()), "ZEROTH");
}

TEST_P(EveryException, ReturnsAReferenceToItsFirstMessage) {
  const std::unique_ptr<BaseException> error = made();
  const BaseException& constant = *error;
  EXPECT_EQ(&error->getErrorMessage(), &error->getMessages().getFirstMessage());
  EXPECT_EQ(&error->getErrorMessage(), &constant.getErrorMessage());
  EXPECT_EQ(&error->getMessages(), &error->getMessages());
}

TEST_P(EveryException, RaisesInBothFormsOfGetErrorMessageIfItHasNoMessages) {
  const std::unique_ptr<BaseException> error = made();
  const BaseException& constant = *error;
  error->getMessages().clear();
  const auto raised = Raises<NLSException>("ERR_MSGLIST_EMPTY").from("kelMessageList.cpp");
  EXPECT_THAT([&] { error->getErrorMessage(); }, raised);
  EXPECT_THAT([&] { constant.getErrorMessage(); }, raised);
  EXPECT_STREQ(error->what(), GetParam().name);
}

TEST_P(EveryException, KeepsTypeAndNameIfItsHandlerRemovesAllMessages) {
  bool reached = false;
  try {
    GetParam().raise();
  } catch (BaseException& error) {
    error.getMessages().clear();
    EXPECT_THAT([&] { error.getErrorMessage(); },
                Raises<NLSException>("ERR_MSGLIST_EMPTY").from("kelMessageList.cpp"));
    Message again(u"AGAIN", u"", Message::LEVEL_ERROR);
    error.addMessage(again);
    EXPECT_EQ(utf8(error.getErrorMessage().getMessageID()), "AGAIN");
    EXPECT_EQ(typeid(error), GetParam().type);
    reached = true;
  }
  EXPECT_TRUE(reached);
}

// --- the same in all classes
// ------------------------------------------------------------------------

TEST(BaseException, ReturnsTheNameSocketExceptionThroughTheBase) {
  const SocketException error(u"ERR_A", "kelA.cpp", 1);
  const BaseException& base = error;
  EXPECT_STREQ(base.what(), "oss::SocketException");
}

TEST(BaseException, KeepsItsMessagesWhenMovedFrom) {
  NLSException error(u"ERR_A", "kelA.cpp", 17);
  const NLSException moved(std::move(error));
  EXPECT_EQ(rendered(moved.getErrorMessage()), "ERR_A: [] 4 kelA.cpp:17");
  EXPECT_EQ(error.getMessages().count(), 1);  // NOLINT(bugprone-use-after-move): the test reads it
}

// what() uses the dynamic type, so it also works for classes that a program derives.
class HostException : public BaseException {
 public:
  using BaseException::BaseException;
  const char* name() const override { return "host's own"; }
};

TEST(BaseException, ReturnsTheNameOfTheMostDerivedClassFromWhat) {
  const HostException error(u"ERR_A", "host.cpp", 1);
  const std::exception& plain = error;
  EXPECT_STREQ(plain.what(), "host's own");
}

// A sliced copy is a BaseException: no derived class stores its name in a member.
TEST(BaseException, IsABaseExceptionAfterSlicing) {
  const SocketException error(u"ERR_A", "kelA.cpp", 17);
  const BaseException sliced(error);  // NOLINT(cppcoreguidelines-slicing): the test slices it
  EXPECT_STREQ(sliced.what(), "oss::BaseException");
  EXPECT_EQ(rendered(sliced.getErrorMessage()), "ERR_A: [] 4 kelA.cpp:17");
}

// --- errors that the library itself throws
// ------------------------------------------------------------------

struct Raise {
  const char* what;
  void (*raise)();
  std::size_t family;  // index into families
  const char* id;
  const char* file;
};

const Raise raises[] = {
    {"an empty list", [] { MessageList().getFirstMessage(); }, 1, "ERR_MSGLIST_EMPTY", "kelMessageList.cpp"},
    {"an empty constant list", [] { std::as_const(*std::make_unique<MessageList>()).getFirstMessage(); }, 1,
     "ERR_MSGLIST_EMPTY", "kelMessageList.cpp"},
    {"a socket without a connection",
     [] {
       char byte = 0;
       Socket().read(&byte, 0, 1);
     },
     3, "ERR_SOCKET_NOT_CONNECTED", "kelSocket.cpp"},
};

TEST(BaseException, CanBeCaughtByTypeOutsideTheLibrary) {
  for (const Raise& row : rowsOf(raises)) {
    std::exception_ptr carried;
    try {
      row.raise();
    } catch (...) {
      carried = std::current_exception();
    }
    ASSERT_NE(carried, nullptr);
    for (const Family& family : rowsOf(families)) {
      const bool matching = !family.derived || &family == &families[row.family];
      EXPECT_EQ(family.catches(carried), matching) << family.label;
    }
    try {
      std::rethrow_exception(carried);
    } catch (const std::exception& error) {
      EXPECT_EQ(typeid(error), families[row.family].type);
      EXPECT_STREQ(error.what(), families[row.family].name);
      const Message& message = dynamic_cast<const BaseException&>(error).getErrorMessage();
      EXPECT_EQ(utf8(message.getMessageID()), row.id);
      EXPECT_EQ(utf8(message.getFileName()), row.file);
      EXPECT_GT(message.getLineNumber(), 0U);
      EXPECT_EQ(message.getMessageLevel(), Message::LEVEL_ERROR);
    }
  }
}

}  // namespace
}  // namespace tarvo::test
