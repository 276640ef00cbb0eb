#include "infra/trace/kelProbeNames.hpp"

#include "support/kelRows.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace tarvo::trace {
namespace {

using test::rowsOf;

TEST(ProbeNames, AreFoundByNumberAndByName) {
  struct Row {
    std::uint32_t probe;
    const char* className;
    const char* function;
    ProbeReports reports;
  };
  const Row rows[] = {
      {0x1CD805E6, "ByteArrayOutputStream", "ByteArrayOutputStream", ProbeReports::EXIT_ONLY},
      {0x1CD805EB, "ByteBuffer", "clear", ProbeReports::EITHER},
      {0x1CD805EC, "ByteBuffer", "operator=", ProbeReports::ENTRY_AND_EXIT},
      {0x1CD805F2, "DataBuffer", "~DataBuffer", ProbeReports::EXIT_ONLY},
      {0x1CD8063A, "MessageList", "join", ProbeReports::ENTRY_AND_EXIT},
      {0x1CD8063D, "MessageList", "getNextMsg", ProbeReports::EXIT_ONLY},
      {0x1CD8063E, "MessageList", "clear", ProbeReports::ENTRY_AND_EXIT},
      {0x1CD80645, "Formatter", "consoleCodePageName", ProbeReports::ENTRY_AND_EXIT},
  };
  for (const Row& row : rowsOf(rows)) {
    const ProbeInfo* const info = findProbe(row.probe);
    ASSERT_NE(info, nullptr) << row.probe;
    EXPECT_EQ(info->className(), row.className);
    EXPECT_EQ(info->function(), row.function);
    EXPECT_EQ(info->reports, row.reports) << row.function;
    EXPECT_EQ(findProbe(std::string(row.className) + "::" + row.function), info) << row.function;
  }
}

TEST(ProbeNames, OfEachProbeLeadBackToIt) {
  std::uint32_t last = 0;
  for (const ProbeInfo& info : rowsOf(allProbes())) {
    EXPECT_GT(info.probe, last) << info.name;
    last = info.probe;
    EXPECT_EQ(findProbe(info.probe), &info) << info.name;
    EXPECT_EQ(findProbe(info.name), &info) << info.name;
    EXPECT_EQ(std::string(info.className()) + "::" + std::string(info.function()), info.name);
  }
}

TEST(ProbeNames, AreNullForWhatIsNoProbe) {
  for (const std::uint32_t number : rowsOf({0U, 0x5E6U, 0x1CD805E5U, 0x1CD80623U, 0x1CD8064BU, 0xFFFFFFFFU}))
    EXPECT_EQ(findProbe(number), nullptr) << number;
  for (const char* name : rowsOf({"", "::", "join", "MessageList", "MessageList::", "messagelist::join",
                                  "MessageList::join ", "MessageList::~MessageList"}))
    EXPECT_EQ(findProbe(name), nullptr) << name;
}

}  // namespace
}  // namespace tarvo::trace
