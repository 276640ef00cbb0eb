#include "infra/oss/kelSocket.hpp"

#include "support/kelFakeWinsockSeam.hpp"
#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelSocketFixtureSeam.hpp"
#include "support/kelTraceRecorder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <cstring>
#include <list>
#include <optional>
#include <string>
#include <vector>

namespace tarvo::test {
namespace {

using oss::Socket;
using platform::SocketHandle;
using platform::SocketSet;
using platform::TimeValue;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* file = "kelSocket.cpp";

class SocketSelect : public SocketFixture {
 protected:
  /// A view of the invented handle 5000 + n, connected to host h<n>, port n.
  Socket& peer(unsigned int n) {
    if (peers_.empty()) {
      fake.inventsHandles(5000);
      resolvesTo({inetAddress("10.0.0.1", 1)});
    }
    while (peers_.size() <= n) {
      const auto number = static_cast<unsigned int>(peers_.size());
      peers_.emplace_back();
      const icu::UnicodeString name = icu::UnicodeString::fromUTF8("h" + std::to_string(number));
      peers_.back().connect(name, number, Socket::NullAddrInfoExternal, nullptr);
    }
    fake.forget();
    return *std::next(peers_.begin(), static_cast<std::ptrdiff_t>(n));
  }
  std::list<Socket> listOf(const std::vector<unsigned int>& numbers) {
    std::list<Socket> list;
    for (const unsigned int n : numbers) list.push_back(peer(n));
    fake.forget();
    return list;
  }
  static std::vector<SocketHandle> handlesOf(const std::list<Socket>& list) {
    std::vector<SocketHandle> handles;
    for (const Socket& socket : list) handles.push_back(socket.handle());
    return handles;
  }
  static SocketSet setOf(const std::vector<SocketHandle>& handles) {
    SocketSet set;
    for (const SocketHandle handle : handles) set.handles[set.count++] = handle;
    return set;
  }
  /// Makes select leave these handles in the three sets and return the count.
  void leaves(const std::vector<SocketHandle>& read, const std::vector<SocketHandle>& write,
              const std::vector<SocketHandle>& error, int count) {
    fake.on.select = [=](auto& readSet, auto& writeSet, auto& errorSet, auto) {
      readSet = setOf(read);
      writeSet = setOf(write);
      errorSet = setOf(error);
      return count;
    };
  }
  void TearDown() override {
    peers_.clear();
    SocketFixture::TearDown();
  }

 private:
  std::list<Socket> peers_;
};

TEST_F(SocketSelect, OfThreeEmptyListsReturnsAtOnceWithoutACall) {
  std::list<Socket> empty;
  const unsigned long long timeout = 5000;
  const TraceRecorder trace(0x20000);
  EXPECT_EQ(Socket::select(empty, empty, empty, &timeout), 0U);
  EXPECT_EQ(Socket::select(empty, empty, empty, nullptr), 0U);
  EXPECT_THAT(fake.calls(), IsEmpty());
  EXPECT_THAT(trace.calls(), IsEmpty());
}

TEST_F(SocketSelect, WatchesEachHandleOnceInTheListsOrder) {
  std::list<Socket> read = listOf({2, 0, 2, 1, 0});
  std::list<Socket> write = listOf({1});
  std::list<Socket> error = listOf({1, 2, 2});
  leaves({5002, 5000, 5001}, {5001}, {5001, 5002}, 6);
  fake.forget();
  EXPECT_EQ(Socket::select(read, write, error, nullptr), 6U);
  EXPECT_THAT(fake.steps(), ElementsAre("select({#3 #1 #2}, {#2}, {#2 #3}, null)"));
  EXPECT_THAT(handlesOf(read), ElementsAre(5002, 5000, 5002, 5001, 5000)) << "twins stay together";
  EXPECT_THAT(handlesOf(error), ElementsAre(5001, 5002, 5002));
}

TEST_F(SocketSelect, ErasesSocketsThatAreNotReadyAndKeepsTheOrder) {
  std::list<Socket> read = listOf({0, 1, 2, 3, 1});
  std::list<Socket> write = listOf({3, 2});
  std::list<Socket> error = listOf({0});
  leaves({5003, 5001}, {5002}, {}, 3);
  EXPECT_EQ(Socket::select(read, write, error, nullptr), 3U);
  EXPECT_THAT(handlesOf(read), ElementsAre(5001, 5003, 5001));
  EXPECT_THAT(handlesOf(write), ElementsAre(5002));
  EXPECT_THAT(handlesOf(error), IsEmpty());
  EXPECT_EQ(fake.countOf("closesocket"), 0);
}

TEST_F(SocketSelect, ReturnsTheSystemsCountForAnySets) {
  std::list<Socket> read = listOf({0, 1});
  std::list<Socket> nothing;
  leaves({5000, 5001}, {}, {}, 1);
  EXPECT_EQ(Socket::select(read, nothing, nothing, nullptr), 1U);
  EXPECT_THAT(handlesOf(read), ElementsAre(5000, 5001));
}

TEST_F(SocketSelect, EmptiesAllListsOnATimeout) {
  std::list<Socket> read = listOf({0, 1});
  std::list<Socket> write = listOf({1});
  std::list<Socket> error = listOf({2});
  leaves({}, {}, {}, 0);
  const unsigned long long timeout = 0;
  EXPECT_EQ(Socket::select(read, write, error, &timeout), 0U);
  EXPECT_EQ(read.size() + write.size() + error.size(), 0U);
}

TEST_F(SocketSelect, WatchesTheFirst64HandlesAndErasesTheRest) {
  std::vector<unsigned int> numbers = {0, 1, 0, 1};  // repeated handles do not count
  for (unsigned int n = 2; n < 70; ++n) numbers.push_back(n);
  numbers.push_back(63);
  numbers.push_back(64);
  std::list<Socket> read = listOf(numbers);
  std::list<Socket> nothing;
  unsigned int watched = 0;
  std::vector<SocketHandle> order;
  fake.on.select = [&](auto& set, auto&, auto&, auto) {
    watched = set.count;
    order.assign(set.handles, set.handles + set.count);
    return static_cast<int>(set.count);
  };
  EXPECT_EQ(Socket::select(read, nothing, nothing, nullptr), 64U);
  ASSERT_EQ(watched, 64U);
  std::vector<SocketHandle> expected;
  for (SocketHandle handle = 5000; handle < 5064; ++handle) expected.push_back(handle);
  EXPECT_EQ(order, expected);
  std::vector<SocketHandle> left = {5000, 5001, 5000, 5001};
  left.insert(left.end(), expected.begin() + 2, expected.end());
  left.push_back(5063);
  EXPECT_EQ(handlesOf(read), left);
}

TEST_F(SocketSelect, PrunesAListThatIsPassedTwiceOnceForEachRole) {
  std::list<Socket> both = listOf({0, 1, 2});
  std::list<Socket> nothing;
  leaves({5000, 5001}, {5001, 5002}, {}, 4);
  fake.forget();
  EXPECT_EQ(Socket::select(both, both, nothing, nullptr), 4U);
  EXPECT_THAT(fake.steps(), ElementsAre("select({#1 #2 #3}, {#1 #2 #3}, {}, null)"));
  EXPECT_THAT(handlesOf(both), ElementsAre(5001));
  std::list<Socket> thrice = listOf({0, 1, 2});
  leaves({5000}, {5001}, {5002}, 3);
  EXPECT_EQ(Socket::select(thrice, thrice, thrice, nullptr), 3U);
  EXPECT_THAT(handlesOf(thrice), IsEmpty());
}

TEST_F(SocketSelect, ConvertsTheTimeout) {
  struct Row {
    unsigned long long milliseconds;
    const char* text;
  };
  const std::vector<Row> rows = {
      {0, "0 s 0 us"},
      {1, "0 s 1000 us"},
      {999, "0 s 999000 us"},
      {1000, "1 s 0 us"},
      {1500, "1 s 500000 us"},
      {10000000, "10000 s 0 us"},
      {4294967296ULL, "4294967 s 296000 us"},
      {2147483647999ULL, "2147483647 s 999000 us"},
  };
  std::list<Socket> nothing;
  leaves({}, {}, {}, 0);
  for (const Row& row : rowsOf(rows)) {
    std::list<Socket> read = listOf({0});
    fake.forget();
    Socket::select(read, nothing, nothing, &row.milliseconds);
    EXPECT_THAT(fake.steps(), ElementsAre(std::string("select({#1}, {}, {}, ") + row.text + ")"));
  }
}

TEST_F(SocketSelect, LimitsATimeoutToTheSystemsLongest) {
  std::list<Socket> nothing;
  TimeValue asked{};
  fake.on.select = [&](auto& read, auto&, auto&, const TimeValue* time) {
    asked = *time;
    return static_cast<int>(read.count = 0);
  };
  for (const unsigned long long timeout :
       rowsOf({2147483648000ULL, 2147483648001ULL, 4294967296000ULL, 4294967297000ULL, ULLONG_MAX})) {
    std::list<Socket> read = listOf({0});
    Socket::select(read, nothing, nothing, &timeout);
    EXPECT_EQ(asked.seconds, 2147483647) << timeout;
    EXPECT_GE(asked.microseconds, 0) << timeout;
    EXPECT_LT(asked.microseconds, 1000000) << timeout;
  }
}

TEST_F(SocketSelect, RaisesWithTheFirstSocketAndChangesNoListIfItFails) {
  struct Row {
    std::vector<unsigned int> read;
    std::vector<unsigned int> write;
    std::vector<unsigned int> error;
    unsigned int named;
  };
  const std::vector<Row> rows = {{{2, 1}, {3}, {4}, 2}, {{1}, {}, {}, 1},    {{}, {3, 2}, {1}, 3},
                                 {{}, {1}, {}, 1},      {{}, {}, {4, 1}, 4}, {{3}, {}, {1}, 3}};
  for (const Row& row : rowsOf(rows)) {
    for (const int code : rowsOf(sampleCodes)) {
      for (const bool spoiling : rowsOf({false, true})) {
        ROW("socket", row.named, "code", code);
        std::list<Socket> read = listOf(row.read);
        std::list<Socket> write = listOf(row.write);
        std::list<Socket> error = listOf(row.error);
        const auto before = {handlesOf(read), handlesOf(write), handlesOf(error)};
        const std::vector<std::vector<SocketHandle>> expected(before);
        fake.on.select = [&](auto& readSet, auto& writeSet, auto& errorSet, auto) {
          readSet.count = writeSet.count = errorSet.count = 0;
          return fake.fails(code);
        };
        std::optional<SpoilingTrace> trace;
        if (spoiling) trace.emplace();
        EXPECT_THAT([&] { Socket::select(read, write, error, nullptr); },
                    RaisesMapped(code, "h" + std::to_string(row.named), row.named).from(file));
        trace.reset();
        EXPECT_THAT(
            (std::vector<std::vector<SocketHandle>>{handlesOf(read), handlesOf(write), handlesOf(error)}),
            expected);
      }
    }
  }
}

TEST_F(SocketSelect, RaisesTheSystemsErrorForAnInvalidHandle) {
  std::list<Socket> nothing;
  std::list<Socket> read(1);
  const unsigned long long timeout = 0;
  fake.forget();
  EXPECT_THAT([&] { Socket::select(read, nothing, nothing, &timeout); },
              RaisesMapped(10038, "", 0).from(file));
  EXPECT_THAT(fake.steps(), ElementsAre("select({none}, {}, {}, 0 s 0 us)"));
  EXPECT_EQ(read.size(), 1U);
}

}  // namespace
}  // namespace tarvo::test
