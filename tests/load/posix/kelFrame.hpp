#pragma once

#include "infra/oss/kelBaseException.hpp"

#include "support/kelPeer.hpp"

#include <unicode/unistr.h>

#include <cstddef>
#include <string>

namespace tarvo::load {

/// A frame's bytes: the length word, then the payload.
inline std::string frameOf(const std::string& payload) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(payload.size() >> shift & 0xFF);
  return bytes + payload;
}

/// The payload of the `round`-th frame of connection `connection`. Frames that could be confused differ.
inline std::string payloadOf(std::size_t connection, std::size_t round, std::size_t length) {
  return test::pattern(connection * 7919 + round * 104729, length);
}

/// An error as "IDENTIFIER argument argument ...".
inline std::string textOf(const oss::BaseException& error) {
  const oss::Message& message = error.getErrorMessage();
  icu::UnicodeString text = message.getMessageID();
  for (const icu::UnicodeString& argument : message.getMessageArgs()) text.append(u' ').append(argument);
  std::string utf8;
  return text.toUTF8String(utf8);
}

}  // namespace tarvo::load
