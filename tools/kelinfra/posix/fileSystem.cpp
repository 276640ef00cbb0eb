#include "fileSystem.hpp"

#include "texts.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <system_error>
#include <utility>

namespace kelinfra {

namespace {

[[noreturn]] void failWith(const char* id, const std::string& name) {
  const int error = errno;
  fail(id, name, std::generic_category().message(error));
}

std::string folderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "./" : path.substr(0, slash + 1);
}

/// Gives the new file the mode of a file that a program creates.
void takeDefaultMode(int descriptor, const std::string& target) {
  const mode_t mask = umask(0);
  umask(mask);
  if (fchmod(descriptor, mode_t{0666} & ~mask) != 0) failWith("KELINFRA_FILE_UNWRITABLE", target);
}

/// The owner comes first, because a change of the owner can remove bits of the mode.
void takeOwnerAndMode(int descriptor, const std::string& model) {
  struct stat status {};
  struct stat own {};
  if (stat(model.c_str(), &status) != 0) {
    if (errno == ENOENT) return takeDefaultMode(descriptor, model);
    failWith("KELINFRA_FILE_UNWRITABLE", model);
  }
  if (!S_ISREG(status.st_mode)) fail("KELINFRA_FILE_NOT_REGULAR", model);
  if (access(model.c_str(), W_OK) != 0 || fstat(descriptor, &own) != 0)
    failWith("KELINFRA_FILE_UNWRITABLE", model);
  const bool isOwn = own.st_uid == status.st_uid && own.st_gid == status.st_gid;
  if (!isOwn && fchown(descriptor, status.st_uid, status.st_gid) != 0) failWith("KELINFRA_FILE_OWNER", model);
  constexpr mode_t permissions = 07777;
  if (fchmod(descriptor, status.st_mode & permissions) != 0) failWith("KELINFRA_FILE_UNWRITABLE", model);
}

/// Flushes the folder, so that the new name survives a loss of power. Some file systems cannot do that.
void flushFolder(const std::string& folder) {
  const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY);
  if (descriptor < 0) return;
  const bool isFlushed = fsync(descriptor) == 0 || errno == EINVAL;
  const int error = errno;
  ::close(descriptor);
  errno = error;
  if (!isFlushed) failWith("KELINFRA_FOLDER_UNWRITABLE", folder);
}

}  // namespace

std::FILE* openToRead(const std::string& name) {
  return std::fopen(name.c_str(), "rb");
}

std::FILE* temporaryFile() {
  return std::tmpfile();
}

std::string resolved(const std::string& name) {
  const std::unique_ptr<char, decltype(&std::free)> path(realpath(name.c_str(), nullptr), std::free);
  return path ? path.get() : name;
}

NewFile::NewFile(const std::string& target) : target_(target), name_(folderOf(target) + ".kelinfra-XXXXXX") {
  std::signal(SIGXFSZ, SIG_IGN);  // a limit of the file's size is an error of write
  descriptor_ = mkstemp(name_.data());
  if (descriptor_ < 0) failWith("KELINFRA_FOLDER_UNWRITABLE", folderOf(target_));
}

NewFile::NewFile(const std::string& target, const std::string& model) : NewFile(target) {
  takeOwnerAndMode(descriptor_, model);
}

NewFile::~NewFile() {
  if (descriptor_ >= 0) ::close(descriptor_);
  if (!name_.empty()) unlink(name_.c_str());
}

void NewFile::write(const char* bytes, std::size_t count) const {
  for (std::size_t done = 0; done < count;) {
    const ssize_t written = ::write(descriptor_, bytes + done, count - done);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) failWith("KELINFRA_FILE_UNWRITABLE", target_);
    done += static_cast<std::size_t>(written);
  }
}

void NewFile::close() {
  const bool isFlushed = fsync(descriptor_) == 0;
  if (!isFlushed || ::close(std::exchange(descriptor_, -1)) != 0)
    failWith("KELINFRA_FILE_UNWRITABLE", target_);
}

void NewFile::replaceTarget() {
  if (std::rename(name_.c_str(), target_.c_str()) != 0) failWith("KELINFRA_FILE_UNWRITABLE", target_);
  name_.clear();
  flushFolder(folderOf(target_));
}

}  // namespace kelinfra
