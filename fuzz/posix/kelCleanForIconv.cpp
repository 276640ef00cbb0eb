#include "kelCleanForIconv.hpp"

#include <iconv.h>

#include <cstddef>

namespace tarvo::fuzz {

bool isCleanForIconv(const char* codePage, const std::string& bytes) {
  iconv_t const converter = iconv_open("UTF-8", codePage);
  std::string in = bytes;
  std::string out(4 * in.size() + 16, '\0');
  char* source = in.data();
  char* target = out.data();
  std::size_t left = in.size();
  std::size_t room = out.size();
  const bool converted = iconv(converter, &source, &left, &target, &room) != static_cast<std::size_t>(-1);
  iconv_close(converter);
  return converted && left == 0;
}

}  // namespace tarvo::fuzz
