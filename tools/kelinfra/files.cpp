#include "files.hpp"

#include "fileSystem.hpp"
#include "texts.hpp"

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace kelinfra {

namespace {

constexpr std::size_t mostBytes = std::size_t{1} << 30U;

[[noreturn]] void failToRead(const std::string& name, int error) {
  fail("KELINFRA_FILE_UNREADABLE", shownName(name), std::generic_category().message(error));
}

}  // namespace

std::string shownName(const std::string& name) {
  return name == "-" ? "<stdin>" : name;
}

InputFile::InputFile(const std::string& name) : name_(name), file_(name == "-" ? stdin : openToRead(name)) {
  if (file_ == nullptr) failToRead(name_, errno);
}

InputFile::~InputFile() {
  if (file_ != stdin) std::fclose(file_);
}

std::size_t InputFile::read(char* bytes, std::size_t count) const {
  const std::size_t done = std::fread(bytes, 1, count, file_);
  if (std::ferror(file_) != 0) failToRead(name_, errno);
  return done;
}

std::uint64_t InputFile::size() const {
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(std::filesystem::u8path(name_), error);
  return error ? 0 : size;
}

std::string readFile(const std::string& name) {
  const InputFile file(name);
  std::string bytes;
  std::string block(std::size_t{1} << 16U, '\0');
  for (std::size_t count = 0; (count = file.read(block.data(), block.size())) > 0;) {
    if (bytes.size() + count > mostBytes) failToRead(name, EFBIG);
    bytes.append(block, 0, count);
  }
  return bytes;
}

}  // namespace kelinfra
