#include "files.hpp"

#include "texts.hpp"

#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>

namespace kelinfra {

namespace {

constexpr std::size_t mostBytes = std::size_t{1} << 30U;

struct Close {
  void operator()(std::FILE* file) const {
    if (file != stdin) std::fclose(file);
  }
};

[[noreturn]] void failToRead(const std::string& name, int error) {
  fail("KELINFRA_FILE_UNREADABLE", shownName(name), std::generic_category().message(error));
}

}  // namespace

std::string shownName(const std::string& name) {
  return name == "-" ? "<stdin>" : name;
}

std::string readFile(const std::string& name) {
  const std::unique_ptr<std::FILE, Close> file(name == "-" ? stdin : std::fopen(name.c_str(), "rb"));
  if (!file) failToRead(name, errno);
  std::string bytes;
  std::string block(std::size_t{1} << 16U, '\0');
  for (std::size_t count = 0; (count = std::fread(block.data(), 1, block.size(), file.get())) > 0;) {
    if (bytes.size() + count > mostBytes) failToRead(name, EFBIG);
    bytes.append(block, 0, count);
  }
  if (std::ferror(file.get()) != 0) failToRead(name, errno);
  return bytes;
}

}  // namespace kelinfra
