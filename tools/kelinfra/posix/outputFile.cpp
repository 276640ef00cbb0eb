#include "outputFile.hpp"

#include "texts.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <system_error>

namespace kelinfra {

namespace {

constexpr const char* standard = "<stdout>";

[[noreturn]] void failToWrite(const std::string& name) {
  const int error = errno;
  fail("KELINFRA_FILE_UNWRITABLE", name, std::generic_category().message(error));
}

/// The name without symbolic links, or the name itself if there is no such file yet.
std::string resolved(const std::string& name) {
  const std::unique_ptr<char, decltype(&std::free)> path(realpath(name.c_str(), nullptr), std::free);
  if (!path && errno != ENOENT) failToWrite(name);
  return path ? std::string(path.get()) : name;
}

/// Gives the new file the owner and the mode of the file that has the name, or the mode of a file that a
/// program creates. Fails if the file that has the name is not a regular one that the user may write.
bool takeOwnerAndMode(int descriptor, const std::string& name) {
  struct stat status {};
  struct stat own {};
  if (stat(name.c_str(), &status) != 0) {
    const mode_t mask = umask(0);
    umask(mask);
    return fchmod(descriptor, mode_t{0666} & ~mask) == 0;
  }
  if (!S_ISREG(status.st_mode)) fail("KELINFRA_FILE_NOT_REGULAR", name);
  if (access(name.c_str(), W_OK) != 0 || fstat(descriptor, &own) != 0) return false;
  const bool isOwn = own.st_uid == status.st_uid && own.st_gid == status.st_gid;
  return (isOwn || fchown(descriptor, status.st_uid, status.st_gid) == 0) &&
         fchmod(descriptor, status.st_mode & mode_t{07777}) == 0;
}

}  // namespace

OutputFile::OutputFile(const std::string& name) {
  if (name == "-") {
    file_.reset(std::tmpfile());
    if (file_ == nullptr) failToWrite(standard);
    return;
  }
  target_ = resolved(name);
  new_.name = target_.substr(0, target_.rfind('/') + 1) + ".kelinfra-XXXXXX";
  const int descriptor = mkstemp(new_.name.data());
  if (descriptor < 0) failToWrite(name);
  file_.reset(fdopen(descriptor, "wb"));
  if (file_ == nullptr || !takeOwnerAndMode(descriptor, target_)) failToWrite(name);
}

void OutputFile::write(const char* bytes, std::size_t count) {
  if (std::fwrite(bytes, 1, count, file_.get()) != count) failToWrite(target_.empty() ? standard : target_);
}

void OutputFile::finish() {
  if (target_.empty()) return copyToStandard();
  const bool isFlushed = std::fflush(file_.get()) == 0 && fsync(fileno(file_.get())) == 0;
  if (!isFlushed || std::fclose(file_.release()) != 0) failToWrite(target_);
  if (std::rename(new_.name.c_str(), target_.c_str()) != 0) failToWrite(target_);
  new_.name.clear();
}

void OutputFile::copyToStandard() const {
  std::array<char, 65536> bytes{};
  std::rewind(file_.get());
  for (std::size_t count = 0; (count = std::fread(bytes.data(), 1, bytes.size(), file_.get())) > 0;) {
    if (std::fwrite(bytes.data(), 1, count, stdout) != count) failToWrite(standard);
  }
  if (std::ferror(file_.get()) != 0) failToWrite(standard);
}

}  // namespace kelinfra
