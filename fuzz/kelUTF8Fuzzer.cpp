#include "infra/oss/kelUTF8Iterator.hpp"
#include "infra/oss/kelUTF8String.hpp"

#include "kelFuzz.hpp"
#include "simd/kelKernelChoice.hpp"
#include "support/kelUTF8Model.hpp"

#include <cstring>
#include <optional>
#include <string>
#include <vector>

/// Any bytes counted, copied and walked, with every kernel, compared with the model.
namespace {

using tarvo::fuzz::errorOf;
using tarvo::fuzz::expect;
using tarvo::fuzz::Input;
using tarvo::fuzz::ToldError;
using tarvo::oss::UTF8Iterator;
using tarvo::oss::UTF8String;
using tarvo::simd::Kernels;

const ToldError malformed = {"ERR_MALFORMED_UTF8_STRING", {}};

/// Source and destination have the exact size, so that the address sanitizer notices every byte too many.
void compareKernels(const Kernels& kernels, const std::vector<char>& text, std::optional<std::size_t> count) {
  const std::ptrdiff_t expected = count ? static_cast<std::ptrdiff_t>(*count) : -1;
  expect(kernels.countWellFormed(text.data(), text.size()) == expected, "the count of a kernel");
  std::vector<char> copy(text.size());
  expect(kernels.copyWellFormed(copy.data(), text.data(), text.size()) == expected, "the count of a copy");
  if (count) expect(copy == text, "a copy");
}

void comparePaddedCharacters(const Kernels& kernels, const std::string& bytes,
                             const std::vector<std::string>& characters) {
  const std::string readable = bytes + std::string(tarvo::simd::spreadReadsAfter, '\xBF');
  const std::vector<char> text(readable.begin(), readable.end());
  std::vector<std::uint64_t> cells((bytes.size() + 15) / 16 * 16);
  expect(kernels.spreadCharacters(cells.data(), text.data(), bytes.size()) == characters.size(),
         "the number of padded characters");
  for (std::size_t i = 0; i < characters.size(); ++i)
    expect(characters[i] == reinterpret_cast<const char*>(&cells[i]), "a padded character");
}

template <class Text>
void compareIterator(const Text& text, const std::string& bytes,
                     const std::optional<std::vector<std::string>>& characters) {
  std::optional<UTF8Iterator> iterator;
  const auto error = errorOf([&] { iterator.emplace(text); });
  expect(error == (characters ? std::nullopt : std::optional(malformed)), "what an iterator takes");
  if (!characters) return;
  expect(!iterator->isEmpty() && bytes == iterator->getString(), "the iterator's copy");
  expect(iterator->length() == static_cast<int>(bytes.size()), "the iterator's length");
  expect(iterator->numChars() == static_cast<int>(characters->size()), "the iterator's count");
  for (const std::string& character : *characters) {
    expect(iterator->hasMoreChars(), "whether there are more characters");
    expect(character == iterator->getNextChar(), "a character");
  }
  expect(!iterator->hasMoreChars() && iterator->getNextChar() == nullptr, "the end of the characters");
  const char* const first = iterator->getFirstChar();
  expect(characters->empty() ? first == nullptr : characters->front() == first, "the first character");
}

void compareString(const std::string& bytes) {
  UTF8String string(0);
  string.appendString(bytes.data(), static_cast<int>(bytes.size()));
  int count = 0;
  const auto error = errorOf([&] { count = string.numChars(); });
  const std::optional<int> expected = tarvo::test::modelLenientCount(bytes);
  expect(error == (expected ? std::nullopt : std::optional(malformed)), "what a string counts");
  if (expected) expect(count == *expected, "the count of a string");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  // Long enough for several rounds of the widest vectors, with the fuzzer's bytes at every position in them.
  std::string bytes(input.below(128), 'a');
  const unsigned int repeats = 1 + input.below(4);
  const std::string given = input.bytes(600);
  for (unsigned int i = 0; i < repeats; ++i) bytes += given;

  const std::vector<char> exact(bytes.begin(), bytes.end());
  const std::optional<std::size_t> count = tarvo::test::modelCount(bytes.data(), bytes.size());
  const std::string text = bytes.c_str();
  const auto characters = tarvo::test::modelCharacters(text);
  const icu::UnicodeString unicode = icu::UnicodeString::fromUTF8(text);
  for (const Kernels* kernels : tarvo::simd::availableKernels()) {
    tarvo::simd::useKernels(kernels);
    compareKernels(*kernels, exact, count);
    compareIterator(text.c_str(), text, characters);
    if (characters) comparePaddedCharacters(*kernels, text, *characters);
    if (characters) compareIterator(unicode, text, characters);
    compareString(bytes);
  }
  return 0;
}
