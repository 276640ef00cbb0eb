#include "suggestion.hpp"

#include "infra/util/kelPropertiesEditor.hpp"
#include "infra/util/kelPropertiesSchema.hpp"

#include "texts.hpp"

namespace kelinfra {

std::string suggestion(const std::string& word, const std::vector<std::string>& candidates) {
  tarvo::util::PropertiesEditor schema(nullptr, 0);
  for (const std::string& candidate : candidates) schema.set(unicode(candidate + "@type"), "text");
  const std::string bytes = schema.bytes();
  return utf8(tarvo::util::PropertiesSchema(bytes.data(), bytes.size()).suggest(unicode(word)));
}

}  // namespace kelinfra
