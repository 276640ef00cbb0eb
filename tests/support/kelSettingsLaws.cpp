#include "support/kelSettingsLaws.hpp"

#include "infra/oss/kelBaseException.hpp"
#include "infra/util/kelExtendedProperties.hpp"
#include "infra/util/kelPropertiesEditor.hpp"
#include "infra/util/kelPropertiesReport.hpp"
#include "infra/util/kelPropertiesSchema.hpp"

#include <unicode/unistr.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <set>
#include <string_view>
#include <tuple>
#include <vector>

namespace tarvo::test {
namespace {

using util::ExtendedProperties;
using util::PropertiesEditor;
using util::PropertiesReport;
using util::PropertiesSchema;
using util::PropertyFinding;

bool begins(const PropertyFinding& finding, std::string_view rule) {
  return std::string_view(finding.rule).substr(0, rule.size()) == rule;
}

std::size_t offsetOf(const std::string& bytes, std::size_t line, std::size_t column) {
  std::size_t at = 0;
  for (std::size_t left = line - 1; left > 0; ++at) {
    const bool isFirstOfTwo = bytes.compare(at, 2, "\r\n") == 0;
    if (bytes[at] == '\n' || (bytes[at] == '\r' && !isFirstOfTwo)) --left;
  }
  return at + column - 1;
}

std::size_t countPercents(const icu::UnicodeString& text) {
  std::size_t count = 0;
  for (std::int32_t i = 0; i < text.length(); ++i) count += text.charAt(i) == u'%' ? 1U : 0U;
  return count;
}

/// The properties that count are those that are loaded, and the editor finds them at the same places.
std::string brokenProperties(const PropertiesReport& report, const std::string& bytes) {
  ExtendedProperties loaded;
  loaded.load(bytes.data(), bytes.size(), false);
  const PropertiesEditor editor(bytes.data(), bytes.size());
  std::ptrdiff_t count = 0;
  std::size_t overridden = 0;
  for (const PropertiesReport::Property& property : report.properties()) {
    PropertiesEditor::Place place{};
    if (!editor.find(property.key, place)) return "a key does not exist";
    if (!property.counts) {
      const auto& lines = place.overriddenLines;
      if (std::count(lines.begin(), lines.end(), property.line) == 0) return "an overridden line is wrong";
      ++overridden;
      continue;
    }
    ++count;
    if (loaded.requireProperty(property.key) != property.value) return "a value is wrong";
    if (place.line != property.line || place.column != property.column) return "the place of a key is wrong";
    if (place.valueOffset != offsetOf(bytes, property.valueLine, property.valueColumn)) {
      return "the place of a value is wrong";
    }
  }
  if (count != std::distance(loaded.begin(), loaded.end())) return "the number of properties is wrong";
  const auto duplicates = std::count_if(report.findings().begin(), report.findings().end(),
                                        [](const auto& finding) { return begins(finding, "duplicate-key"); });
  return static_cast<std::size_t>(duplicates) == overridden ? "" : "the number of duplicates is wrong";
}

std::string brokenPlaces(const PropertiesReport& report, const std::string& bytes) {
  const auto& findings = report.findings();
  const bool isSorted =
      std::is_sorted(findings.begin(), findings.end(), [](const auto& left, const auto& right) {
        return std::tie(left.line, left.column) < std::tie(right.line, right.column);
      });
  if (!isSorted) return "the findings are not sorted";
  for (const PropertyFinding& finding : findings) {
    const std::size_t offset = offsetOf(bytes, finding.line, finding.column);
    if (offset > bytes.size()) return "a place is after the end";
    const char byte = offset < bytes.size() ? bytes[offset] : '\0';
    if (begins(finding, "escape-") && bytes.compare(offset, 2, "\\u") != 0) return "no escape at its place";
    const bool isPercent = begins(finding, "lone-percent") || begins(finding, "reference-missing") ||
                           begins(finding, "reference-cyclic");
    if (isPercent && byte != '%' && byte != '\\') return "no % at its place";
  }
  return "";
}

bool hasReferenceFault(const PropertiesReport& report, const icu::UnicodeString& first,
                       const icu::UnicodeString& second) {
  return std::any_of(report.findings().begin(), report.findings().end(), [&](const PropertyFinding& finding) {
    return (begins(finding, "reference-missing") && finding.arguments[0] == first &&
            finding.arguments[1] == second) ||
           (begins(finding, "reference-cyclic") && second.isBogus() && finding.arguments[1] == first);
  });
}

std::string brokenReferences(const PropertiesReport& report, const std::string& bytes) {
  ExtendedProperties loaded;
  loaded.load(bytes.data(), bytes.size(), false);
  const bool hasFault = std::any_of(report.findings().begin(), report.findings().end(),
                                    [](const auto& finding) { return begins(finding, "reference-"); });
  try {
    loaded.resolveReferences();
  } catch (const oss::BaseException& error) {
    const auto& arguments = error.getErrorMessage().getMessageArgs();
    icu::UnicodeString name;
    name.setToBogus();
    if (arguments.size() == 2) name = arguments.back();
    return hasReferenceFault(report, arguments.front(), name) ? "" : "the error of a reference is not found";
  }
  if (hasFault) return "a fault is reported, although all references are resolved";
  std::set<icu::UnicodeString> lone;
  for (const PropertyFinding& finding : report.findings()) {
    if (begins(finding, "lone-percent")) lone.insert(finding.arguments[0]);
  }
  for (const PropertiesReport::Property& property : report.properties()) {
    if (!property.counts) continue;
    if (!property.isResolved) return "a value is not resolved";
    if (loaded.requireProperty(property.key) != property.resolved) return "a resolved value is wrong";
    const bool keepsPercent = countPercents(property.resolved) > 0;
    if (lone.count(property.key) > 0 && !keepsPercent) return "a % is not lone";
    if (lone.empty() && keepsPercent) return "a lone % is not reported";
  }
  return "";
}

/// The sample with the lines "#name=value" that have a value and a name without "*".
std::string activeSample(const std::string& sample) {
  std::string active;
  bool isDeprecated = false;
  for (std::size_t at = 0; at < sample.size();) {
    const std::size_t end = sample.find('\n', at);
    const std::string line = sample.substr(at, end - at);
    at = end + 1;
    if (line.empty()) isDeprecated = false;
    if (line.compare(0, 12, "# Deprecated") == 0) isDeprecated = true;
    const bool isProperty = line.compare(0, 1, "#") == 0 && line.compare(0, 2, "# ") != 0;
    if (isProperty && !isDeprecated && line.back() != '=' && line.find('*') == std::string::npos) {
      active += line.substr(1) + "\n";
    }
  }
  return active;
}

}  // namespace

std::string brokenReportLaw(const std::string& bytes) {
  const PropertiesReport report(bytes.data(), bytes.size());
  if (const std::string broken = brokenProperties(report, bytes); !broken.empty()) return broken;
  if (const std::string broken = brokenPlaces(report, bytes); !broken.empty()) return broken;
  // More references could make a text that is too long to be compared.
  if (std::count(bytes.begin(), bytes.end(), '%') > 24 || bytes.find("\\u0025") != std::string::npos)
    return "";
  return brokenReferences(report, bytes);
}

std::string brokenSchemaLaw(const std::string& schema, const std::string& bytes) {
  const PropertiesSchema read(schema.data(), schema.size());
  const PropertiesReport report(bytes.data(), bytes.size());
  for (const PropertyFinding& finding : read.check(report)) {
    if (begins(finding, "misspelt-key") && finding.arguments[0] == finding.arguments[1]) {
      return "a key is suggested for itself";
    }
    const auto isAt = [&](const PropertiesReport::Property& property) {
      return property.counts && property.key == finding.arguments[0] &&
             (property.line == finding.line || property.valueLine == finding.line);
    };
    if (std::none_of(report.properties().begin(), report.properties().end(), isAt)) return "a place is wrong";
  }
  const std::string sample = read.sample();
  ExtendedProperties ofSample;
  ofSample.load(sample.data(), sample.size(), false);
  if (ofSample.begin() != ofSample.end()) return "the sample sets a property";
  if (!read.faults().empty() || sample.find('%') != std::string::npos) return "";
  const std::string active = activeSample(sample);
  for (const PropertyFinding& finding : read.check(PropertiesReport(active.data(), active.size()))) {
    return std::string("the sample is not accepted: ") + finding.rule;
  }
  return "";
}

}  // namespace tarvo::test
