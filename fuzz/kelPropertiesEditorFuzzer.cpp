#include "kelFuzz.hpp"
#include "support/kelEditorLaws.hpp"

#include <cstddef>
#include <cstdint>
#include <string>

/// Any bytes, edited. `ExtendedProperties` reads the result.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using tarvo::fuzz::expect;
  tarvo::fuzz::Input input(data, size);
  const std::string choices = input.bytes(input.below(8));
  std::u16string key;
  std::u16string value;
  for (unsigned int length = input.below(4); length > 0; --length) key += static_cast<char16_t>(input.byte());
  for (unsigned int length = input.below(4); length > 0; --length)
    value += static_cast<char16_t>(input.word());
  const std::string bytes = input.rest();
  const std::string broken = tarvo::test::brokenEditorLaw(bytes, key, value);
  expect(broken.empty(), broken.c_str());
  const std::string brokenLater = tarvo::test::brokenEditorWalk(bytes, choices);
  expect(brokenLater.empty(), brokenLater.c_str());
  return 0;
}
