#include "infra/util/kelPropertiesReport.hpp"

#include "support/kelAllocationsSeam.hpp"
#include "support/kelRows.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tarvo::test {
namespace {

using util::PropertiesReport;
using util::PropertyFinding;

/// The bytes that are allocated to report about the text.
std::size_t bytesFor(const std::string& text) {
  const AllocationCount count;
  const PropertiesReport report(text.data(), text.size());
  return count.bytes();
}

std::string repeated(std::string_view part, std::size_t count) {
  std::string text;
  for (; count > 0; --count) text += part;
  return text;
}

bool hasRule(const PropertiesReport& report, std::string_view rule) {
  return std::any_of(report.findings().begin(), report.findings().end(),
                     [&](const PropertyFinding& finding) { return finding.rule == rule; });
}

TEST(PropertiesReportMemory, GrowsWithTheTextIfOneLongKeyHasManyFaults) {
  struct Row {
    const char* why;
    const char* reference;
  };
  for (const auto& row : rowsOf<Row>({{"missing", "%x%"}, {"in a cycle", "%c%"}})) {
    const auto textOf = [&](std::size_t count) {
      return "c=%c%\n" + std::string(4 * count, 'K') + "=" + repeated(row.reference, count) + "\n";
    };
    EXPECT_LT(bytesFor(textOf(8000)), 3 * bytesFor(textOf(4000)));
  }
}

/// A long text after a single "%", with which every name of a reference after "%t%" begins.
std::string withTail(std::size_t length, const std::string& more) {
  return "t=%" + std::string(length, 'L') + "\n" + more;
}

TEST(PropertiesReportMemory, IsLimitedIfManyMissingNamesBeginWithTheSameLongText) {
  const std::string text = withTail(20'000, "v=" + repeated("%t%x%", 4000) + "\n");
  EXPECT_LT(bytesFor(text), std::size_t{200} << 20U);
  EXPECT_TRUE(hasRule(PropertiesReport(text.data(), text.size()), "references-too-long"));
}

TEST(PropertiesReportMemory, IsLimitedIfManyValuesEndWithTheSameLongText) {
  std::string values;
  for (int i = 0; i < 4000; ++i) values += std::to_string(i) + "=%t%\n";
  const std::string text = withTail(20'000, values);
  EXPECT_LT(bytesFor(text), std::size_t{200} << 20U);
  EXPECT_TRUE(hasRule(PropertiesReport(text.data(), text.size()), "references-too-long"));
}

TEST(PropertiesReportMemory, ReportsEachMissingNameBelowTheLimit) {
  const std::string text = withTail(1000, "v=" + repeated("%t%x%", 4000) + "\n");
  const PropertiesReport report(text.data(), text.size());
  EXPECT_FALSE(hasRule(report, "references-too-long"));
  EXPECT_EQ(std::count_if(report.findings().begin(), report.findings().end(),
                          [](const PropertyFinding& finding) {
                            return finding.rule == std::string_view("reference-missing") &&
                                   finding.arguments[1].length() == 1001;
                          }),
            4000);
}

}  // namespace
}  // namespace tarvo::test
