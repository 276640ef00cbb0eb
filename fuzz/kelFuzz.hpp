#pragma once

#include "infra/oss/kelBaseException.hpp"

#include <unicode/unistr.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

/// Functions that all fuzzers share.
namespace tarvo::fuzz {

/// Ends the run if the library and the model differ; the fuzzer then keeps the input.
inline void expect(bool agreed, const char* what) {
  if (agreed) return;
  std::fprintf(stderr, "the library and the model differ: %s\n", what);
  std::abort();
}

inline std::u16string units(const icu::UnicodeString& text) {
  return {text.getBuffer(), static_cast<std::size_t>(text.length())};
}

inline icu::UnicodeString unicode(const std::u16string& text) {
  return {text.data(), static_cast<std::int32_t>(text.size())};
}

/// An error of the library, as its first message describes it.
struct ToldError {
  std::string identifier;
  std::vector<std::u16string> arguments;

  friend bool operator==(const ToldError&, const ToldError&) = default;
};

/// The error with which `action` ends; nothing if it returns. Any other exception ends the run.
template <class Action>
std::optional<ToldError> errorOf(Action action) {
  try {
    action();
    return std::nullopt;
  } catch (const oss::BaseException& error) {
    const oss::Message& message = error.getErrorMessage();
    ToldError told;
    message.getMessageID().toUTF8String(told.identifier);
    for (const icu::UnicodeString& argument : message.getMessageArgs()) {
      told.arguments.push_back(units(argument));
    }
    return told;
  }
}

inline std::u16string decimal(long long number) {
  const std::string digits = std::to_string(number);
  return {digits.begin(), digits.end()};
}

/// The fuzzer's bytes, read from the front; zeros after the end.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : next_(data), left_(size) {}

  bool isEmpty() const { return left_ == 0; }

  unsigned int byte() {
    if (left_ == 0) return 0;
    --left_;
    return *next_++;
  }
  unsigned int word() {
    const unsigned int low = byte();
    return low | byte() << 8;
  }
  /// A number below `limit`, which is at most 65536.
  unsigned int below(unsigned int limit) { return (limit <= 256 ? byte() : word()) % limit; }
  bool flag() { return byte() % 2 == 1; }

  /// Returns fewer bytes if the input ends before.
  std::string bytes(std::size_t count) {
    const std::size_t taken = std::min(count, left_);
    std::string all(next_, next_ + taken);
    next_ += taken;
    left_ -= taken;
    return all;
  }
  std::string rest() { return bytes(left_); }

 private:
  const std::uint8_t* next_;
  std::size_t left_;
};

}  // namespace tarvo::fuzz
