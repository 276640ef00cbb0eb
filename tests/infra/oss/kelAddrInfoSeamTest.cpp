#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketException.hpp"

#include "oss/kelAddrInfo.hpp"
#include "support/kelAddrInfoModel.hpp"
#include "support/kelFakeWinsockSeam.hpp"
#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"
#include "support/kelSocketFixtureSeam.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <ostream>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace tarvo::platform {

void PrintTo(const ResolvedAddress& entry, std::ostream* os) {
  *os << entry.flags << "/" << entry.family << "/" << entry.socketType << "/" << entry.protocol << "/"
      << testing::PrintToString(entry.address) << "/" << testing::PrintToString(entry.canonicalName);
}

}  // namespace tarvo::platform

namespace tarvo::test {
namespace {

using oss::AddressList;
using oss::Socket;
using oss::SocketException;
using platform::ResolvedAddress;
using testing::ElementsAre;
using testing::IsEmpty;

// --- the library's results in the form that the model uses

/// A copy in a block of exactly 3000 bytes, so that the address sanitizer detects any read after them.
std::unique_ptr<Socket::_AddrInfoExternal> onItsOwn(const Bytes& record) {
  auto copy = std::make_unique<Socket::_AddrInfoExternal>();
  std::memcpy(copy->bytes, record.data(), recordSize);
  return copy;
}

/// `decodeAddrInfo` records the file of its caller in its errors.
RaisesMatcher<SocketException> RaisesUnreadable(const char* file = "kelAddrInfoSeamTest.cpp") {
  return Raises<SocketException>("QN_ERR_SOCKET_ERROR", 10022).from(file);
}

std::optional<AddressList> libraryReads(const Bytes& record) {
  const auto copy = onItsOwn(record);
  std::optional<AddressList> list;
  try {
    list = oss::decodeAddrInfo(*copy);
  } catch (const SocketException&) {
    EXPECT_THAT([&] { oss::decodeAddrInfo(*copy); }, RaisesUnreadable());
  }
  return list;
}

constexpr unsigned int seed = 20260521;

class Random {
 public:
  explicit Random(unsigned int start) : engine_(seeded(start)) {}

  std::size_t below(std::size_t end) { return engine_() % end; }
  bool oneIn(std::size_t n) { return below(n) == 0; }
  unsigned char byte() { return static_cast<unsigned char>(engine_()); }
  int number() { return static_cast<int>(static_cast<std::uint32_t>(engine_())); }
  Bytes bytes(std::size_t length) {
    Bytes all;
    for (std::size_t i = 0; i < length; ++i) all += static_cast<char>(byte());
    return all;
  }
  Bytes hostName(std::size_t length) {
    Bytes name;
    for (std::size_t i = 0; i < length; ++i) name += static_cast<char>('a' + below(26));
    return name;
  }
  ResolvedAddress entry() {
    const int families[] = {2, 23, 0, 1, 10, 99, -1};
    ResolvedAddress entry;
    entry.flags = oneIn(3) ? number() : 0;
    entry.family = families[oneIn(3) ? below(7) : below(2)];
    entry.socketType = oneIn(4) ? number() : 1;
    entry.protocol = oneIn(4) ? number() : 6;
    const std::size_t length = entry.family == 2 ? 16 : entry.family == 23 ? 28 : 16 + below(120);
    for (std::size_t i = 0; i < length; ++i) entry.address.push_back(byte());
    if (oneIn(2)) entry.canonicalName = bytes(below(oneIn(5) ? 300 : 20));
    return entry;
  }
  AddressList list() {
    AddressList list;
    const std::size_t count = 1 + below(oneIn(4) ? 40 : 4);
    for (std::size_t i = 0; i < count; ++i) list.push_back(entry());
    return list;
  }

 private:
  std::mt19937 engine_;
};

ResolvedAddress oddEntry() {
  ResolvedAddress entry{-2, 2, 1, 6, {}, "canonical"};
  entry.address = {2, 0, 0x12, 0x67, 127, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0};
  return entry;
}

/// A record with one entry, written by hand to test the model.
const unsigned char handWritten[] = {
    0x3A, 0x00,                                      // used: 58
    'h',  'o',  's',  't',  0x00,                    // host
    0x67, 0x12,                                      // port 4711
    0xFE, 0xFF, 0xFF, 0xFF, 0x02, 0x00, 0x00, 0x00,  // flags -2, family 2
    0x01, 0x00, 0x00, 0x00, 0x06, 0x00, 0x00, 0x00,  // stream, TCP
    0x10, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  // 16 bytes of address
    0x02, 0x00, 0x12, 0x67, 0x7F, 0x00, 0x00, 0x01,  // family 2, port 4711 in network order, 127.0.0.1
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  //
    0x09, 0x00, 'c',  'a',  'n',  'o',  'n',  'i',  'c', 'a', 'l'};

TEST(AddrInfoModel, WritesAndReadsTheRecordWrittenByHand) {
  Bytes expected(std::begin(handWritten), std::end(handWritten));
  ASSERT_EQ(expected.size(), 60U);
  expected.resize(recordSize);
  const Bytes area = usedArea("host", 4711, {oddEntry()});
  EXPECT_EQ(recordOf(area, area.size()), expected);
  EXPECT_EQ(modelRead(expected), AddressList{oddEntry()});
}

TEST(AddrInfoModel, RefusesRecordsThatEndTooEarly) {
  const Bytes area = usedArea("host", 4711, {oddEntry()});
  EXPECT_EQ(modelRead(recordOf(area, area.size() - 1)), std::nullopt);
  EXPECT_EQ(modelRead(recordOf(area, 7)), std::nullopt);
  EXPECT_EQ(modelRead(recordOf(area, 2999)), std::nullopt);
}

// --- writing

class AddrInfoWriting : public SocketFixture {
 protected:
  /// Resolves `host` into a record that contains random bytes before. Returns the result and stores the
  /// record's bytes in `bytes`.
  int resolve(const Bytes& host, unsigned short port, const AddressList& list) {
    resolvesTo(list);
    const auto record = onItsOwn(noise());
    const int result = Socket::resolveAddrInfo(icu::UnicodeString::fromUTF8(host), port, *record);
    bytes.assign(reinterpret_cast<const char*>(record->bytes), recordSize);
    return result;
  }
  static Bytes noise() { return Bytes(recordSize, '\x5A'); }

  Bytes bytes;
};

TEST_F(AddrInfoWriting, WritesTheRecordWrittenByHand) {
  Bytes expected(std::begin(handWritten), std::end(handWritten));
  expected.resize(recordSize);
  EXPECT_EQ(resolve("host", 4711, {oddEntry()}), 0);
  EXPECT_EQ(bytes, expected);
}

TEST_F(AddrInfoWriting, CallsTheResolverLikeConnect) {
  resolve("peer.example", 65535, {oddEntry()});
  EXPECT_THAT(fake.calls(), ElementsAre("getaddrinfo(\"peer.example\", \"65535\", 0, 0, 1, 0)"));
}

TEST_F(AddrInfoWriting, WritesTheHostInUtf8) {
  EXPECT_EQ(resolve("b\xC3\xBC"
                    "cher.\xE6\x97\xA5",
                    1, {oddEntry()}),
            0);
  const Bytes area = usedArea(
      "b\xC3\xBC"
      "cher.\xE6\x97\xA5",
      1, {oddEntry()});
  EXPECT_EQ(bytes, recordOf(area, area.size()));
}

TEST_F(AddrInfoWriting, WritesTheSameBytesAsTheModelForThousandsOfLists) {
  Random random(seed);
  int refused = 0;
  for (int round = 0; round < 3000; ++round) {
    ROW("round", round);
    const Bytes host = random.hostName(random.oneIn(10) ? random.below(1025) : random.below(60));
    const auto port = static_cast<unsigned short>(random.number());
    const AddressList list = random.list();
    const Bytes area = usedArea(host, port, list);
    const bool fits = area.size() <= recordSize - 2;
    refused += fits ? 0 : 1;
    ASSERT_EQ(resolve(host, port, list), fits ? 0 : 10055) << round;
    ASSERT_EQ(bytes, fits ? recordOf(area, area.size()) : noise()) << round;
    if (fits) {
      ASSERT_EQ(libraryReads(bytes), list) << round;
    }
    fake.forget();
  }
  EXPECT_GT(refused, 50) << "the sample must hold lists that do not fit";
}

TEST_F(AddrInfoWriting, FillsTheRecordToTheLastByteAndNotBeyond) {
  for (const std::size_t more : rowsOf({0U, 1U, 2U, 41U, 42U, 5000U, 65536U, 70000U})) {
    ResolvedAddress entry = oddEntry();
    const std::size_t rest = usedArea("host", 4711, {entry}).size() - entry.canonicalName.size();
    entry.canonicalName = Bytes(recordSize - 2 - rest + more, 'c');
    const bool fits = more == 0;
    EXPECT_EQ(resolve("host", 4711, {entry}), fits ? 0 : 10055) << more;
    EXPECT_EQ(bytes, fits ? recordOf(usedArea("host", 4711, {entry}), 2998) : noise()) << more;
  }
}

TEST_F(AddrInfoWriting, FailsIfTheLastEntryDoesNotFit) {
  ResolvedAddress large = oddEntry();
  large.canonicalName = Bytes(2900, 'c');
  EXPECT_EQ(resolve("host", 1, {large, oddEntry()}), 10055);
  EXPECT_EQ(bytes, noise());
}

TEST_F(AddrInfoWriting, AcceptsAHostOf1024BytesButNoLongerOne) {
  for (const std::size_t length : rowsOf({0U, 1023U, 1024U, 1025U, 1026U, 1027U, 2990U, 4000U})) {
    const Bytes host(length, 'h');
    const bool fits = length <= 1024;
    EXPECT_EQ(resolve(host, 1, {oddEntry()}), fits ? 0 : 10055) << length;
    const Bytes area = usedArea(host, 1, {oddEntry()});
    EXPECT_EQ(bytes, fits ? recordOf(area, area.size()) : noise()) << length;
    if (fits) {
      EXPECT_EQ(libraryReads(bytes), AddressList{oddEntry()}) << length;
    }
  }
}

// --- reading

TEST(AddrInfoReading, ReportsWhetherTheRecordContainsAList) {
  EXPECT_FALSE(oss::holdsAddresses(Socket::NullAddrInfoExternal));
  for (const std::size_t used : rowsOf({1U, 255U, 256U, 2998U, 65280U, 65535U}))
    EXPECT_TRUE(oss::holdsAddresses(*onItsOwn(recordOf("", used)))) << used;
  EXPECT_FALSE(oss::holdsAddresses(*onItsOwn(recordOf(Bytes(100, 'x'), 0))));
}

TEST(AddrInfoReading, NullRecordIsAllZero) {
  for (const unsigned char byte : rowsOf(Socket::NullAddrInfoExternal.bytes)) ASSERT_EQ(byte, 0);
  EXPECT_EQ(sizeof(Socket::_AddrInfoExternal), recordSize);
}

TEST(AddrInfoReading, RefusesEveryTruncationOfAValidRecord) {
  ResolvedAddress unknown{0, 77, 1, 6, std::vector<unsigned char>(60, 7), "name"};
  const AddressList list = {oddEntry(), unknown, inet6Address(std::vector<unsigned char>(16, 9), 80)};
  const Bytes area = usedArea("peer.example", 4711, list);
  int readable = 0;
  for (std::size_t used = 1; used <= area.size(); ++used) {
    ROW("used", used);
    for (const char filler : rowsOf({'\0', '\x01', '\xFF'})) {
      // One record still contains the bytes after `used`, the other contains filler there. Both must give the
      // same result.
      for (const Bytes& kept : rowsOf({area, area.substr(0, used)})) {
        const Bytes record = recordOf(kept, used, filler);
        const std::optional<AddressList> expected = modelRead(record);
        ASSERT_EQ(libraryReads(record), expected) << used;
        readable += expected ? 1 : 0;
      }
    }
  }
  EXPECT_GT(readable, 6) << "cuts of up to 41 bytes after an entry";
  EXPECT_EQ(libraryReads(recordOf(area, area.size())), list);
}

struct Unreadable {
  const char* why;
  Bytes record;
};

Bytes withAddressLength(int family, std::uint64_t length, std::size_t present) {
  Bytes area = Bytes("h\0\1\0", 4);
  for (const int field : {0, family, 1, 6}) area += littleEndian(static_cast<std::uint32_t>(field), 4);
  area += littleEndian(length, 8) + Bytes(present, '\x02') + Bytes(2, '\0');
  return recordOf(area, area.size());
}

std::vector<Unreadable> unreadableRecords() {
  const Bytes good = usedArea("h", 1, {oddEntry()});
  constexpr std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
  const Bytes host1025 = usedArea(Bytes(1025, 'h'), 1, {oddEntry()});
  const Bytes head("h\0\1\0", 4);
  return {
      {"no byte but the count", recordOf("", 1)},
      {"a host name that never ends", recordOf(Bytes(2998, 'h'), 2998)},
      {"a host name that ends after the used area", recordOf(Bytes(10, 'h'), 10)},
      {"a host name of 1025 bytes", recordOf(host1025, host1025.size())},
      {"nothing after the host", recordOf("h", 2)},
      {"half a port", recordOf(head, 3)},
      {"no entry", recordOf(head, 4)},
      {"41 bytes where the first entry would be", recordOf(head + Bytes(41, '\0'), 4 + 41)},
      {"one byte more than the record", recordOf(good, 2999)},
      {"the largest count", recordOf(good, 65535)},
      {"address length 2^63", withAddressLength(77, 1ULL << 63U, 16)},
      {"address length 2^64 - 1", withAddressLength(77, most, 16)},
      {"address length that wraps to the entry's start", withAddressLength(77, most - 23, 16)},
      {"address length that wraps to the record's start", withAddressLength(77, most - 29, 16)},
      {"address length 2^32 + 16", withAddressLength(77, (1ULL << 32U) + 16, 16)},
      {"address up to the end, no name length", withAddressLength(77, 18, 16)},
      {"address with half a name length", withAddressLength(77, 17, 16)},
      {"IPv4 of no bytes", withAddressLength(2, 0, 16)},
      {"IPv4 of 15 bytes", withAddressLength(2, 15, 15 + 1)},
      {"IPv4 of 17 bytes", withAddressLength(2, 17, 17)},
      {"IPv4 of IPv6's length", withAddressLength(2, 28, 28)},
      {"IPv6 of IPv4's length", withAddressLength(23, 16, 16)},
      {"IPv6 of 27 bytes", withAddressLength(23, 27, 27)},
      {"IPv6 of 29 bytes", withAddressLength(23, 29, 29)},
      {"IPv6 of 2^64 - 1 bytes", withAddressLength(23, most, 28)},
      {"a name that is longer than what is left",
       recordOf(head + Bytes(24, '\0') + littleEndian(17, 2) + Bytes(16, 'x'), 46)},
      {"a name of 65535 bytes",
       recordOf(head + Bytes(24, '\0') + littleEndian(65535, 2) + Bytes(16, 'x'), 46)},
      {"a valid entry followed by an invalid one",
       recordOf(good + withAddressLength(2, 15, 16).substr(6, 42), good.size() + 42)},
  };
}

TEST(AddrInfoReading, RefusesRecordsThatCannotBeRead) {
  for (const Unreadable& row : rowsOf(unreadableRecords())) {
    ASSERT_EQ(row.record.size(), recordSize);
    EXPECT_EQ(modelRead(row.record), std::nullopt);
    const auto record = onItsOwn(row.record);
    platform::systemWinsock().WSASetLastError(0);
    EXPECT_THAT([&] { oss::decodeAddrInfo(*record); }, RaisesUnreadable());
    EXPECT_EQ(platform::systemWinsock().WSAGetLastError(), 10022);
  }
}

struct Readable {
  const char* why;
  Bytes record;
  AddressList list;
};

std::vector<Readable> readableRecords() {
  const Bytes good = usedArea("h", 1, {oddEntry()});
  ResolvedAddress plain = oddEntry();
  plain.canonicalName = "";
  const ResolvedAddress noAddress{1, 2 + 75, 3, 4, {}, Bytes(16, 'n')};
  const ResolvedAddress garbageInside{0, 2, 1, 6, std::vector<unsigned char>(16, 0xEE), ""};
  const ResolvedAddress unspecified{0, 0, 0, 0, std::vector<unsigned char>(16, 0), ""};
  ResolvedAddress full = oddEntry();
  full.canonicalName = Bytes(2998 - usedArea("h", 1, {plain}).size(), 'c');
  const Bytes host1024 = usedArea(Bytes(1024, 'h'), 1, {plain});
  const auto record = [](const Bytes& area) { return recordOf(area, area.size()); };
  return {
      {"an empty host", record(usedArea("", 0, {plain})), {plain}},
      {"a host name of 1024 bytes", record(host1024), {plain}},
      {"the whole record", record(usedArea("h", 1, {full})), {full}},
      {"a NUL and a high byte in the name",
       record(usedArea("h", 1, {{0, 2, 1, 6, plain.address, Bytes("a\0\xFF", 3)}})),
       {{0, 2, 1, 6, plain.address, Bytes("a\0\xFF", 3)}}},
      {"no address at all, of an unknown family", record(usedArea("h", 1, {noAddress})), {noAddress}},
      {"garbage inside the address", record(usedArea("h", 1, {garbageInside})), {garbageInside}},
      {"nothing but zeros", record(usedArea("h", 1, {unspecified})), {unspecified}},
      {"41 bytes after the last entry", recordOf(good + Bytes(41, 'x'), good.size() + 41), {oddEntry()}},
      {"70 small entries", record(usedArea("h", 1, AddressList(70, plain))), AddressList(70, plain)},
  };
}

TEST(AddrInfoReading, ReadsUnusualButValidRecords) {
  for (const Readable& row : rowsOf(readableRecords())) {
    EXPECT_EQ(modelRead(row.record), row.list);
    EXPECT_EQ(libraryReads(row.record), row.list);
  }
}

/// Damages a record in a random way.
void corrupt(Bytes& record, std::size_t usedBytes, Random& random) {
  const Bytes dangerous[] = {Bytes(1, '\0'),
                             Bytes(1, '\xFF'),
                             Bytes(8, '\xFF'),
                             Bytes(8, '\0'),
                             littleEndian(1ULL << 63U, 8),
                             littleEndian(16, 8),
                             littleEndian(28, 8),
                             littleEndian(3000, 2)};
  switch (random.below(4)) {
    case 0:
      record.replace(0, 2,
                     littleEndian(random.oneIn(2) ? random.below(70000) : random.below(usedBytes + 60), 2));
      break;
    case 1: {
      const Bytes& word = dangerous[random.below(std::size(dangerous))];
      record.replace(2 + random.below(usedBytes), word.size(), word);
      record.resize(recordSize);
      break;
    }
    case 2:
      record[2 + random.below(usedBytes)] = static_cast<char>(random.byte());
      break;
    default:
      record.erase(2 + random.below(usedBytes), 1 + random.below(4));
      record.resize(recordSize, static_cast<char>(random.byte()));
      break;
  }
}

TEST(AddrInfoReading, AgreesWithTheModelOnThousandsOfDamagedRecords) {
  Random random(seed + 1);
  int readable = 0;
  constexpr int rounds = 6000;
  for (int round = 0; round < rounds; ++round) {
    ROW("round", round);
    const Bytes area =
        usedArea(random.hostName(random.below(40)), 80, random.list()).substr(0, recordSize - 2);
    Bytes record = recordOf(area, area.size(), static_cast<char>(random.byte()));
    for (std::size_t damages = random.below(4); damages > 0; --damages) corrupt(record, area.size(), random);
    const std::optional<AddressList> expected = modelRead(record);
    if (record[0] == 0 && record[1] == 0) continue;  // an empty record: connect resolves the name
    ASSERT_EQ(libraryReads(record), expected) << round << " " << testing::PrintToString(record);
    readable += expected ? 1 : 0;
  }
  EXPECT_GT(readable, rounds / 10);
  EXPECT_LT(readable, rounds * 9 / 10);
}

TEST(AddrInfoReading, AgreesWithTheModelOnRandomBytes) {
  Random random(seed + 2);
  for (int round = 0; round < 1500; ++round) {
    ROW("round", round);
    Bytes record = random.bytes(recordSize);
    record.replace(0, 2, littleEndian(1 + random.below(3100), 2));
    if (random.oneIn(2)) std::replace(record.begin() + 2, record.end(), '\x07', '\0');
    ASSERT_EQ(libraryReads(record), modelRead(record)) << round;
  }
}

// --- connect over a record

class ConnectOverRecord : public SocketFixture {};

TEST_F(ConnectOverRecord, TriesTheEntriesInOrderWithoutCallingTheResolver) {
  Socket socket;
  connectsAtOnce();
  ResolvedAddress strange = inetAddress("10.0.0.1", 1);
  strange.family = 77;
  const Bytes area =
      usedArea("resolved.example", 99, {strange, inetAddress("10.0.0.2", 2), inetAddress("10.0.0.3", 3)});
  fake.failing("connect", 1).with(10051);
  fake.forget();
  socket.connect("asked.example", 4711, *onItsOwn(recordOf(area, area.size())), nullptr);
  EXPECT_THAT(fake.steps(), ElementsAre("socket(77, 1, 6)", "socket(2, 1, 6)",
                                        "ioctlsocketNonBlocking(#1, 1)", "connect(#1, 10.0.0.2:2)",
                                        "closesocket(#1)", "socket(2, 1, 6)", "ioctlsocketNonBlocking(#2, 1)",
                                        "connect(#2, 10.0.0.3:3)", "ioctlsocketNonBlocking(#2, 0)",
                                        "getsockopt(#2, 65535, 4103)", "setsockopt(#2, 6, 1, 1)"));
  EXPECT_EQ(utf8(socket.getHost()), "asked.example");
  EXPECT_EQ(socket.getPort(), 4711U);
}

TEST_F(ConnectOverRecord, RaisesNotConnectedIfAllFamiliesTypesOrProtocolsAreUnknown) {
  Socket socket;
  ResolvedAddress family = inetAddress("127.0.0.1", 1);
  family.family = 99;
  ResolvedAddress type = inetAddress("127.0.0.1", 1);
  type.socketType = 99;
  ResolvedAddress protocol = inetAddress("127.0.0.1", 1);
  protocol.protocol = 254;
  const Bytes area = usedArea("h", 1, {family, type, protocol});
  EXPECT_THAT([&] { socket.connect("h", 1, *onItsOwn(recordOf(area, area.size())), nullptr); },
              Raises<SocketException>("ERR_SOCKET_NOT_CONNECTED", "h", 1).from("kelSocket.cpp"));
  EXPECT_EQ(fake.countOf("socket"), 3);
  EXPECT_EQ(fake.countOf("connect"), 0);
}

TEST_F(ConnectOverRecord, SkipsAnAddressWithInvalidBytes) {
  Socket socket;
  ResolvedAddress garbage = inetAddress("127.0.0.1", 1);
  garbage.address[0] = garbage.address[1] = 0xEE;
  const Bytes area = usedArea("h", 1, {garbage});
  EXPECT_THAT([&] { socket.connect("h", 1, *onItsOwn(recordOf(area, area.size())), nullptr); },
              Raises<SocketException>("ERR_SOCKET_NOT_CONNECTED", "h", 1).from("kelSocket.cpp"));
  EXPECT_EQ(fake.countOf("connect"), 1);
}

TEST_F(ConnectOverRecord, MakesNoSystemCallIfTheRecordCannotBeRead) {
  for (const Unreadable& row : rowsOf(unreadableRecords())) {
    Socket socket;
    fake.forget();
    EXPECT_THAT([&] { socket.connect("h", 4711, *onItsOwn(row.record), nullptr); },
                RaisesUnreadable("kelSocket.cpp"));
    EXPECT_THAT(fake.calls(), IsEmpty());
    EXPECT_EQ(socket.handle(), platform::invalidSocket);
    EXPECT_EQ(utf8(socket.getHost()), "h");
    EXPECT_EQ(socket.getPort(), 4711U);
    EXPECT_NO_THROW(connected(socket)) << "usable again";
  }
}

TEST_F(ConnectOverRecord, ResolvesTheHostIfTheRecordsCountIsZero) {
  Socket socket;
  resolvesTo({inetAddress("10.0.0.9", 9)});
  connectsAtOnce();
  fake.forget();
  socket.connect("h", 1, *onItsOwn(recordOf(usedArea("x", 2, {oddEntry()}), 0)), nullptr);
  EXPECT_EQ(fake.steps().at(0), "getaddrinfo(\"h\", \"1\", 0, 0, 1, 0)");
}

TEST_F(ConnectOverRecord, ConnectsToAddressesThatResolveAddrInfoStored) {
  std::vector<unsigned char> loopback(16);
  loopback[15] = 1;
  const AddressList list = {inet6Address(loopback, 80), inetAddress("10.0.0.2", 80)};
  resolvesTo(list);
  Socket::_AddrInfoExternal record;
  ASSERT_EQ(Socket::resolveAddrInfo("peer.example", 80, record), 0);
  connectsAtOnce();
  fake.failing("connect", 1).with(10051);
  fake.failing("socket", 1).with(10047);
  fake.forget();
  Socket socket;
  fake.on.getaddrinfo = [](auto, auto, const auto&, auto&) { return 11001; };
  EXPECT_THAT([&] { socket.connect("peer.example", 80, record, nullptr); },
              Raises<SocketException>("ERR_SOCKET_NOT_CONNECTED", "peer.example", 80).from("kelSocket.cpp"));
  EXPECT_NO_THROW(socket.connect("peer.example", 80, record, nullptr));
  EXPECT_EQ(fake.countOf("getaddrinfo"), 0);
}

}  // namespace
}  // namespace tarvo::test
