#include "json.hpp"

#include <cstdio>

namespace kelinfra {

void print(const nlohmann::ordered_json& value) {
  std::puts(value.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
}

}  // namespace kelinfra
