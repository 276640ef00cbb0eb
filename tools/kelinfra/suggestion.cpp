#include "suggestion.hpp"

#include "infra/util/kelPropertiesEditor.hpp"

#include "texts.hpp"

namespace kelinfra {

namespace {

std::string schemaOf(const std::vector<std::string>& candidates) {
  tarvo::util::PropertiesEditor schema(nullptr, 0);
  for (const std::string& candidate : candidates) schema.set(unicode(candidate + "@type"), "text");
  return schema.bytes();
}

}  // namespace

Suggestions::Suggestions(const std::vector<std::string>& candidates) : Suggestions(schemaOf(candidates)) {}

Suggestions::Suggestions(const std::string& schema) : schema_(schema.data(), schema.size()) {}

std::string Suggestions::of(const std::string& word) const {
  return utf8(schema_.suggest(unicode(word)));
}

std::string suggestion(const std::string& word, const std::vector<std::string>& candidates) {
  return Suggestions(candidates).of(word);
}

}  // namespace kelinfra
