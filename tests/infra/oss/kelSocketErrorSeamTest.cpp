#include "infra/oss/kelSocketException.hpp"

#include "oss/kelSocketError.hpp"
#include "support/kelFakeWinsockSeam.hpp"
#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelSocketFixtureSeam.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <climits>
#include <map>
#include <string>
#include <vector>

namespace tarvo::test {
namespace {

using oss::Peer;
using oss::SocketException;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* file = "kelSocketErrorSeamTest.cpp";

const std::map<int, std::string>& namedCodes() {
  static const std::map<int, std::string> names = {
      {10048, "QN_ERR_SOCKET_ADDRESS_IN_USE"}, {10054, "QN_ERR_SOCKET_CONNECTION_RESET"},
      {10057, "QN_ERR_SOCKET_NOT_CONNECTED"},  {10058, "QN_ERR_SOCKET_SHUTDOWN"},
      {10060, "QN_ERR_SOCKET_TIMEOUT"},        {10061, "QN_ERR_SOCKET_CONNECTION_REFUSED"}};
  return names;
}

std::vector<int> allCodes() {
  std::vector<int> codes = {0, 1, -1, 8, 6, 87, 995, INT_MAX, INT_MIN};
  for (int code = 9990; code < 11100; ++code) codes.push_back(code);
  return codes;
}

class SocketError : public testing::Test {
 protected:
  FakeWinsock fake;
  icu::UnicodeString host{u"peer.example"};
  Peer peer{&host, 4711};
};

TEST_F(SocketError, WithAHostHasIdentifierCodeHostAndPort) {
  for (const int code : rowsOf(allCodes())) {
    const auto named = namedCodes().find(code);
    const auto expected = named == namedCodes().end()
                              ? Raises<SocketException>("QN_ERR_SOCKET_ERROR", code, host, 4711)
                              : Raises<SocketException>(named->second, host, 4711);
    EXPECT_THAT([&] { oss::raiseMapped(code, peer); }, expected.from(file)) << code;
  }
}

TEST_F(SocketError, WithoutAHostHasTheGeneralIdentifierAndOnlyTheCode) {
  for (const int code : rowsOf(allCodes())) {
    EXPECT_THAT([&] { oss::raiseMapped(code, Peer{}); },
                Raises<SocketException>("QN_ERR_SOCKET_ERROR", code).from(file))
        << code;
  }
}

TEST_F(SocketError, TableContainsExactlySixIdentifiers) {
  std::map<int, std::string> table;
  for (const oss::errors::CodeEntry& row : oss::errors::socketErrors) table[row.code] = row.entry.identifier;
  EXPECT_EQ(table, namedCodes());
}

TEST_F(SocketError, WritesThePortAsASigned32BitNumber) {
  EXPECT_THAT(
      [&] {
        oss::raiseMapped(10061, Peer{&host, 4294967295U});
      },
      Raises<SocketException>("QN_ERR_SOCKET_CONNECTION_REFUSED", host, -1).from(file));
  EXPECT_THAT(
      [&] {
        oss::raiseMapped(10022, Peer{&host, 2147483648U});
      },
      Raises<SocketException>("QN_ERR_SOCKET_ERROR", 10022, host, -2147483648LL).from(file));
}

TEST_F(SocketError, KeepsAnEmptyHostAsAnEmptyArgument) {
  const icu::UnicodeString none;
  EXPECT_THAT(
      [&] {
        oss::raiseMapped(10054, Peer{&none, 0});
      },
      Raises<SocketException>("QN_ERR_SOCKET_CONNECTION_RESET", "", 0).from(file));
}

TEST_F(SocketError, RecordsTheLineThatRaisesIt) {
  unsigned int line = 0;
  try {
    line = __LINE__ + 1;
    oss::raiseMapped(10061, peer);
  } catch (const SocketException& error) {
    EXPECT_EQ(error.getErrorMessage().getLineNumber(), line);
  }
  const SocketException built = oss::mappedError(10061, peer, {"/a/b/kelElsewhere.cpp", 77});
  EXPECT_EQ(built.getErrorMessage().getLineNumber(), 77U);
  EXPECT_EQ(utf8(built.getErrorMessage().getFileName()), "kelElsewhere.cpp");
}

TEST_F(SocketError, OfTheLastCallUsesTheThreadsLastError) {
  for (const int code : rowsOf(sampleCodes)) {
    fake.WSASetLastError(code);
    EXPECT_THAT([&] { oss::raiseLastError(peer); }, RaisesMapped(code, "peer.example", 4711).from(file));
    EXPECT_EQ(fake.WSAGetLastError(), code) << "raising leaves it";
  }
}

TEST_F(SocketError, OfTheLastCallReadsTheLastErrorBeforeAnyHookRuns) {
  const SpoilingTrace trace;
  for (const int code : rowsOf(sampleCodes)) {
    fake.WSASetLastError(code);
    EXPECT_THAT([&] { oss::raiseLastError(peer); }, RaisesMapped(code, "peer.example", 4711).from(file));
  }
}

TEST_F(SocketError, OfTheResolverContainsTheCodeAndTheSystemsText) {
  struct Row {
    int code;
    std::string text;
  };
  for (const Row& row : rowsOf({Row{11001, "No such host is known."}, Row{0, ""}, Row{-5, "x"},
                                Row{INT_MIN, std::string(1023, 'w')}})) {
    fake.forget();
    fake.on.systemText = [&](int) { return row.text; };
    EXPECT_THAT(
        [&] { oss::raiseResolverError(row.code, peer); },
        Raises<SocketException>("ERR_SOCKET_GETADDRINFO_ERROR", host, 4711, row.code, row.text).from(file));
    EXPECT_THAT(fake.calls(), ElementsAre("systemText(" + std::to_string(row.code) + ")"));
  }
}

TEST_F(SocketError, ServiceTextIsThePortInDecimal) {
  EXPECT_EQ(oss::serviceText(0), "0");
  EXPECT_EQ(oss::serviceText(65535), "65535");
  EXPECT_EQ(oss::serviceText(4294967295U), "4294967295");
}

}  // namespace
}  // namespace tarvo::test
