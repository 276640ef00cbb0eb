#pragma once

#include <string>

namespace tarvo::fuzz {

/// Converts the bytes to UTF-8 with the C library's `iconv`, and returns whether that succeeds.
bool isCleanForIconv(const char* codePage, const std::string& bytes);

}  // namespace tarvo::fuzz
