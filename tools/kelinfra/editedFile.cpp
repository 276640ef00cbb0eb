#include "editedFile.hpp"

#include "fileSystem.hpp"
#include "files.hpp"
#include "texts.hpp"

#include <cstdio>

namespace kelinfra {

EditedFile::EditedFile(const std::string& name)
    : target_(name == "-" ? "" : resolved(name)), bytes_(readFile(name == "-" ? name : target_)) {}

void EditedFile::replace(const std::string& bytes, bool keepBackup) const {
  if (isStandard()) {
    std::fwrite(bytes.data(), 1, bytes.size(), stdout);
    return;
  }
  const auto write = [&](const std::string& target, const std::string& contents) {
    NewFile file(target, target_);
    file.write(contents.data(), contents.size());
    file.close();
    if (readFile(target_) != bytes_) fail("KELINFRA_FILE_CHANGED", target_);
    file.replaceTarget();
  };
  if (keepBackup) write(target_ + "~", bytes_);
  write(target_, bytes);
}

}  // namespace kelinfra
