#include "platform/posix/kelSocketFacts.hpp"
#include "support/kelAllocationsSeam.hpp"
#include "support/kelHandles.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeamSockets.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <memory>

namespace tarvo::test {
namespace {

using platform::posix::SocketFacts;
namespace fact = platform::posix::fact;

constexpr int numbers[] = {0,    1,     1023,          1024,    1025,          2047,
                           2048, 65535, (1 << 20) - 1, 1 << 20, (1 << 20) + 1, 3 << 20};

/// A table that releases its memory.
struct Table : SocketFacts {
  ~Table() { clear(); }
};

TEST(SocketFactsTable, StoresTheFactsOfEachDescriptorSeparately) {
  const auto table = std::make_unique<Table>();
  for (const int number : rowsOf(numbers)) ASSERT_TRUE(table->start(number, fact::made)) << number;
  for (const int number : rowsOf(numbers)) {
    table->add(number, fact::connectionLost);
    table->setSending(number, true);
    for (const int other : rowsOf(numbers)) {
      EXPECT_EQ(table->has(other, fact::connectionLost), other == number) << other;
      EXPECT_EQ(table->isSending(other), other == number) << other;
    }
    table->setSending(number, false);
    table->remove(number, fact::connectionLost);
    EXPECT_EQ(table->of(number), fact::made);
  }
}

TEST(SocketFactsTable, ForgetsAnEarlierSocketWithTheSameNumber) {
  const auto table = std::make_unique<Table>();
  for (const int number : rowsOf(numbers)) {
    ASSERT_TRUE(table->start(number, fact::made));
    table->add(number, fact::sendEnded | fact::connectionLost);
    table->setSending(number, true);
    ASSERT_TRUE(table->start(number, fact::made | fact::connected));
    EXPECT_EQ(table->of(number), fact::made | fact::connected);
    EXPECT_FALSE(table->isSending(number));
  }
}

TEST(SocketFactsTable, HasNoFactsForNumbersThatWereNeverStarted) {
  const auto table = std::make_unique<Table>();
  for (const int number : rowsOf({-1, INT_MIN, 1024, 1 << 20, INT_MAX})) {
    table->add(number, fact::made);
    table->remove(number, fact::made);
    table->setSending(number, true);
    EXPECT_EQ(table->of(number), 0);
    EXPECT_FALSE(table->isSending(number));
  }
}

TEST(SocketFactsTable, RefusesASocketIfAllocationFails) {
  const auto table = std::make_unique<Table>();
  bool low = false;
  bool high = true;
  {
    const FailingAllocation failing(1, Shortage::fromThenOn);
    low = table->start(1023, fact::made);
    high = table->start(1024, fact::made);
  }
  EXPECT_TRUE(low) << "part of the table itself";
  EXPECT_FALSE(high);
}

TEST(SocketFactsTable, LeavesNoSocketOpenIfAllocationFails) {
  const Pair pair;
  const SocketHandle client = tcpSocket();
  ASSERT_EQ(connectTo(client, pair.address), 0);
  {
    const HighHandles high;
    const std::size_t before = openDescriptors();
    platform::posix::socketFacts.clear();
    SocketHandle made = 0;
    SocketHandle accepted = 0;
    int code = 0;
    {
      const FailingAllocation failing(1, Shortage::fromThenOn);
      made = system().socket(2, 1, 6);
      code = lastError();
      system().WSASetLastError(0);
      accepted = system().accept(pair.listener);
    }
    EXPECT_EQ(made, invalidSocket);
    EXPECT_EQ(code, 10055);
    EXPECT_EQ(accepted, invalidSocket);
    EXPECT_EQ(lastError(), 10055);
    EXPECT_EQ(openDescriptors(), before);
  }
  system().closesocket(client);
}

}  // namespace
}  // namespace tarvo::test
