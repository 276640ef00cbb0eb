#include "support/kelRows.hpp"
#include "trace/kelProbes.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace tarvo::trace {
namespace {

using test::rowsOf;

// The numbers of the traced classes, in order. Hosts depend on them, so they must not change.
struct FixedBlock {
  const char* className;
  std::uint32_t first;
  std::uint32_t last;
  std::uint32_t firstProbe;
  std::uint32_t lastProbe;
};

constexpr FixedBlock fixedBlocks[] = {
    {"ByteArrayOutputStream", 0x5E6, 0x5E7, 483919334, 483919335},
    {"ByteBuffer", 0x5E8, 0x5EC, 483919336, 483919340},
    {"Converter", 0x5ED, 0x5F0, 483919341, 483919344},
    {"DataBuffer", 0x5F1, 0x5FE, 483919345, 483919358},
    {"UTF8Iterator", 0x5FF, 0x603, 483919359, 483919363},
    {"StringTokenizer", 0x604, 0x60A, 483919364, 483919370},
    {"SocketServer", 0x60B, 0x613, 483919371, 483919379},
    {"Socket", 0x614, 0x631, 483919380, 483919409},
    {"(unassigned)", 0x632, 0x635, 483919410, 483919413},
    {"MessageList", 0x636, 0x63E, 483919414, 483919422},
    {"Formatter", 0x63F, 0x645, 483919423, 483919429},
    {"Poller", 0x646, 0x64A, 483919430, 483919434},
};

std::vector<std::string> classesOfTheTable() {
  std::vector<std::string> names;
  for (const ProbeEntry& entry : probeTable) {
    const std::string name(entry.className());
    if (names.empty() || names.back() != name) names.push_back(name);
  }
  return names;
}

TEST(Probes, ShareTheHighHalf) {
  EXPECT_EQ(probeBase, 0x1CD80000U);
  for (const ProbeEntry& entry : rowsOf(probeTable))
    EXPECT_EQ((probeBase + entry.number) >> 16, 0x1CD8U) << entry.function;
}

TEST(Probes, OfAClassHaveItsFixedBlock) {
  ASSERT_EQ(probeBlocks.size(), std::size(fixedBlocks));
  for (std::size_t i = 0; i < probeBlocks.size(); ++i) {
    ROW("i", i);
    const FixedBlock& expected = fixedBlocks[i];
    EXPECT_EQ(probeBlocks[i].className, expected.className);
    EXPECT_EQ(probeBlocks[i].first, expected.first) << expected.className;
    EXPECT_EQ(probeBlocks[i].last, expected.last) << expected.className;
    EXPECT_EQ(probeBase + probeBlocks[i].first, expected.firstProbe) << expected.className;
    EXPECT_EQ(probeBase + probeBlocks[i].last, expected.lastProbe) << expected.className;
  }
}

TEST(Probes, AreInTheBlockOfTheirClass) {
  for (const ProbeEntry& entry : rowsOf(probeTable)) {
    const auto* block = std::find_if(std::begin(fixedBlocks), std::end(fixedBlocks),
                                     [&](const FixedBlock& b) { return entry.className() == b.className; });
    ASSERT_NE(block, std::end(fixedBlocks)) << entry.function;
    EXPECT_GE(entry.number, block->first) << entry.function;
    EXPECT_LE(entry.number, block->last) << entry.function;
  }
}

TEST(Probes, AreListedInTheOrderOfTheBlocks) {
  EXPECT_THAT(classesOfTheTable(),
              testing::ElementsAre("ByteArrayOutputStream", "ByteBuffer", "Converter", "DataBuffer",
                                   "UTF8Iterator", "StringTokenizer", "SocketServer", "Socket", "MessageList",
                                   "Formatter", "Poller"));
}

TEST(Probes, AreUniqueForEachFunction) {
  std::map<std::uint16_t, std::string> byNumber;
  std::set<std::string> names;
  for (const ProbeEntry& entry : rowsOf(probeTable)) {
    const std::string name(entry.function);
    EXPECT_TRUE(names.insert(name).second) << name << " is listed twice";
    const auto [taken, fresh] = byNumber.emplace(entry.number, name);
    EXPECT_TRUE(fresh) << name << " has the number of " << taken->second;
  }
}

TEST(Probes, DoNotUseReservedNumbers) {
  EXPECT_EQ(unassignedSocketNumber, 0x623);
  for (const ProbeEntry& entry : rowsOf(probeTable)) {
    for (const unsigned int hole : rowsOf({0x623U, 0x632U, 0x633U, 0x634U, 0x635U, 0x637U, 0x63BU}))
      EXPECT_NE(entry.number, hole) << entry.function;
  }
}

TEST(Probes, StartEachClassWithItsConstructors) {
  for (const char* name : rowsOf({"ByteArrayOutputStream", "ByteBuffer", "DataBuffer", "UTF8Iterator",
                                  "StringTokenizer", "SocketServer", "Socket", "MessageList", "Poller"})) {
    const auto* first = std::find_if(probeTable.begin(), probeTable.end(),
                                     [&](const ProbeEntry& entry) { return entry.className() == name; });
    ASSERT_NE(first, probeTable.end()) << name;
    EXPECT_EQ(first->function, std::string(name) + "::" + name);
    const auto* block = std::find_if(std::begin(fixedBlocks), std::end(fixedBlocks),
                                     [&](const FixedBlock& b) { return name == std::string(b.className); });
    EXPECT_EQ(first->number, block->first) << name;
  }
}

struct FixedProbe {
  const char* function;
  Probe found;
  Probe expected;
};

TEST(Probes, OfTheseFunctionsHaveFixedNumbers) {
  const FixedProbe rows[] = {
      {"ByteArrayOutputStream constructors", probe("ByteArrayOutputStream::ByteArrayOutputStream"),
       483919334},
      {"ByteArrayOutputStream::write", probe("ByteArrayOutputStream::write"), 483919335},
      {"ByteBuffer constructors", probe("ByteBuffer::ByteBuffer"), 483919336},
      {"ByteBuffer::append", probe("ByteBuffer::append"), 483919337},
      {"ByteBuffer::set", probe("ByteBuffer::set"), 483919338},
      {"ByteBuffer::clear", probe("ByteBuffer::clear"), 483919339},
      {"ByteBuffer::operator=", probe("ByteBuffer::operator="), 483919340},
      {"MessageList constructors", probe("MessageList::MessageList"), 483919414},
      {"MessageList::addMessage", probe("MessageList::addMessage"), 483919416},
      {"MessageList::insertMessage", probe("MessageList::insertMessage"), 483919417},
      {"MessageList::join", probe("MessageList::join"), 483919418},
      {"MessageList::getFirstMsg", probe("MessageList::getFirstMsg"), 483919420},
      {"MessageList::getNextMsg", probe("MessageList::getNextMsg"), 483919421},
      {"MessageList::clear", probe("MessageList::clear"), 483919422},
  };
  for (const FixedProbe& row : rowsOf(rows)) EXPECT_EQ(row.found, row.expected) << row.function;
}

}  // namespace
}  // namespace tarvo::trace
