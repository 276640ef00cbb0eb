#pragma once

#include <cstddef>
#include <string>

/// Base64 the slow way, with strings of '0' and '1', to hold the library against. Never for production.
namespace tarvo::test {

enum class Base64Alphabet { standard, safe };

std::u16string modelEncode(Base64Alphabet alphabet, const std::string& bytes);

/// What a decoder leaves behind: the bytes that it wrote, and how it ended.
struct Base64Decoding {
  std::string bytes;
  std::string error;        ///< the identifier; empty when it returned
  std::u16string argument;  ///< the error's argument

  friend bool operator==(const Base64Decoding&, const Base64Decoding&) = default;
};

/// Decodes the whole of `text` into room for `capacity` bytes.
Base64Decoding modelDecode(Base64Alphabet alphabet, const std::u16string& text, std::size_t capacity);

}  // namespace tarvo::test
