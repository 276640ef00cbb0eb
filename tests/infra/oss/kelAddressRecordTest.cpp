#include "infra/oss/kelAddressRecord.hpp"

#include "support/kelRendered.hpp"
#include "support/kelRows.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>

namespace tarvo::test {
namespace {

using oss::AddressRecord;
using oss::Socket;

std::string number(unsigned long long value, int width) {
  std::string bytes;
  for (int i = 0; i < width; ++i) bytes += static_cast<char>(value >> 8 * i & 0xFF);
  return bytes;
}

std::string entry(unsigned int family, const std::string& address) {
  return number(0, 4) + number(family, 4) + number(1, 4) + number(6, 4) + number(address.size(), 8) +
         address + number(0, 2);
}

const std::string inet("\2\0\x12\x67\x0A\0\0\1\0\0\0\0\0\0\0\0", 16);  // 10.0.0.1 port 4711
const std::string inet6 = std::string("\x17\0\0\x50", 4) + std::string(19, '\0') + '\1' + number(2, 4);
const std::string head = std::string("db\0", 3) + number(4711, 2);
constexpr unsigned int firstEntry = 2 + 5;

Socket::_AddrInfoExternal recordOf(const std::string& area, std::size_t used) {
  Socket::_AddrInfoExternal record = {};
  const std::string bytes = number(used, 2) + area;
  std::memcpy(record.bytes, bytes.data(), bytes.size());
  return record;
}

Socket::_AddrInfoExternal recordOf(const std::string& area) {
  return recordOf(area, area.size());
}

struct Row {
  const char* name;
  Socket::_AddrInfoExternal record;
  AddressRecord::Fault fault;
  unsigned int offset;
  unsigned int entries;
  const char* text;
};

TEST(AddressRecord, IsCheckedAndPrinted) {
  const std::string first = entry(2, inet);
  const Row rows[] = {
      {"two addresses", recordOf(head + first + entry(23, inet6)), AddressRecord::NONE, 0, 2,
       "host db port 4711; address 10.0.0.1 port 4711; address ::1%2 port 80"},
      {"bytes after the last entry", recordOf(head + first + std::string(41, 'x')), AddressRecord::NONE, 0, 1,
       "host db port 4711; address 10.0.0.1 port 4711"},
      {"no list", Socket::NullAddrInfoExternal, AddressRecord::NO_LIST, 0, 0, "fault NO_LIST at byte 0"},
      {"too many used bytes", recordOf(head + first, 2999), AddressRecord::USED_TOO_LARGE, 0, 0,
       "fault USED_TOO_LARGE at byte 0"},
      {"host without end", recordOf("db", 2), AddressRecord::HOST_NOT_TERMINATED, 2, 0,
       "fault HOST_NOT_TERMINATED at byte 2"},
      {"host that is too long", recordOf(std::string(1025, 'h') + std::string(100, '\0')),
       AddressRecord::HOST_NOT_TERMINATED, 2, 0, "fault HOST_NOT_TERMINATED at byte 2"},
      {"half a port", recordOf(std::string("db\0\1", 4)), AddressRecord::TRUNCATED, 5, 0,
       "fault TRUNCATED at byte 5"},
      {"no entry", recordOf(head), AddressRecord::EMPTY_LIST, firstEntry, 0,
       "host db port 4711; fault EMPTY_LIST at byte 7"},
      {"an entry that is cut short", recordOf(head + first + entry(23, inet6), 5 + 42 + 54 - 1),
       AddressRecord::TRUNCATED, firstEntry + 42 + 52, 1,
       "host db port 4711; address 10.0.0.1 port 4711; fault TRUNCATED at byte 101"},
      {"a length that does not suit IPv4", recordOf(head + entry(2, inet6)),
       AddressRecord::WRONG_ADDRESS_LENGTH, firstEntry + 16, 0,
       "host db port 4711; fault WRONG_ADDRESS_LENGTH at byte 23"},
      {"an unknown family", recordOf(head + entry(99, inet) + first), AddressRecord::UNKNOWN_FAMILY,
       firstEntry + 4, 2,
       "host db port 4711; address of family 99; address 10.0.0.1 port 4711; fault UNKNOWN_FAMILY at byte "
       "11"},
      {"a family that is not in the address",
       recordOf(head + entry(2, std::string(1, '\x17') + inet.substr(1))), AddressRecord::DIFFERENT_FAMILY,
       firstEntry + 24, 1, "host db port 4711; address of family 2; fault DIFFERENT_FAMILY at byte 31"},
      {"an unknown family before a worse fault", recordOf(head + entry(99, inet) + entry(2, inet6)),
       AddressRecord::WRONG_ADDRESS_LENGTH, firstEntry + 42 + 16, 1,
       "host db port 4711; address of family 99; fault WRONG_ADDRESS_LENGTH at byte 65"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const AddressRecord::Result result = AddressRecord::check(&row.record, sizeof row.record);
    EXPECT_STREQ(AddressRecord::nameOf(result.fault), AddressRecord::nameOf(row.fault));
    EXPECT_EQ(result.offset, row.offset);
    EXPECT_EQ(result.entries, row.entries);
    EXPECT_EQ(utf8(AddressRecord::toString(row.record)), row.text);
  }
}

TEST(AddressRecord, OfAnotherLengthIsNotRead) {
  for (const unsigned long long length : rowsOf({0ULL, 1ULL, 2999ULL, 3001ULL, ~0ULL}))
    EXPECT_EQ(AddressRecord::check(nullptr, length).fault, AddressRecord::WRONG_LENGTH) << length;
}

TEST(AddressRecord, ShowsBytesOfTheHostThatAreNotVisible) {
  const Socket::_AddrInfoExternal record =
      recordOf(std::string("a b\\\x1B[\xC3\xA4~\0", 10) + number(1, 2) + entry(2, inet));
  EXPECT_EQ(utf8(AddressRecord::toString(record)),
            "host a\\x20b\\x5C\\x1B[\\xC3\\xA4~ port 1; address 10.0.0.1 port 4711");
}

TEST(AddressRecord, ThatTheLibraryWroteHasNoFault) {
  Socket::_AddrInfoExternal record;
  ASSERT_EQ(Socket::resolveAddrInfo("127.0.0.1", 4711, record), 0);
  EXPECT_EQ(AddressRecord::check(&record, sizeof record).fault, AddressRecord::NONE);
  EXPECT_EQ(utf8(AddressRecord::toString(record)), "host 127.0.0.1 port 4711; address 127.0.0.1 port 4711");
}

}  // namespace
}  // namespace tarvo::test
