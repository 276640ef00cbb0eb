#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>

/// Files that a command writes.
namespace kelinfra {

/// A file that is written beside the one whose name it takes at the end, so that no other program sees half a
/// file. "-" is the standard output, which gets the bytes at the end, too.
class OutputFile {
 public:
  /// If the name is a symbolic link, the file to which it points is replaced.
  explicit OutputFile(const std::string& name);
  OutputFile(const OutputFile& other) = delete;
  OutputFile& operator=(const OutputFile& other) = delete;
  /// The new file is removed unless it was finished.
  ~OutputFile() = default;

  void write(const char* bytes, std::size_t count);

  /// Flushes the new file and gives it the name. It has the owner and the mode of the file that had the name.
  void finish();

 private:
  void copyToStandard() const;

  struct Close {
    void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
  };
  struct NewFile {
    NewFile() = default;
    NewFile(const NewFile& other) = delete;
    NewFile& operator=(const NewFile& other) = delete;
    ~NewFile() {
      if (!name.empty()) static_cast<void>(std::remove(name.c_str()));
    }
    std::string name;
  };

  std::string target_;  ///< empty for the standard output
  NewFile new_;
  std::unique_ptr<std::FILE, Close> file_;
};

}  // namespace kelinfra
