#pragma once

#include <unicode/unistr.h>

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <system_error>
#include <type_traits>
#include <version>

#if !defined(_LIBCPP_VERSION)
U_NAMESPACE_BEGIN

// The following declaration is a copy of the declaration in ICU's header for streams. ICU's header is not
// included, because it includes <iostream>, which would construct the standard streams when the library is
// loaded.
U_IO_API std::ostream& U_EXPORT2 operator<<(std::ostream& stream, const UnicodeString& text);

U_NAMESPACE_END
#endif

/// Parts of C++20 that libc++ lacks, and a replacement for ICU's output to a stream. ICU is built with
/// libstdc++, so its function accepts only streams of libstdc++.
namespace tarvo::platform {

/// Reads a double as std::from_chars does. If the standard library has no such function, `readDouble` reports
/// that the text is not a number; the caller must then read the text in another way.
inline std::from_chars_result readDouble(const char* first, [[maybe_unused]] const char* last,
                                         [[maybe_unused]] double& value) {
#if defined(__cpp_lib_to_chars)
  return std::from_chars(first, last, value);
#else
  return {first, std::errc::invalid_argument};
#endif
}

/// Does the same as std::make_unique_for_overwrite: allocates an array whose elements are not initialised.
template <class Array>
std::unique_ptr<Array> makeUniqueForOverwrite(std::size_t count) {
#if defined(__cpp_lib_smart_ptr_for_overwrite)
  return std::make_unique_for_overwrite<Array>(count);
#else
  return std::unique_ptr<Array>(new std::remove_extent_t<Array>[count]);
#endif
}

/// Prints the text in ICU's default code page.
inline void print(std::ostream& out, const icu::UnicodeString& text) {
#if defined(_LIBCPP_VERSION)
  const auto size = static_cast<std::size_t>(text.extract(0, text.length(), static_cast<char*>(nullptr), 0U));
  std::string bytes(size, '\0');
  text.extract(0, text.length(), bytes.data(), static_cast<std::uint32_t>(bytes.size()));
  out << bytes;
#else
  out << text;
#endif
}

}  // namespace tarvo::platform
