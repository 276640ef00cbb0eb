#pragma once

#include <cstddef>
#include <string>

/// A slow model of base64, which works on strings of '0' and '1'. Tests compare the library with it.
namespace tarvo::test {

enum class Base64Alphabet { standard, safe };

std::u16string modelEncode(Base64Alphabet alphabet, const std::string& bytes);

/// The result of a decoder: the bytes written, and the error if there was one.
struct Base64Decoding {
  std::string bytes;
  std::string error;        ///< the identifier; empty if decoding succeeded
  std::u16string argument;  ///< the error's argument

  friend bool operator==(const Base64Decoding&, const Base64Decoding&) = default;
};

/// Decodes all of `text` into a buffer of `capacity` bytes.
Base64Decoding modelDecode(Base64Alphabet alphabet, const std::u16string& text, std::size_t capacity);

}  // namespace tarvo::test
