#include "json.hpp"

#include <string>

namespace kelinfra {

void print(const nlohmann::ordered_json& value, std::FILE* output) {
  const std::string text = value.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
  std::fputs(text.c_str(), output);
}

}  // namespace kelinfra
