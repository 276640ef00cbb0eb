#pragma once

#include <unicode/unistr.h>

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarvo::util {

/// The number of single units that must be inserted, removed or replaced, and of neighbours that must be
/// exchanged, to make one text of the other.
std::size_t damerauLevenshtein(std::u16string_view left, std::u16string_view right);

/// Finds the name that a misspelt one probably means; `PropertiesSchema::suggest` states the rule.
class Suggestions {
 public:
  void add(const icu::UnicodeString& name);

  /// Compares at most `pairsLeft` pairs of units, and reduces it by those that it compared. If more pairs
  /// would be needed, sets it to 0 and suggests nothing by the distance.
  icu::UnicodeString find(const icu::UnicodeString& key, std::size_t& pairsLeft) const;

 private:
  /// An index into the names, or nothing if several have the same form.
  using ByForm = std::map<std::u16string, std::optional<std::size_t>>;

  static void addForm(ByForm& forms, std::u16string form, std::size_t index);
  icu::UnicodeString nameOf(const ByForm& forms, const std::u16string& form) const;
  std::optional<icu::UnicodeString> nearest(std::u16string_view key, std::size_t& pairsLeft) const;

  std::vector<icu::UnicodeString> names_;
  ByForm byFolded_;
  ByForm byWords_;
  std::map<std::size_t, std::vector<std::size_t>> byLength_;
};

}  // namespace tarvo::util
