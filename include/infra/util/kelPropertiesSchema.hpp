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

/// Describes the properties that a program reads, checks a properties text against this description, and
/// writes a documentation of the properties.
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
/// The schema is a properties text; references in it are not resolved. The key of each line consists of the
/// name of a property, "@" and one of the following words. If a key contains several "@", the last one ends
/// the name:
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
/// A name can contain one "*", which matches any sequence of characters, also an empty one: "log.*",
/// "*.port". If several names match a key, a name without "*" has priority. If all these names contain "*",
/// the name with the longest text before its "*" applies. If several names have equally long texts before
/// "*", the name with the longest text after its "*" applies.
///
/// The value of the line "@unknown" is the level of the findings for keys that no name matches: error,
/// warning (the default) or ignore.
///
/// The table lists the rules of `check`, with the arguments of each finding in order. A finding of the first
/// four rules points to the key, and a finding of the other rules to the value:
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
/// `faults` reports findings of these rules, all with the level error; the arguments are in parentheses:
/// - schema-facet-unknown (key)
/// - schema-name-malformed (name): the name contains two "*"
/// - schema-type-unknown (name, type)
/// - schema-range-malformed (name, range)
/// - schema-default-refused (name, default)
/// - schema-successor-unknown (name, name to use instead)
/// - schema-level-unknown (level)
///
/// `faults` also reports duplicate-key and the escape rules of `PropertiesReport`.
///
/// Threads: any number of threads may use an object at the same time.
///
/// Errors: the members raise std::bad_alloc if there is no memory.
class KELINFRA_API PropertiesSchema {
 public:
  /// Reads the schema; the object does not need `data` after the constructor. If `data` is null, the schema
  /// is empty, whatever the length.
  PropertiesSchema(const char* data, std::size_t length);
  PropertiesSchema(const PropertiesSchema& other) = delete;
  PropertiesSchema& operator=(const PropertiesSchema& other) = delete;
  ~PropertiesSchema();

  /// Returns the faults of the schema itself, in the order of its lines. `check` ignores faulty lines of the
  /// schema.
  const std::vector<PropertyFinding>& faults() const KELINFRA_LIFETIMEBOUND;

  /// Checks the properties in `settings`, after references are replaced. If several lines have the same key,
  /// `check` checks only the last line. `check` does not check a value whose references cannot be resolved;
  /// the report `settings` contains a finding for such a value. The findings are in the order of lines and
  /// columns. The time is proportional to the number of keys multiplied by the number of names that contain
  /// "*".
  std::vector<PropertyFinding> check(const PropertiesReport& settings) const;

  /// Returns the name that a misspelt key probably means, or an empty text. `suggest` looks for a name in
  /// these steps, and stops at the first step that finds one:
  ///   1. A name that is equal to the key if case is ignored.
  ///   2. The name with the smallest Damerau-Levenshtein distance from the key (units inserted, removed,
  ///      replaced, and neighbours exchanged). The distance must be at most a third of the longer length,
  ///      rounded down.
  ///   3. A name that consists of the same words as the key, in another order. Words are separated by ".",
  ///      "-", "_" and SPACE, and case is ignored.
  /// If a step finds two names that are equally near, the result is an empty text. Names with "*" and
  /// deprecated names are not suggested. Step 2 is skipped for keys above 256 units. In step 2, one call of
  /// `check` or `suggest` makes at most 2^26 comparisons of a unit of a key with a unit of a name. When a key
  /// would need more comparisons than remain, the call skips step 2 for this key and for all later keys.
  icu::UnicodeString suggest(const icu::UnicodeString& key) const;

  /// Returns a properties text that documents the names in the order of the schema. For each name, the text
  /// contains comments with the meaning, type, range, values and deprecation, and then the line
  /// "#name=default". The text is ASCII, and its line ends are LF.
  std::string sample() const;
  /// Returns a Markdown table of the names, in the order of the schema.
  icu::UnicodeString markdown() const;

 private:
  class KELINFRA_LOCAL Entries;

  std::unique_ptr<Entries> entries_;
};

}  // namespace tarvo::util
