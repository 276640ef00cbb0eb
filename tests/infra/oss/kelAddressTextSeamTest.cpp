#include "oss/kelAddressText.hpp"
#include "support/kelFakeWinsockSeam.hpp"
#include "support/kelRows.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tarvo::test {
namespace {

using oss::addressPort;
using oss::addressText;

std::string textOf(const std::vector<unsigned char>& address) {
  return addressText(address.data(), address.size());
}

unsigned int portOf(const std::vector<unsigned char>& address) {
  return addressPort(address.data(), address.size());
}

std::vector<unsigned char> inet6(const std::vector<unsigned int>& groups) {
  std::vector<unsigned char> bytes;
  for (const unsigned int group : groups) {
    bytes.push_back(static_cast<unsigned char>(group >> 8));
    bytes.push_back(static_cast<unsigned char>(group));
  }
  return inet6Address(bytes, 4711).address;
}

struct Row {
  const char* text;
  std::vector<unsigned int> groups;
};

TEST(AddressText, OfIPv4HasFourNumbers) {
  for (const char* text : rowsOf({"127.0.0.1", "0.0.0.0", "255.255.255.255", "10.0.20.3"}))
    EXPECT_EQ(textOf(inetAddress(text, 4711).address), text);
}

TEST(AddressText, OfIPv6IsTheShortForm) {
  const Row rows[] = {
      {"::", {0, 0, 0, 0, 0, 0, 0, 0}},
      {"::1", {0, 0, 0, 0, 0, 0, 0, 1}},
      {"1::", {1, 0, 0, 0, 0, 0, 0, 0}},
      {"2001:db8::1", {0x2001, 0xDB8, 0, 0, 0, 0, 0, 1}},
      {"1:2:3:4:5:6:7:8", {1, 2, 3, 4, 5, 6, 7, 8}},
      // One zero is written out.
      {"1:0:3:4:5:6:7:8", {1, 0, 3, 4, 5, 6, 7, 8}},
      {"0:2:3:4:5:6:7:0", {0, 2, 3, 4, 5, 6, 7, 0}},
      // The longest run of zeros, the first of equal ones.
      {"1:0:0:4::8", {1, 0, 0, 4, 0, 0, 0, 8}},
      {"1::4:0:0:7:8", {1, 0, 0, 4, 0, 0, 7, 8}},
      {"::3:4:5:0:0:8", {0, 0, 3, 4, 5, 0, 0, 8}},
      {"1:2:3:4:5:6::", {1, 2, 3, 4, 5, 6, 0, 0}},
      {"::ffff:10.0.0.1", {0, 0, 0, 0, 0, 0xFFFF, 0x0A00, 1}},
      {"::fffe:a00:1", {0, 0, 0, 0, 0, 0xFFFE, 0x0A00, 1}},
      {"ffff:abcd:ef01:2345:6789:abcd:ef01:2345",
       {0xFFFF, 0xABCD, 0xEF01, 0x2345, 0x6789, 0xABCD, 0xEF01, 0x2345}},
  };
  for (const Row& row : rowsOf(rows)) EXPECT_EQ(textOf(inet6(row.groups)), row.text);
}

TEST(AddressText, OfALinkHasTheNumberOfItsInterface) {
  std::vector<unsigned char> address = inet6({0xFE80, 0, 0, 0, 0, 0, 0, 1});
  address[platform::scopeOffset] = 2;
  address[platform::scopeOffset + 1] = 1;
  EXPECT_EQ(textOf(address), "fe80::1%258");
}

TEST(AddressText, HasThePort) {
  EXPECT_EQ(portOf(inetAddress("10.0.0.1", 65535).address), 65535U);
  EXPECT_EQ(portOf(inet6({0, 0, 0, 0, 0, 0, 0, 1})), 4711U);
}

TEST(AddressText, OfOtherBytesIsEmpty) {
  std::vector<unsigned char> cut = inetAddress("10.0.0.1", 80).address;
  cut.pop_back();
  std::vector<unsigned char> unknown = inetAddress("10.0.0.1", 80).address;
  unknown[0] = 1;
  std::vector<unsigned char> cut6 = inet6({0, 0, 0, 0, 0, 0, 0, 1});
  cut6.pop_back();
  const std::vector<std::vector<unsigned char>> all = {{}, {2}, cut, unknown, cut6};
  for (const std::vector<unsigned char>& address : rowsOf(all)) {
    EXPECT_EQ(textOf(address), "");
    EXPECT_EQ(portOf(address), 0U);
  }
}

}  // namespace
}  // namespace tarvo::test
