#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

/// The code pages that the fuzzers of conversions share.
namespace tarvo::fuzz {

/// Code pages with several bytes for some characters. Some of these code pages have states.
constexpr std::array multiByteCodePages = {
    "CESU-8",    "UTF-7",  "IMAP-mailbox-name", "SCSU", "BOCU-1",
    "Shift_JIS", "EUC-JP", "GB18030",           "Big5", "EUC-KR",
};

template <std::size_t... sizes>
constexpr auto joined(const std::array<const char*, sizes>&... parts) {
  std::array<const char*, (sizes + ...)> all{};
  auto end = all.begin();
  ((end = std::copy(parts.begin(), parts.end(), end)), ...);
  return all;
}

}  // namespace tarvo::fuzz
