#pragma once

#include <string>
#include <string_view>

/// Texts of the system, which are in UTF-16.
namespace kelinfra {

std::wstring wide(std::string_view utf8);
std::string narrow(std::wstring_view utf16);

}  // namespace kelinfra
