#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

/// Files and the standard streams, which are named "-".
namespace kelinfra {

/// A file that is read in pieces.
class InputFile {
 public:
  explicit InputFile(const std::string& name);
  InputFile(const InputFile& other) = delete;
  InputFile& operator=(const InputFile& other) = delete;
  ~InputFile();

  /// Reads the next bytes. Returns fewer than `count` only at the end of the file.
  std::size_t read(char* bytes, std::size_t count) const;

  /// The size of the file; 0 if it is not known.
  std::uint64_t size() const;

 private:
  std::string name_;
  std::FILE* file_;
};

/// The bytes of a file, at most 1 GiB.
std::string readFile(const std::string& name);

/// The name in messages.
std::string shownName(const std::string& name);

}  // namespace kelinfra
