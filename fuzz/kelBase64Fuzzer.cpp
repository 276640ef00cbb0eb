#include "infra/util/kelBase64.hpp"

#include "kelFuzz.hpp"
#include "simd/kelKernelChoice.hpp"
#include "support/kelBase64Model.hpp"

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

/// Bytes to text and text to bytes in both alphabets, with every kernel, compared with the model.
namespace {

using tarvo::fuzz::decimal;
using tarvo::fuzz::errorOf;
using tarvo::fuzz::expect;
using tarvo::fuzz::Input;
using tarvo::fuzz::ToldError;
using tarvo::test::Base64Alphabet;
using tarvo::test::Base64Decoding;
using tarvo::test::modelDecode;
using tarvo::test::modelEncode;
using tarvo::util::Base64;

/// Several rounds of the widest vectors and a remainder after them.
constexpr std::size_t mostBytes = 160;

// Destinations have the exact size, so that the address sanitizer notices one unit or byte too many.

void compareEncoding(Base64Alphabet alphabet, const std::string& bytes, const std::u16string& expected) {
  const auto encode = alphabet == Base64Alphabet::standard ? &Base64::encode : &Base64::encodeSafe;
  expect(Base64::encodeSize(bytes.size()) == expected.size(), "the size of the text");
  std::vector<unsigned short> text(expected.size());
  expect(encode(text.data(), text.size(), bytes.data(), bytes.size()) == text.size(), "units written");
  expect(std::equal(text.begin(), text.end(), expected.begin()), "the text");
  if (bytes.empty()) return;

  std::vector<unsigned short> narrow(expected.size() - 1, 0x5A5A);
  const auto error = errorOf([&] { encode(narrow.data(), narrow.size(), bytes.data(), bytes.size()); });
  const auto room = static_cast<long long>(narrow.size());
  expect(error == ToldError{"ERR_BUFFER_SIZE_TOO_SMALL", {decimal(room)}}, "a text that does not fit");
  expect(narrow == std::vector<unsigned short>(narrow.size(), 0x5A5A), "nothing is written then");
}

void compareDecoding(Base64Alphabet alphabet, const std::u16string& text, std::size_t capacity,
                     const Base64Decoding& expected) {
  const auto decode = alphabet == Base64Alphabet::standard ? &Base64::decode : &Base64::decodeSafe;
  std::vector<unsigned short> units(text.begin(), text.end());
  units.push_back(0);
  std::vector<char> room(capacity);
  std::size_t written = expected.bytes.size();
  const auto error = errorOf([&] { written = decode(room.data(), capacity, units.data(), text.size()); });
  expect(error.has_value() == !expected.error.empty(), "whether decoding fails");
  if (error) expect(error == ToldError{expected.error, {expected.argument}}, "how decoding fails");
  expect(written == expected.bytes.size(), "bytes decoded");
  expect(std::equal(expected.bytes.begin(), expected.bytes.end(), room.begin()), "the bytes decoded");
}

/// Valid text of the bytes with a few code units replaced by the input's, or the bytes themselves as code
/// units.
std::u16string textOf(Base64Alphabet alphabet, const std::string& bytes, unsigned int damages, Input& input) {
  if (damages == 3) {
    std::u16string text;
    for (const char byte : bytes) text += static_cast<unsigned char>(byte);
    return text;
  }
  std::u16string text = modelEncode(alphabet, bytes);
  for (; damages > 0 && !text.empty(); --damages) {
    const std::size_t at = input.word() % text.size();
    text[at] = static_cast<char16_t>(input.flag() ? input.word() : input.byte());
  }
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const auto alphabet = input.flag() ? Base64Alphabet::standard : Base64Alphabet::safe;
  const unsigned int damages = input.below(4);
  const std::size_t cut = input.flag() ? 0 : input.below(256);
  const std::string bytes = input.bytes(mostBytes);
  const std::u16string encoded = modelEncode(alphabet, bytes);
  const std::u16string text = textOf(alphabet, bytes, damages, input);
  const std::size_t capacity =
      Base64::decodeSize(text.size()) - std::min(cut, Base64::decodeSize(text.size()));
  const Base64Decoding decoded = modelDecode(alphabet, text, capacity);
  for (const tarvo::simd::Kernels* kernels : tarvo::simd::availableKernels()) {
    tarvo::simd::useKernels(kernels);
    compareEncoding(alphabet, bytes, encoded);
    compareDecoding(alphabet, text, capacity, decoded);
  }
  return 0;
}
