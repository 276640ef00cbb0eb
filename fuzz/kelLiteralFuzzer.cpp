#include "infra/oss/kelDataBuffer.hpp"

#include "kelFuzz.hpp"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

/// Any bytes decoded as a binary literal, and bytes encoded as one.
namespace {

using tarvo::fuzz::decimal;
using tarvo::fuzz::errorOf;
using tarvo::fuzz::expect;
using tarvo::fuzz::Input;
using tarvo::fuzz::ToldError;
using tarvo::oss::DataBuffer;

const std::string lowerDigits = "0123456789abcdef";
const std::string upperDigits = "0123456789ABCDEF";

std::optional<unsigned int> digitOf(char character) {
  const std::size_t at = std::min(lowerDigits.find(character), upperDigits.find(character));
  if (at == std::string::npos) return std::nullopt;
  return static_cast<unsigned int>(at);
}

/// X'...' with pairs of hexadecimal digits between, and nothing else.
std::optional<std::string> modelBytes(const std::string& text) {
  if (text.size() < 3 || text.substr(0, 2) != "X'" || text.back() != '\'') return std::nullopt;
  const std::string digits = text.substr(2, text.size() - 3);
  if (digits.size() % 2 != 0) return std::nullopt;
  std::string bytes;
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    const auto high = digitOf(digits[i]);
    const auto low = digitOf(digits[i + 1]);
    if (!high || !low) return std::nullopt;
    bytes += static_cast<char>(*high * 16 + *low);
  }
  return bytes;
}

void compareDecoding(const DataBuffer& buffer, const std::string& text, int capacity) {
  const std::optional<std::string> expected = modelBytes(text);
  const auto invalid = std::optional(ToldError{"ERR_DB_INVALID_BINARY_DATA", {}});
  int count = 0;
  const auto sizeError = errorOf([&] { count = buffer.decodeBinary(nullptr, 0); });
  expect(sizeError == (expected ? std::nullopt : invalid), "whether it is a literal");

  // The exact size, so that the address sanitizer notices a byte too many.
  std::vector<char> room(static_cast<std::size_t>(std::max(capacity, 1)), '\x5A');
  const std::vector<char> untouched = room;
  int written = 0;
  const auto error = errorOf([&] { written = buffer.decodeBinary(room.data(), capacity); });
  if (!expected) {
    expect(error == invalid && room == untouched, "decoding what is no literal");
    return;
  }
  const int size = static_cast<int>(expected->size());
  expect(count == size, "the size of a literal");
  if (capacity < size) {
    expect(error == ToldError{"ERR_BUFFER_SIZE_TOO_SMALL", {decimal(capacity)}}, "too little room");
    expect(room == untouched, "too little room: nothing is written");
    return;
  }
  expect(!error && written == size, "bytes decoded");
  expect(std::equal(expected->begin(), expected->end(), room.begin()), "the bytes decoded");
  expect(std::equal(room.begin() + size, room.end(), untouched.begin()), "the bytes after them");
}

void compareEncoding(const std::string& bytes, bool upperCase) {
  DataBuffer buffer(0);
  buffer.appendBinary(bytes.data(), static_cast<int>(bytes.size()), upperCase);
  std::string expected = "X'";
  for (const char byte : bytes) {
    const std::string& digits = upperCase ? upperDigits : lowerDigits;
    expected += digits[static_cast<unsigned char>(byte) / 16];
    expected += digits[static_cast<unsigned char>(byte) % 16];
  }
  expected += "'";
  if (bytes.empty()) return;
  expect(expected == buffer.getString(), "a literal written");
  compareDecoding(buffer, expected, static_cast<int>(bytes.size()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const bool framed = input.flag();
  const int capacity = static_cast<int>(input.below(600)) - 2;
  // The encoded text, too, fits into the buffer inside the object, whose last byte stays 0.
  std::string text = input.bytes(2000);
  compareEncoding(text, framed);
  if (framed) text = "X'" + text + "'";
  DataBuffer buffer(0);
  buffer.appendString(text.data(), static_cast<int>(text.size()));
  compareDecoding(buffer, text, capacity);
  return 0;
}
