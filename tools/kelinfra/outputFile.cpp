#include "outputFile.hpp"

#include "texts.hpp"

#include <array>
#include <cerrno>
#include <system_error>

namespace kelinfra {

namespace {

[[noreturn]] void failToWriteStandard() {
  const int error = errno;
  fail("KELINFRA_FILE_UNWRITABLE", "<stdout>", std::generic_category().message(error));
}

}  // namespace

OutputFile::OutputFile(const std::string& name) {
  if (name != "-") {
    const std::string target = resolved(name);
    new_.emplace(target, target);
    return;
  }
  standard_.reset(temporaryFile());
  if (standard_ == nullptr) failToWriteStandard();
}

void OutputFile::write(const char* bytes, std::size_t count) {
  if (new_) return new_->write(bytes, count);
  if (std::fwrite(bytes, 1, count, standard_.get()) != count) failToWriteStandard();
}

void OutputFile::finish() {
  if (!new_) return copyToStandard();
  new_->close();
  new_->replaceTarget();
}

void OutputFile::copyToStandard() const {
  std::array<char, 65536> bytes{};
  std::rewind(standard_.get());
  for (std::size_t count = 0; (count = std::fread(bytes.data(), 1, bytes.size(), standard_.get())) > 0;) {
    if (std::fwrite(bytes.data(), 1, count, stdout) != count) failToWriteStandard();
  }
  if (std::ferror(standard_.get()) != 0) failToWriteStandard();
}

}  // namespace kelinfra
