#include "infra/oss/kelMessageList.hpp"

#include "support/kelAllocationsSeam.hpp"
#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <vector>

namespace tarvo::test {
namespace {

using oss::Message;
using oss::MessageList;
using testing::ElementsAre;
using testing::IsEmpty;

Message withArguments(const char* id) {
  Message message(icu::UnicodeString(id, ""), u"text", Message::LEVEL_ERROR);
  message.addArgument(u"a");
  message.addArgument(2);
  return message;
}

std::vector<std::string> shownIn(const MessageList& list) {
  MessageList copy(list);
  std::vector<std::string> shown;
  for (const Message* m = copy.getFirstMsg(); m != nullptr; m = copy.getNextMsg()) {
    icu::UnicodeString line;
    shown.push_back(utf8(m->toString(line)));
  }
  EXPECT_EQ(list.count(), static_cast<int>(shown.size()));
  return shown;
}

// Runs `work` while its n-th allocation fails. Returns whether it threw std::bad_alloc; if so, expects that
// it released all that it allocated.
template <class Work>
bool failsAt(std::size_t nth, Work work) {
  const AllocationCount count;
  bool exhausted = false;
  bool happened = false;
  {
    const FailingAllocation failing(nth);
    try {
      work();
    } catch (const std::bad_alloc&) {
      exhausted = true;
    }
    happened = failing.happened();
  }
  EXPECT_EQ(exhausted, happened) << "request " << nth;
  EXPECT_TRUE(!exhausted || count.outstanding() == 0) << "request " << nth;
  return exhausted;
}

constexpr std::size_t tooMany = 100;

// --- Message
// ------------------------------------------------------------------------------------------------

TEST(MessageWithoutMemory, KeepsItsArgumentsIfAddingOneFails) {
  void (*const adds[])(Message&) = {
      [](Message& m) { m.addArgument(u"b"); },
      [](Message& m) { m.addArgument(12); },
      [](Message& m) { m.addArgument("b", ""); },
  };
  for (auto* add : rowsOf(adds)) {
    Message message = withArguments("A");
    std::size_t nth = 1;
    for (; nth < tooMany && failsAt(nth, [&] { add(message); }); ++nth)
      EXPECT_THAT(argumentsOf(message), ElementsAre("a", "2")) << "request " << nth;
    EXPECT_GT(nth, 1U);
    EXPECT_EQ(message.getMessageArgsCount(), 3);
  }
}

TEST(MessageWithoutMemory, LeaksNothingIfACopyFails) {
  const Message message = withArguments("A");
  std::size_t nth = 1;
  while (nth < tooMany && failsAt(nth, [&] { const Message copy(message); })) ++nth;
  EXPECT_EQ(nth, 3U) << "one request an argument";
}

TEST(MessageWithoutMemory, CanBeSetAfterAFailure) {
  const Message other = withArguments("B");
  for (std::size_t nth = 1; nth < tooMany; ++nth) {
    ROW("nth", nth);
    Message message = withArguments("A");
    bool failed = false;
    {
      const FailingAllocation failing(nth);
      try {
        message.setMessage(other);
      } catch (const std::bad_alloc&) {
        failed = true;
      }
    }
    message.setMessage(other);
    icu::UnicodeString line;
    EXPECT_EQ(utf8(message.toString(line)), "B: [text] - [a] [2]");
    if (!failed) break;
    ASSERT_LT(nth, tooMany - 1);
  }
}

// --- MessageList
// --------------------------------------------------------------------------------------------

struct Adding {
  const char* what;
  void (*add)(MessageList&, const Message&);
  std::vector<std::string> after;
};

TEST(MessageListWithoutMemory, IsUnchangedByAnAddThatFails) {
  const Adding rows[] = {
      {"addMessage",
       [](MessageList& list, const Message& m) { list.addMessage(m); },
       {"A: [text] - [a] [2]", "B: [text] - [a] [2]", "C: [text] - [a] [2]"}},
      {"insertMessage",
       [](MessageList& list, const Message& m) { list.insertMessage(m); },
       {"C: [text] - [a] [2]", "A: [text] - [a] [2]", "B: [text] - [a] [2]"}},
  };
  for (const Adding& row : rowsOf(rows)) {
    const Message message = withArguments("C");
    MessageList list(withArguments("A"));
    list.addMessage(withArguments("B"));
    list.getFirstMsg();
    std::size_t nth = 1;
    for (; nth < tooMany && failsAt(nth, [&] { row.add(list, message); }); ++nth) {
      EXPECT_THAT(shownIn(list), ElementsAre("A: [text] - [a] [2]", "B: [text] - [a] [2]")) << nth;
      EXPECT_TRUE(list.hasMoreMsgs()) << nth;
    }
    EXPECT_EQ(nth, 4U) << "a node and two arguments";
    EXPECT_EQ(shownIn(list), row.after);
    EXPECT_EQ(utf8(list.getNextMsg()->getMessageID()), "B");
  }
}

TEST(MessageListWithoutMemory, CanAddItsFirstMessageAfterAFailure) {
  void (*const adds[])(MessageList&, const Message&) = {
      [](MessageList& list, const Message& m) { list.addMessage(m); },
      [](MessageList& list, const Message& m) { list.insertMessage(m); },
  };
  for (auto* add : rowsOf(adds)) {
    const Message message = withArguments("A");
    MessageList list;
    std::size_t nth = 1;
    for (; nth < tooMany && failsAt(nth, [&] { add(list, message); }); ++nth) {
      EXPECT_TRUE(list.isEmpty());
      EXPECT_EQ(list.getFirstMsg(), nullptr);
    }
    list.addMessage(withArguments("B"));
    EXPECT_THAT(shownIn(list), ElementsAre("A: [text] - [a] [2]", "B: [text] - [a] [2]"));
  }
}

// Joining three messages takes three allocations for each. The messages before the failed one remain.
TEST(MessageListWithoutMemory, KeepsTheMessagesJoinedBeforeTheFailure) {
  MessageList other(withArguments("B"));
  other.addMessage(withArguments("C"));
  other.addMessage(withArguments("D"));
  const int joinedBefore[] = {0, 0, 0, 1, 1, 1, 2, 2, 2, 3};
  for (std::size_t nth = 1; nth <= std::size(joinedBefore); ++nth) {
    ROW("nth", nth);
    MessageList list(withArguments("A"));
    bool failed = false;
    {
      const FailingAllocation failing(nth);
      try {
        list.join(other);
      } catch (const std::bad_alloc&) {
        failed = true;
      }
    }
    EXPECT_EQ(failed, nth < std::size(joinedBefore)) << "request " << nth;
    EXPECT_EQ(list.count(), 1 + joinedBefore[nth - 1]) << "request " << nth;
    list.addMessage(withArguments("E"));
    EXPECT_EQ(shownIn(list).back(), "E: [text] - [a] [2]") << "request " << nth;
    EXPECT_EQ(other.count(), 3);
  }
}

TEST(MessageListWithoutMemory, LeaksNothingIfItsConstructorFails) {
  const Message message = withArguments("A");
  std::size_t nth = 1;
  while (nth < tooMany && failsAt(nth, [&] { const MessageList list(message); })) ++nth;
  EXPECT_EQ(nth, 4U);
  MessageList two(message);
  two.addMessage(message);
  nth = 1;
  while (nth < tooMany && failsAt(nth, [&] { const MessageList copy(two); })) ++nth;
  EXPECT_EQ(nth, 7U);
}

TEST(MessageListMemory, IsReleasedCompletely) {
  const Message message = withArguments("A");
  const AllocationCount count;
  {
    MessageList list;
    for (int i = 0; i < 10; ++i) list.addMessage(message);
    EXPECT_EQ(count.made(), 30U) << "a node and two arguments each";
    list.clear();
    EXPECT_EQ(count.outstanding(), 0) << "cleared";
    list.insertMessage(message);
    list.join(list);
  }
  EXPECT_EQ(count.outstanding(), 0) << "destroyed";
}

}  // namespace
}  // namespace tarvo::test
