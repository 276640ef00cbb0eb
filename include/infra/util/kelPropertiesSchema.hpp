#pragma once

#include "infra/kelExport.hpp"
#include "infra/util/kelPropertiesReport.hpp"
#include "infra/util/kelPropertyFinding.hpp"

#include <unicode/unistr.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace tarvo::util {

/// Describes the properties that a program reads, checks a text against this description, and writes its
/// documentation.
///
///     const std::string text = "port@type=uint32\nport@range=1..65535\nlog.*@type=boolean\n";
///     const std::string file = "prot=80\nport=70000\nlog.net=on\n";
///     const PropertiesSchema schema(text.data(), text.size());
///     const auto findings = schema.check(PropertiesReport(file.data(), file.size()));
///     findings.size();                            // -> 2
///     findings[0].rule;                           // -> "misspelt-key"
///     findings[0].arguments[1];                   // -> "port"
///     findings[1].rule;                           // -> "out-of-range"
///
/// The schema is a properties text; references in it are not resolved. The key of each line is the name of a
/// property, "@" and one of these words; the last "@" of the key counts:
///
///   - type: text (the default), boolean, int32, uint32, int64, uint64 or double. The getter of
///     `ExtendedProperties` for the type must accept the value. An integer must not be out of the type's
///     range, and a double must be finite.
///   - range: LOW..HIGH, both included, each may be missing. For numbers only.
///   - values: the values that are allowed, between commas. White space around them is ignored.
///   - default: the value that the program uses if there is no such property. For the documentation.
///   - meaning: one or more sentences. For the documentation.
///   - deprecated: the name of the property to use instead, or nothing.
///
/// A name can contain one "*", which stands for any characters, also none: "log.*", "*.port". If a key has
/// several such names, the one with the longest text before the "*" counts, then the longest text after it. A
/// name without "*" comes before all of them.
///
/// The line "@unknown" is the level for keys that have no name: error, warning (the default) or ignore.
///
/// The rules of `check`, with their arguments in order. The first four are at the key, the others at the
/// value:
///
/// | rule           | level    | arguments                                                               |
/// |----------------|----------|-------------------------------------------------------------------------|
/// | unknown-key    | @unknown | key                                                                     |
/// | misspelt-key   | @unknown | key, suggested name                                                     |
/// | deprecated-key | warning  | key, name to use instead                                                |
/// | obsolete-key   | warning  | key; there is nothing to use instead                                    |
/// | wrong-type     | error    | key, value, type                                                        |
/// | out-of-range   | error    | key, value, range                                                       |
/// | unlisted-value | error    | key, value, allowed values                                              |
///
/// The rules of `faults`, all errors: schema-facet-unknown (key), schema-name-malformed (name with two "*"),
/// schema-type-unknown (name, type), schema-range-malformed (name, range), schema-default-refused (name,
/// default), schema-successor-unknown (name, name to use instead), schema-level-unknown (level); and
/// duplicate-key and the escape rules of `PropertiesReport`.
///
/// Threads: any number at the same time.
///
/// Errors: std::bad_alloc if there is no memory.
class KELINFRA_API PropertiesSchema {
 public:
  /// Reads the schema; the data are not needed afterwards. Null data is empty data, whatever the length.
  PropertiesSchema(const char* data, std::size_t length);
  PropertiesSchema(const PropertiesSchema& other) = delete;
  PropertiesSchema& operator=(const PropertiesSchema& other) = delete;
  ~PropertiesSchema();

  /// The faults of the schema itself, in the order of its lines. `check` ignores a faulty line.
  const std::vector<PropertyFinding>& faults() const KELINFRA_LIFETIMEBOUND;

  /// Checks the lines that count, with references replaced. A value whose references cannot be resolved is
  /// not checked; the report contains a finding for it. The findings are in the order of lines and columns.
  /// The time grows with the number of keys times the number of names that contain "*".
  std::vector<PropertyFinding> check(const PropertiesReport& settings) const;

  /// Returns the name that a misspelt key probably means, or an empty text. The steps are, in this order:
  ///   1. The name is equal to the key if case is ignored.
  ///   2. Its Damerau-Levenshtein distance from the key (units inserted, removed, replaced, and neighbours
  ///      exchanged) is the smallest, and at most a third of the longer length, rounded down.
  ///   3. It consists of the same words in another order. Words are separated by ".", "-", "_" and SPACE, and
  ///      case is ignored.
  /// If a step finds two names that are equally near, there is no suggestion. Names with "*" and deprecated
  /// names are not suggested. The second step is left out for keys above 256 units. `check` compares 2^26
  /// pairs of units at most; after that it makes no suggestions from the second step.
  icu::UnicodeString suggest(const icu::UnicodeString& key) const;

  /// A properties text with each name, in the order of the schema: its meaning, type, range, values and
  /// deprecation as comments, then the line "#name=default". ASCII, line ends are LF.
  std::string sample() const;
  /// A Markdown table of the names, in the order of the schema.
  icu::UnicodeString markdown() const;

 private:
  class KELINFRA_LOCAL Entries;

  std::unique_ptr<Entries> entries_;
};

}  // namespace tarvo::util
