#include "kelFuzz.hpp"
#include "support/kelSettingsLaws.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

/// Any bytes, reported on; and, cut at the first byte FF, a schema and a text that is checked against it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(data, data + size);
  const std::string brokenReport = tarvo::test::brokenReportLaw(bytes);
  tarvo::fuzz::expect(brokenReport.empty(), brokenReport.c_str());
  const std::size_t cut = std::min(bytes.find('\xFF'), bytes.size());
  const std::string brokenSchema =
      tarvo::test::brokenSchemaLaw(bytes.substr(0, cut), bytes.substr(std::min(cut + 1, bytes.size())));
  tarvo::fuzz::expect(brokenSchema.empty(), brokenSchema.c_str());
  return 0;
}
