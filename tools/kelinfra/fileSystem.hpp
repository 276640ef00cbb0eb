#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

/// The calls of the system for files. Names are in UTF-8.
namespace kelinfra {

/// Opens a file for reading. Returns null, and sets errno, if that fails.
std::FILE* openToRead(const std::string& name);

/// An empty file without a name, which the system removes when it is closed. Null if that fails.
std::FILE* temporaryFile();

/// The name without symbolic links, or the name itself if there is no such file.
std::string resolved(const std::string& name);

/// A new file in the folder of another file. It is removed unless it replaces the other file.
class NewFile {
 public:
  /// The new file gets the owner and the mode of `model`. If there is no such file, it gets those of a file
  /// that a program creates. Fails if `model` is not a regular file that the user may write.
  NewFile(const std::string& target, const std::string& model);
  NewFile(const NewFile& other) = delete;
  NewFile& operator=(const NewFile& other) = delete;
  ~NewFile();

  void write(const char* bytes, std::size_t count) const;
  /// Flushes the file to the disk and closes it.
  void close();
  /// Gives the closed file the name of the target.
  void replaceTarget();

 private:
  explicit NewFile(const std::string& target);

  std::string target_;
  std::string name_;     ///< empty after the file has replaced the target
  int descriptor_ = -1;  ///< -1 after the file was closed
};

}  // namespace kelinfra
