#pragma once

#include <unicode/unistr.h>

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarvo::util {

/// Returns the smallest number of operations that change one text into the other. An operation inserts,
/// removes or replaces one unit, or exchanges two neighbouring units.
std::size_t damerauLevenshtein(std::u16string_view left, std::u16string_view right);

/// Finds the name that a misspelt name probably means; the comment of `PropertiesSchema::suggest` states the
/// rule.
class Suggestions {
 public:
  void add(const icu::UnicodeString& name);

  /// Makes at most `pairsLeft` comparisons of two units, and reduces `pairsLeft` by the number of
  /// comparisons. If the search by distance would need more comparisons, the function sets `pairsLeft` to 0
  /// and suggests no name by its distance.
  icu::UnicodeString find(const icu::UnicodeString& key, std::size_t& pairsLeft) const;

 private:
  /// Maps a form of a name, for example the name with its case folded, to the index of the name. If several
  /// names have the same form, the form maps to nothing.
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
