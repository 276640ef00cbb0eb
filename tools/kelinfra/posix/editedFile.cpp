#include "editedFile.hpp"

#include "files.hpp"
#include "texts.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
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

/// The name without symbolic links.
std::string resolved(const std::string& name) {
  const std::unique_ptr<char, decltype(&std::free)> path(realpath(name.c_str(), nullptr), std::free);
  if (!path) failWith("KELINFRA_FILE_UNREADABLE", name);
  return path.get();
}

std::string folderOf(const std::string& path) {
  return path.substr(0, path.rfind('/') + 1);
}

/// The mode and the owner. Fails if the file is not a regular one that the user may write.
struct stat statusOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) failWith("KELINFRA_FILE_UNWRITABLE", path);
  if (!S_ISREG(status.st_mode)) fail("KELINFRA_FILE_NOT_REGULAR", path);
  if (access(path.c_str(), W_OK) != 0) failWith("KELINFRA_FILE_UNWRITABLE", path);
  return status;
}

/// A new file in the folder of another. It is removed unless it replaces the other.
class NewFile {
 public:
  explicit NewFile(const std::string& target)
      : target_(target), name_(folderOf(target) + ".kelinfra-XXXXXX"), descriptor_(mkstemp(name_.data())) {
    if (descriptor_ < 0) failWith("KELINFRA_FOLDER_UNWRITABLE", folderOf(target_));
  }
  NewFile(const NewFile& other) = delete;
  NewFile& operator=(const NewFile& other) = delete;
  ~NewFile() {
    if (descriptor_ >= 0) close(descriptor_);
    if (!isRenamed_) unlink(name_.c_str());
  }

  /// The owner comes first, because a change of the owner can remove bits of the mode.
  void takeOwnerAndMode(const struct stat& status) const {
    struct stat own {};
    if (fstat(descriptor_, &own) != 0) failWith("KELINFRA_FILE_UNWRITABLE", target_);
    const bool isOwn = own.st_uid == status.st_uid && own.st_gid == status.st_gid;
    if (!isOwn && fchown(descriptor_, status.st_uid, status.st_gid) != 0)
      failWith("KELINFRA_FILE_OWNER", target_);
    constexpr mode_t permissions = 07777;
    if (fchmod(descriptor_, status.st_mode & permissions) != 0) failWith("KELINFRA_FILE_UNWRITABLE", target_);
  }

  void write(const std::string& bytes) {
    for (std::size_t done = 0; done < bytes.size();) {
      const ssize_t count = ::write(descriptor_, bytes.data() + done, bytes.size() - done);
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) failWith("KELINFRA_FILE_UNWRITABLE", target_);
      done += static_cast<std::size_t>(count);
    }
    const bool isFlushed = fsync(descriptor_) == 0;
    if (!isFlushed || close(std::exchange(descriptor_, -1)) != 0)
      failWith("KELINFRA_FILE_UNWRITABLE", target_);
  }

  void replaceTarget() {
    if (rename(name_.c_str(), target_.c_str()) != 0) failWith("KELINFRA_FILE_UNWRITABLE", target_);
    isRenamed_ = true;
  }

 private:
  std::string target_;
  std::string name_;
  int descriptor_;
  bool isRenamed_ = false;
};

/// Flushes the folder, so that the new name survives a loss of power. Some file systems cannot do that.
void flushFolder(const std::string& folder) {
  const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY);
  if (descriptor < 0) return;
  const bool isFlushed = fsync(descriptor) == 0 || errno == EINVAL;
  const int error = errno;
  close(descriptor);
  errno = error;
  if (!isFlushed) failWith("KELINFRA_FOLDER_UNWRITABLE", folder);
}

}  // namespace

EditedFile::EditedFile(const std::string& name)
    : target_(name == "-" ? "" : resolved(name)), bytes_(readFile(name == "-" ? name : target_)) {}

void EditedFile::replace(const std::string& bytes, bool keepBackup) const {
  if (isStandard()) {
    std::fwrite(bytes.data(), 1, bytes.size(), stdout);
    return;
  }
  std::signal(SIGXFSZ, SIG_IGN);  // a limit of the file's size is an error of write
  const struct stat status = statusOf(target_);
  const auto write = [&](const std::string& target, const std::string& contents) {
    NewFile file(target);
    file.takeOwnerAndMode(status);
    file.write(contents);
    if (readFile(target_) != bytes_) fail("KELINFRA_FILE_CHANGED", target_);
    file.replaceTarget();
  };
  if (keepBackup) write(target_ + "~", bytes_);
  write(target_, bytes);
  flushFolder(folderOf(target_));
}

}  // namespace kelinfra
