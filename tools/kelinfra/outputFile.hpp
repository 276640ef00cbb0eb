#pragma once

#include "fileSystem.hpp"

#include <cstddef>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

/// Files that a command writes.
namespace kelinfra {

/// A file that is written beside the one whose name it takes at the end, so that no other program sees half a
/// file. "-" is the standard output, which gets the bytes at the end, too.
class OutputFile {
 public:
  /// If the name is a symbolic link, the file to which it points is replaced.
  explicit OutputFile(const std::string& name);

  void write(const char* bytes, std::size_t count);

  /// Flushes the new file and gives it the name. It has the owner and the mode of the file that had the name.
  /// Without this call the new file is removed.
  void finish();

 private:
  void copyToStandard() const;

  struct Close {
    void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
  };

  std::optional<NewFile> new_;
  std::unique_ptr<std::FILE, Close> standard_;  ///< the bytes for the standard output
};

}  // namespace kelinfra
