#pragma once

#include <string>

/// Files that a command changes.
namespace kelinfra {

/// A file with the bytes that it had when the command read it. "-" is the standard input, and the standard
/// output for the new bytes.
class EditedFile {
 public:
  explicit EditedFile(const std::string& name);

  const std::string& bytes() const { return bytes_; }
  bool isStandard() const { return target_.empty(); }

  /// Replaces the contents. The new bytes are written to a new file in the same folder, which gets the mode
  /// and the owner of the file, is flushed and then renamed. If the name is a symbolic link, the file to
  /// which it points is replaced. A failure leaves the file as it was. Fails if another program has changed
  /// the file since it was read. `keepBackup` writes the former bytes to a file with "~" after the name.
  void replace(const std::string& bytes, bool keepBackup) const;

 private:
  std::string target_;  ///< without symbolic links; empty for the standard streams
  std::string bytes_;
};

}  // namespace kelinfra
