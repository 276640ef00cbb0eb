#include "names.hpp"

#include <windows.h>

namespace kelinfra {

std::wstring wide(std::string_view utf8) {
  const int size = static_cast<int>(utf8.size());
  std::wstring text(utf8.size(), L'\0');  // the text has at most one unit for each byte
  const int count = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, text.data(), size);
  text.resize(static_cast<std::size_t>(count));
  return text;
}

std::string narrow(std::wstring_view utf16) {
  const int size = static_cast<int>(utf16.size());
  std::string text(3 * utf16.size(), '\0');
  const int count = WideCharToMultiByte(CP_UTF8, 0, utf16.data(), size, text.data(),
                                        static_cast<int>(text.size()), nullptr, nullptr);
  text.resize(static_cast<std::size_t>(count));
  return text;
}

}  // namespace kelinfra
