#include "infra/oss/kelMessageList.hpp"
#include "infra/oss/kelNLSException.hpp"

#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

namespace tarvo::test {
namespace {

using icu::UnicodeString;
using oss::Message;
using oss::MessageList;
using oss::NLSException;
using testing::ElementsAre;
using testing::IsEmpty;

static_assert(!std::is_copy_assignable_v<MessageList> && !std::is_move_assignable_v<MessageList>);
static_assert(std::is_convertible_v<const Message&, MessageList>);
static_assert(!std::is_polymorphic_v<MessageList>);

Message named(const char* id) {
  return {UnicodeString(id, ""), UnicodeString(), Message::LEVEL_ERROR};
}

void add(MessageList& list, std::initializer_list<const char*> ids) {
  for (const char* id : ids) list.addMessage(named(id));
}

std::string idOf(const Message* message) {
  return message == nullptr ? "(null)" : utf8(message->getMessageID());
}

// Iterates with the list's cursor, and asks at each step whether another message follows.
std::vector<std::string> walked(MessageList& list) {
  std::vector<std::string> ids;
  for (const Message* message = list.getFirstMsg(); message != nullptr; message = list.getNextMsg()) {
    ids.push_back(idOf(message));
    const bool more = ids.size() < static_cast<std::size_t>(list.count());
    EXPECT_EQ(list.hasMoreMsgs(), more) << "after " << ids.back();
  }
  EXPECT_EQ(list.count(), static_cast<int>(ids.size()));
  EXPECT_EQ(list.isEmpty(), ids.empty());
  return ids;
}

// The identifiers, read from a copy, so that the list's cursor does not move.
std::vector<std::string> idsOf(const MessageList& list) {
  MessageList copy(list);
  return walked(copy);
}

void expectEmpty(MessageList& list) {
  EXPECT_EQ(list.count(), 0);
  EXPECT_TRUE(list.isEmpty());
  EXPECT_FALSE(list.hasMoreMsgs());
  EXPECT_EQ(list.getFirstMsg(), nullptr);
  EXPECT_EQ(list.getNextMsg(), nullptr);
  EXPECT_FALSE(list.hasMoreMsgs());
  EXPECT_THAT([&] { list.getFirstMessage(); },
              Raises<NLSException>("ERR_MSGLIST_EMPTY").from("kelMessageList.cpp"));
}

// --- construction
// -------------------------------------------------------------------------------------------

TEST(MessageList, StartsEmpty) {
  MessageList list;
  expectEmpty(list);
}

TEST(MessageList, OfOneMessageContainsACopyOfIt) {
  Message message = named("A");
  message.addArgument(u"a");
  MessageList list(message);
  message.addArgument(u"later");
  EXPECT_EQ(list.count(), 1);
  EXPECT_FALSE(list.hasMoreMsgs());
  EXPECT_EQ(list.getNextMsg(), nullptr);
  EXPECT_THAT(argumentsOf(list.getFirstMessage()), ElementsAre("a"));
}

TEST(MessageList, CopiesEveryMessageInOrder) {
  MessageList list;
  add(list, {"A", "B", "C"});
  const MessageList copy(list);
  list.clear();
  EXPECT_THAT(idsOf(copy), ElementsAre("A", "B", "C"));
}

TEST(MessageList, CopyOfAnEmptyListIsEmpty) {
  const MessageList list;
  MessageList copy(list);
  expectEmpty(copy);
}

TEST(MessageList, SharesNothingWithItsCopy) {
  MessageList list(named("A"));
  MessageList copy(list);
  copy.getFirstMessage().addArgument(u"a");
  copy.addMessage(named("B"));
  EXPECT_EQ(list.getFirstMessage().getMessageArgsCount(), 0);
  EXPECT_THAT(idsOf(list), ElementsAre("A"));
  EXPECT_THAT(idsOf(copy), ElementsAre("A", "B"));
}

TEST(MessageList, CopyStartsWithoutACursor) {
  MessageList list;
  add(list, {"A", "B", "C"});
  list.getFirstMsg();
  ASSERT_TRUE(list.hasMoreMsgs());
  MessageList copy(list);
  EXPECT_FALSE(copy.hasMoreMsgs());
  EXPECT_EQ(copy.getNextMsg(), nullptr);
  EXPECT_EQ(idOf(list.getNextMsg()), "B") << "the copied list goes on";
}

TEST(MessageList, KeepsItsMessagesWhenMovedFrom) {
  MessageList list;
  add(list, {"A", "B"});
  const MessageList moved(std::move(list));
  EXPECT_THAT(idsOf(moved), ElementsAre("A", "B"));
  EXPECT_THAT(idsOf(list), ElementsAre("A", "B"));  // NOLINT(bugprone-use-after-move): the test reads it
}

// --- the fields of a message
// -----------------------------------------------------------------------------------

std::string fieldsOf(const Message& message) {
  UnicodeString line;
  std::string fields = utf8(message.toString(line)) + " " + std::to_string(message.getMessageLevel()) + " " +
                       utf8(message.getFileName()) + ":" + std::to_string(message.getLineNumber());
  if (message.getMessageID().isBogus()) fields += " bogus id";
  if (message.getFormattedMessage().isBogus()) fields += " bogus text";
  if (message.getFileName().isBogus()) fields += " bogus file";
  return fields;
}

TEST(MessageList, CopiesEveryFieldOfAMessage) {
  Message full(u"FULL", Message::LEVEL_SEVERE, "kelA.cpp", 17);
  full.setMessageText(u"text");
  full.addArgument(u"one");
  full.addArgument(2);
  Message bogus;
  bogus.clear();
  for (const Message* message :
       rowsOf({static_cast<const Message*>(&full), static_cast<const Message*>(&bogus)})) {
    MessageList added;
    added.addMessage(*message);
    MessageList inserted;
    inserted.insertMessage(*message);
    MessageList joined;
    joined.join(added);
    MessageList constructed(*message);
    for (MessageList* list : rowsOf({&added, &inserted, &joined, &constructed})) {
      ASSERT_EQ(list->count(), 1);
      EXPECT_EQ(fieldsOf(list->getFirstMessage()), fieldsOf(*message));
    }
  }
  EXPECT_EQ(fieldsOf(full), "FULL: [text] - [one] [2] 8 kelA.cpp:17");
  EXPECT_EQ(fieldsOf(bogus), ": [] 4 :0 bogus id bogus text bogus file");
}

// --- adding
// -------------------------------------------------------------------------------------------------

TEST(MessageList, AddsAtTheEndAndInsertsAtTheFront) {
  MessageList list;
  list.addMessage(named("A"));
  list.addMessage(named("B"));
  list.insertMessage(named("C"));
  EXPECT_EQ(list.count(), 3);
  EXPECT_THAT(walked(list), ElementsAre("C", "A", "B"));
}

TEST(MessageList, AddsAfterAMessageInsertedAtTheFront) {
  MessageList list;
  list.insertMessage(named("A"));
  list.addMessage(named("B"));
  list.insertMessage(named("C"));
  list.addMessage(named("D"));
  EXPECT_THAT(walked(list), ElementsAre("C", "A", "B", "D"));
}

TEST(MessageList, JoinsTheOtherListsMessagesAtTheEnd) {
  MessageList list;
  add(list, {"A", "B"});
  MessageList other;
  add(other, {"C", "D"});
  list.join(other);
  list.addMessage(named("E"));
  EXPECT_THAT(walked(list), ElementsAre("A", "B", "C", "D", "E"));
  EXPECT_THAT(idsOf(other), ElementsAre("C", "D"));
}

TEST(MessageList, JoinsEmptyLists) {
  MessageList list;
  MessageList other;
  list.join(other);
  expectEmpty(list);
  add(other, {"A"});
  list.join(other);
  EXPECT_THAT(walked(list), ElementsAre("A"));
  list.join(MessageList());
  EXPECT_THAT(walked(list), ElementsAre("A"));
}

TEST(MessageList, JoinsItselfByDoublingItsMessages) {
  MessageList list;
  list.join(list);
  expectEmpty(list);
  add(list, {"A"});
  list.join(list);
  EXPECT_THAT(walked(list), ElementsAre("A", "A"));
  list.insertMessage(named("B"));
  list.join(list);
  EXPECT_THAT(walked(list), ElementsAre("B", "A", "A", "B", "A", "A"));
}

TEST(MessageList, JoiningDoesNotMoveTheOtherListsCursor) {
  MessageList other;
  add(other, {"A", "B", "C"});
  other.getFirstMsg();
  MessageList list;
  list.join(other);
  EXPECT_EQ(idOf(other.getNextMsg()), "B");
  EXPECT_FALSE(list.hasMoreMsgs());
}

TEST(MessageList, CanAddMessagesThatItContains) {
  MessageList list;
  add(list, {"A", "B"});
  list.addMessage(list.getFirstMessage());
  list.insertMessage(list.getFirstMessage());
  list.getFirstMsg();
  const Message* second = list.getNextMsg();
  ASSERT_NE(second, nullptr);
  list.insertMessage(*second);
  EXPECT_THAT(walked(list), ElementsAre("A", "A", "A", "B", "A"));
}

TEST(MessageList, DoesNotMoveItsMessagesInMemory) {
  MessageList list;
  add(list, {"A", "B"});
  const Message* first = list.getFirstMsg();
  const Message* second = list.getNextMsg();
  list.insertMessage(named("0"));
  list.addMessage(named("C"));
  list.join(list);
  list.getFirstMsg();
  EXPECT_EQ(list.getNextMsg(), first);
  EXPECT_EQ(list.getNextMsg(), second);
}

// --- the first message
// --------------------------------------------------------------------------------------

TEST(MessageList, ReturnsAReferenceToItsFirstMessage) {
  MessageList list;
  add(list, {"A", "B"});
  list.getFirstMessage().addArgument(u"a");
  const MessageList& constant = list;
  EXPECT_EQ(&constant.getFirstMessage(), &list.getFirstMessage());
  EXPECT_EQ(list.getFirstMsg(), &list.getFirstMessage());
  EXPECT_THAT(argumentsOf(constant.getFirstMessage()), ElementsAre("a"));
  list.insertMessage(named("C"));
  EXPECT_EQ(idOf(&constant.getFirstMessage()), "C");
}

TEST(MessageList, RaisesInBothFormsOfGetFirstMessageIfItIsEmpty) {
  MessageList list;
  const MessageList& constant = list;
  EXPECT_THAT([&] { list.getFirstMessage(); },
              Raises<NLSException>("ERR_MSGLIST_EMPTY").from("kelMessageList.cpp"));
  EXPECT_THAT([&] { constant.getFirstMessage(); },
              Raises<NLSException>("ERR_MSGLIST_EMPTY").from("kelMessageList.cpp"));
  const auto lineOf = [](auto& asked) {
    try {
      asked.getFirstMessage();
    } catch (const NLSException& error) {
      return error.getErrorMessage().getLineNumber();
    }
    return 0U;
  };
  EXPECT_NE(lineOf(list), lineOf(constant));
  EXPECT_EQ(lineOf(list), lineOf(list));
  expectEmpty(list);
}

TEST(MessageList, ReadsTheFirstMessageWithoutMovingTheCursor) {
  MessageList list;
  add(list, {"A", "B", "C"});
  list.getFirstMsg();
  list.getFirstMessage();
  EXPECT_EQ(list.count(), 3);
  EXPECT_FALSE(list.isEmpty());
  EXPECT_EQ(idOf(list.getNextMsg()), "B");
}

// --- the cursor
// ---------------------------------------------------------------------------------------------

TEST(MessageListCursor, IsNullUntilTheFirstMessageIsAskedFor) {
  MessageList list;
  add(list, {"A", "B"});
  EXPECT_FALSE(list.hasMoreMsgs());
  EXPECT_EQ(list.getNextMsg(), nullptr);
  EXPECT_EQ(list.getNextMsg(), nullptr);
}

TEST(MessageListCursor, OfOneMessageIsNullAfterTheFirstMessage) {
  MessageList list(named("A"));
  EXPECT_EQ(idOf(list.getFirstMsg()), "A");
  EXPECT_FALSE(list.hasMoreMsgs());
  EXPECT_EQ(list.getNextMsg(), nullptr);
}

TEST(MessageListCursor, RestartsWheneverTheFirstMessageIsRequested) {
  MessageList list;
  add(list, {"A", "B", "C"});
  list.getFirstMsg();
  list.getNextMsg();
  EXPECT_EQ(idOf(list.getFirstMsg()), "A");
  EXPECT_EQ(idOf(list.getNextMsg()), "B");
  EXPECT_EQ(idOf(list.getNextMsg()), "C");
  EXPECT_EQ(list.getNextMsg(), nullptr);
  EXPECT_EQ(list.getNextMsg(), nullptr);
  EXPECT_EQ(idOf(list.getFirstMsg()), "A");
}

TEST(MessageListCursor, StaysNullIfAMessageIsAddedAfterTheEnd) {
  MessageList list(named("A"));
  list.addMessage(named("B"));
  EXPECT_FALSE(list.hasMoreMsgs()) << "never started";
  list.getFirstMsg();
  list.getNextMsg();
  list.addMessage(named("C"));
  EXPECT_FALSE(list.hasMoreMsgs()) << "exhausted";
  EXPECT_EQ(list.getNextMsg(), nullptr);
}

TEST(MessageListCursor, ReachesAMessageThatIsAddedBeforeTheEnd) {
  MessageList list;
  add(list, {"A", "B"});
  list.getFirstMsg();
  list.addMessage(named("C"));
  MessageList other(named("D"));
  list.join(other);
  EXPECT_EQ(idOf(list.getNextMsg()), "B");
  EXPECT_EQ(idOf(list.getNextMsg()), "C");
  EXPECT_EQ(idOf(list.getNextMsg()), "D");
  EXPECT_EQ(list.getNextMsg(), nullptr);
}

TEST(MessageListCursor, StaysAtItsMessageIfOneIsInsertedAtTheFront) {
  MessageList list;
  add(list, {"A", "B"});
  list.getFirstMsg();
  list.insertMessage(named("C"));
  EXPECT_EQ(idOf(list.getNextMsg()), "B");
  EXPECT_EQ(idOf(list.getFirstMsg()), "C");
  EXPECT_EQ(idOf(list.getNextMsg()), "A");
}

TEST(MessageListCursor, IsNullAfterClear) {
  MessageList list;
  add(list, {"A", "B", "C"});
  list.getFirstMsg();
  list.clear();
  EXPECT_FALSE(list.hasMoreMsgs());
  EXPECT_EQ(list.getNextMsg(), nullptr);
  add(list, {"D", "E"});
  EXPECT_FALSE(list.hasMoreMsgs());
  EXPECT_EQ(list.getNextMsg(), nullptr);
}

// --- clear
// --------------------------------------------------------------------------------------------------

TEST(MessageList, IsEmptyAndUsableAfterClear) {
  MessageList list;
  list.clear();
  expectEmpty(list);
  add(list, {"A", "B"});
  list.clear();
  expectEmpty(list);
  list.clear();
  expectEmpty(list);
  add(list, {"C"});
  list.insertMessage(named("D"));
  EXPECT_THAT(walked(list), ElementsAre("D", "C"));
}

// If clear() or the destructor recursed for each message, the stack would overflow.
TEST(MessageList, ClearsAndDestroysAMillionMessages) {
  auto list = std::make_unique<MessageList>(named("A"));
  constexpr int doublings = 20;
  for (int i = 0; i < doublings; ++i) list->join(*list);
  EXPECT_EQ(list->count(), 1 << doublings);
  list->clear();
  expectEmpty(*list);
  list->addMessage(named("B"));
  for (int i = 0; i < doublings; ++i) list->join(*list);
  EXPECT_EQ(list->count(), 1 << doublings);
  list.reset();
}

// --- random operations, compared with a model
// ----------------------------------------------------------------------------

// A list as a vector of its messages' contents; the cursor is an index.
class ModelList {
 public:
  int count() const { return static_cast<int>(messages_.size()); }
  bool hasMore() const { return cursor_.has_value(); }
  const std::vector<std::string>& messages() const { return messages_; }

  void add(const std::string& message) { messages_.push_back(message); }
  void insert(const std::string& message) {
    messages_.insert(messages_.begin(), message);
    if (cursor_) ++*cursor_;
  }
  void join(const std::vector<std::string>& others) {
    messages_.insert(messages_.end(), others.begin(), others.end());
  }
  void clear() {
    messages_.clear();
    cursor_.reset();
  }
  std::string first() {
    if (messages_.empty()) return "(null)";
    stepTo(1);
    return messages_.front();
  }
  std::string next() {
    if (!cursor_) return "(null)";
    const std::size_t at = *cursor_;
    stepTo(at + 1);
    return messages_[at];
  }
  void changeFirst(const std::string& message) { messages_.front() = message; }
  ModelList copied() const {
    ModelList copy;
    copy.messages_ = messages_;
    return copy;
  }

 private:
  void stepTo(std::size_t place) {
    cursor_.reset();
    if (place < messages_.size()) cursor_ = place;
  }

  std::vector<std::string> messages_;
  std::optional<std::size_t> cursor_;
};

TEST(MessageListModel, GivesTheExpectedLists) {
  ModelList model;
  EXPECT_EQ(model.first(), "(null)");
  model.add("A");
  model.add("B");
  EXPECT_EQ(model.next(), "(null)");
  EXPECT_EQ(model.first(), "A");
  model.insert("C");
  EXPECT_EQ(model.next(), "B");
  EXPECT_FALSE(model.hasMore());
  EXPECT_THAT(model.messages(), ElementsAre("C", "A", "B"));
  model.first();
  model.add("D");
  EXPECT_EQ(model.next(), "A");
  EXPECT_FALSE(model.copied().hasMore());
  model.clear();
  EXPECT_EQ(model.next(), "(null)");
}

std::string fieldsOf(const Message* message) {
  return message == nullptr ? "(null)" : fieldsOf(*message);
}

// Some lists and their models. Each operation is done on both.
class Lists {
 public:
  explicit Lists(unsigned int seed) : random_(seeded(seed)) {}

  std::string step() {
    const std::size_t one = upTo(size);
    const std::size_t other = upTo(size);
    const std::string what = operate(one, other);
    MessageList& list = *lists_[one];
    EXPECT_EQ(list.count(), models_[one].count()) << what;
    EXPECT_EQ(list.isEmpty(), models_[one].count() == 0) << what;
    EXPECT_EQ(list.hasMoreMsgs(), models_[one].hasMore()) << what;
    return what;
  }

  // Compares copies, so that no cursor moves.
  void compareAll(const std::string& what) const {
    for (std::size_t i = 0; i < size; ++i) {
      ROW("i", i);
      MessageList copy(*lists_[i]);
      std::vector<std::string> found;
      for (const Message* m = copy.getFirstMsg(); m != nullptr; m = copy.getNextMsg())
        found.push_back(fieldsOf(*m));
      EXPECT_EQ(found, models_[i].messages()) << "list " << i << " after " << what;
    }
  }

 private:
  static constexpr std::size_t size = 3;
  static constexpr int longest = 60;

  std::size_t upTo(std::size_t end) { return random_() % end; }

  Message anyMessage() {
    Message message(UnicodeString(std::to_string(++messagesMade_).c_str(), ""),
                    static_cast<Message::Level>(1 << upTo(4)), "kelA.cpp",
                    static_cast<unsigned int>(upTo(100)));
    if (upTo(3) == 0) message.setMessageText(u"text");
    for (std::size_t i = upTo(3); i > 0; --i) message.addArgument(upTo(1000));
    if (upTo(10) == 0) message.clear();
    return message;
  }

  std::string operate(std::size_t one, std::size_t other) {
    MessageList& list = *lists_[one];
    ModelList& model = models_[one];
    switch (upTo(16)) {
      case 0:
      case 1:
      case 2:
        return add(list, model);
      case 3:
      case 4:
        return insert(list, model);
      case 5:
        return join(one, other);
      case 6:
        return upTo(4) == 0 || model.count() > longest ? clear(list, model) : "nothing";
      case 7:
      case 8:
        EXPECT_EQ(fieldsOf(list.getFirstMsg()), model.first());
        return "getFirstMsg";
      case 9:
        return copy(one, other);
      case 10:
        return change(list, model);
      case 11:
        return addOwn(list, model);
      default:
        EXPECT_EQ(fieldsOf(list.getNextMsg()), model.next());
        return "getNextMsg";
    }
  }

  std::string add(MessageList& list, ModelList& model) {
    const Message message = anyMessage();
    list.addMessage(message);
    model.add(fieldsOf(message));
    return "addMessage";
  }
  std::string insert(MessageList& list, ModelList& model) {
    const Message message = anyMessage();
    list.insertMessage(message);
    model.insert(fieldsOf(message));
    return "insertMessage";
  }
  std::string join(std::size_t one, std::size_t other) {
    if (models_[one].count() + models_[other].count() > longest) return "nothing";
    const std::vector<std::string> others = models_[other].messages();
    lists_[one]->join(*lists_[other]);
    models_[one].join(others);
    return one == other ? "join itself" : "join";
  }
  static std::string clear(MessageList& list, ModelList& model) {
    list.clear();
    model.clear();
    return "clear";
  }
  std::string copy(std::size_t one, std::size_t other) {
    lists_[one] = std::make_unique<MessageList>(*lists_[other]);
    models_[one] = models_[other].copied();
    return "copy";
  }
  static std::string change(MessageList& list, ModelList& model) {
    if (model.count() == 0) {
      EXPECT_THAT([&] { list.getFirstMessage(); },
                  Raises<NLSException>("ERR_MSGLIST_EMPTY").from("kelMessageList.cpp"));
      return "getFirstMessage of none";
    }
    list.getFirstMessage().setMessageText(u"changed");
    model.changeFirst(fieldsOf(list.getFirstMessage()));
    return "change of the first";
  }
  std::string addOwn(MessageList& list, ModelList& model) {
    if (model.count() == 0) return "nothing";
    const std::string first = model.messages().front();
    if (upTo(2) == 0) {
      list.addMessage(list.getFirstMessage());
      model.add(first);
      return "addMessage of its own";
    }
    list.insertMessage(list.getFirstMessage());
    model.insert(first);
    return "insertMessage of its own";
  }

  std::mt19937 random_;
  int messagesMade_ = 0;
  std::array<std::unique_ptr<MessageList>, size> lists_ = {
      std::make_unique<MessageList>(), std::make_unique<MessageList>(), std::make_unique<MessageList>()};
  std::array<ModelList, size> models_;
};

// The parameter is the seed. To repeat a failure, run the test of that seed by its name.
class MessageListRandomly : public testing::TestWithParam<unsigned int> {};

TEST_P(MessageListRandomly, AgreesWithTheModel) {
  ROW("seed", GetParam());
  Lists lists(GetParam());
  for (int i = 0; i < 1500 && !HasFailure(); ++i) {
    ROW("step", i);
    const std::string what = lists.step();
    if (i % 10 == 0) lists.compareAll(what);
  }
}

INSTANTIATE_TEST_SUITE_P(Seed, MessageListRandomly, testing::Range(1U, 13U),
                         [](const auto& row) { return std::to_string(row.param); });

}  // namespace
}  // namespace tarvo::test
