#pragma once

#include "infra/kelExport.hpp"
#include "infra/util/kelPropertyFinding.hpp"

#include <unicode/unistr.h>

#include <cstddef>
#include <vector>

namespace tarvo::util {

class ExtendedProperties;

/// Reads a properties text as `ExtendedProperties::load` does, and reports probable mistakes, which `load`
/// accepts without an error.
///
///     const std::string text = "port=80\nport=4711\nurl=%hots%/x\n";
///     const PropertiesReport report(text.data(), text.size());
///     report.findings().size();                   // -> 2
///     report.findings()[0].rule;                  // -> "duplicate-key"
///     report.findings()[0].line;                  // -> 1
///     report.findings()[1].rule;                  // -> "reference-missing"
///     report.findings()[1].column;                // -> 5
///
/// The table lists the rules, with the arguments of each finding in order:
///
/// | rule                 | level   | place and arguments                                                  |
/// |----------------------|---------|----------------------------------------------------------------------|
/// | duplicate-key        | warning | the key of a line that a later one overrides: key, line and column of|
/// |                      |         | the key that counts                                                  |
/// | escape-malformed     | error   | the backslash of a \u without four hexadecimal digits: the escape    |
/// | escape-not-character | error   | the backslash of a \uXXXX that names no character: the escape        |
/// | escape-at-end        | error   | the backslash of a \uXXXX that ends the data: the escape             |
/// | lone-percent         | warning | a "%" that begins no reference: key                                  |
/// | reference-missing    | error   | the "%" of a reference to no property: key of the value, name        |
/// | reference-cyclic     | error   | the "%" of the reference that closes a cycle: key of the value, key  |
/// |                      |         | of the property that refers to itself                                |
/// | references-too-long  | error   | the key of the value at which the report stopped: key                |
/// | value-not-saved      | warning | a value that `save` does not write back: key                         |
///
/// The report resolves a reference to a property of the same text only.
/// `ExtendedProperties::resolveReferences` raises an error for the same text if, and only if, there is a
/// finding of the rule `reference-missing` or `reference-cyclic`. References can multiply a text without
/// limit. Therefore the report stops resolving references when they have copied 16,777,216 units into values
/// or into missing names; it then contains a finding of the rule `references-too-long`. If a later line has
/// the same key as a line, the report checks only the escapes of the earlier line.
///
/// Threads: any number of threads may read the report at the same time.
///
/// Errors: the members raise std::bad_alloc if there is no memory.
class KELINFRA_API PropertiesReport {
 public:
  /// A line that defines a property. Lines and columns count from 1; columns are in bytes.
  struct Property {
    icu::UnicodeString key;
    icu::UnicodeString value;     ///< as in the text, with its references
    icu::UnicodeString resolved;  ///< the value that counts, with its references replaced
    bool counts;                  ///< no later line has the same key
    bool isResolved;              ///< `resolved` is the value that `load` stores
    std::size_t line;             ///< of the key
    std::size_t column;
    std::size_t valueLine;  ///< of the value
    std::size_t valueColumn;
  };

  /// Reads the text; the object does not need `data` after the constructor. If `data` is null, the text is
  /// empty, whatever the length.
  PropertiesReport(const char* data, std::size_t length);
  PropertiesReport(const PropertiesReport& other);
  PropertiesReport& operator=(const PropertiesReport& other);
  ~PropertiesReport();

  /// Returns the findings in the order of lines and columns.
  const std::vector<PropertyFinding>& findings() const KELINFRA_LIFETIMEBOUND;
  /// Returns one element for each line that defines a property, in the order of the text. If several lines
  /// have the same key, the last of these lines determines the value.
  const std::vector<Property>& properties() const KELINFRA_LIFETIMEBOUND;

 private:
  std::vector<PropertyFinding> findings_;
  std::vector<Property> properties_;
};

}  // namespace tarvo::util
