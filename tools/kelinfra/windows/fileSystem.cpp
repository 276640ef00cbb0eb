#include "fileSystem.hpp"

#include "names.hpp"
#include "texts.hpp"

#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>
#include <windows.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cwchar>
#include <system_error>
#include <utility>

namespace kelinfra {

namespace {

[[noreturn]] void failWith(const char* id, const std::string& name, const std::error_condition& error) {
  fail(id, name, error.message());
}

/// Fails with the error of a call of the C library.
[[noreturn]] void failWith(const char* id, const std::string& name) {
  failWith(id, name, std::generic_category().default_error_condition(errno));
}

/// Fails with the error of a call of Windows.
[[noreturn]] void failOnWindows(const char* id, const std::string& name) {
  const auto error = static_cast<int>(GetLastError());
  failWith(id, name, std::system_category().default_error_condition(error));
}

std::string folderOf(const std::string& path) {
  const std::size_t slash = path.find_last_of("/\\:");
  return slash == std::string::npos ? ".\\" : path.substr(0, slash + 1);
}

bool exists(const std::string& name) {
  return _waccess(wide(name).c_str(), 0) == 0;
}

/// Fails if there is such a file and it is not a regular one that the user may write.
void requireWritable(const std::string& model) {
  struct _stat64 status {};
  if (_wstat64(wide(model).c_str(), &status) != 0) {
    if (errno != ENOENT) failWith("KELINFRA_FILE_UNWRITABLE", model);
    return;
  }
  if ((status.st_mode & S_IFMT) != S_IFREG) fail("KELINFRA_FILE_NOT_REGULAR", model);
  constexpr int forWriting = 2;
  if (_waccess(wide(model).c_str(), forWriting) != 0) failWith("KELINFRA_FILE_UNWRITABLE", model);
}

/// Opens a file that does not exist yet. -1 if that fails.
int create(const std::string& name) {
  int descriptor = -1;
  constexpr int flags = _O_CREAT | _O_EXCL | _O_WRONLY | _O_BINARY | _O_NOINHERIT;
  static_cast<void>(_wsopen_s(&descriptor, wide(name).c_str(), flags, _SH_DENYWR, _S_IREAD | _S_IWRITE));
  return descriptor;
}

/// Differs between two calls at the same time in any processes.
std::string uniqueName() {
  static unsigned count = 0;
  return ".kelinfra-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++count);
}

}  // namespace

std::FILE* openToRead(const std::string& name) {
  return _wfopen(wide(name).c_str(), L"rb");
}

std::FILE* temporaryFile() {
  std::array<wchar_t, MAX_PATH + 1> folder{};
  std::array<wchar_t, MAX_PATH + 1> name{};
  const DWORD length = GetTempPathW(static_cast<DWORD>(folder.size()), folder.data());
  const bool isMade = length != 0 && GetTempFileNameW(folder.data(), L"kel", 0, name.data()) != 0;
  if (isMade) return _wfopen(name.data(), L"w+bTD");  // D: removed when it is closed
  errno = EACCES;
  return nullptr;
}

std::string resolved(const std::string& name) {
  const HANDLE file =
      CreateFileW(wide(name).c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                  OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (file == INVALID_HANDLE_VALUE) return name;
  std::wstring path(32768, L'\0');
  const DWORD length =
      GetFinalPathNameByHandleW(file, path.data(), static_cast<DWORD>(path.size()), VOLUME_NAME_DOS);
  CloseHandle(file);
  if (length == 0 || length >= path.size()) return name;
  // Such as \\?\C:\folder\file. A name on a server keeps the prefix.
  const std::string resolvedName = narrow({path.data(), length});
  const bool hasDrive = resolvedName.size() > 6 && resolvedName[5] == ':';
  return hasDrive ? resolvedName.substr(4) : resolvedName;
}

NewFile::NewFile(const std::string& target) : target_(target) {
  for (int attempt = 0; descriptor_ < 0; ++attempt) {
    name_ = folderOf(target) + uniqueName();
    descriptor_ = create(name_);
    constexpr int mostAttempts = 100;
    if (descriptor_ >= 0) return;
    if (errno != EEXIST || attempt == mostAttempts) failWith("KELINFRA_FOLDER_UNWRITABLE", folderOf(target_));
  }
}

// ReplaceFile keeps the owner and the access list of the target, so the new file needs none.
NewFile::NewFile(const std::string& target, const std::string& model) : NewFile(target) {
  requireWritable(model);
}

NewFile::~NewFile() {
  if (descriptor_ >= 0) _close(descriptor_);
  if (!name_.empty()) _wunlink(wide(name_).c_str());
}

void NewFile::write(const char* bytes, std::size_t count) const {
  constexpr std::size_t most = std::size_t{1} << 24U;
  for (std::size_t done = 0; done < count;) {
    const auto size = static_cast<unsigned>(std::min(count - done, most));
    const int written = _write(descriptor_, bytes + done, size);
    if (written < 0) failWith("KELINFRA_FILE_UNWRITABLE", target_);
    done += static_cast<std::size_t>(written);
  }
}

void NewFile::close() {
  const bool isFlushed = _commit(descriptor_) == 0;
  if (!isFlushed || _close(std::exchange(descriptor_, -1)) != 0)
    failWith("KELINFRA_FILE_UNWRITABLE", target_);
}

void NewFile::replaceTarget() {
  const std::wstring from = wide(name_);
  const std::wstring to = wide(target_);
  const bool isReplaced =
      exists(target_)
          ? ReplaceFileW(to.c_str(), from.c_str(), nullptr, REPLACEFILE_WRITE_THROUGH, nullptr, nullptr) != 0
          : MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_WRITE_THROUGH) != 0;
  if (!isReplaced) failOnWindows("KELINFRA_FILE_UNWRITABLE", target_);
  name_.clear();
}

}  // namespace kelinfra
