#include "support/kelProcess.hpp"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string_view>

namespace tarvo::test {
namespace {

struct Close {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Close>;

/// A temporary file. Files are used instead of pipes, so that neither side can block because the other does
/// not read.
File temporary(const std::string& contents = "") {
  File file(std::tmpfile());
  if (file == nullptr) throw std::runtime_error("cannot make a temporary file");
  if (std::fwrite(contents.data(), 1, contents.size(), file.get()) != contents.size())
    throw std::runtime_error("cannot write a temporary file");
  std::rewind(file.get());
  return file;
}

std::string contentsOf(const File& file) {
  std::rewind(file.get());
  std::string contents;
  char piece[4096];
  while (const std::size_t count = std::fread(piece, 1, sizeof piece, file.get()))
    contents.append(piece, count);
  return contents;
}

/// The environment without the test shard, so that a test program started from here runs all selected tests.
std::vector<char*> environment() {
  std::vector<char*> entries;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string_view text(*entry);
    if (!text.starts_with("GTEST_TOTAL_SHARDS=") && !text.starts_with("GTEST_SHARD_INDEX="))
      entries.push_back(*entry);
  }
  entries.push_back(nullptr);
  return entries;
}

pid_t start(const std::vector<std::string>& command, const File& in, const File& out, const File& err) {
  std::vector<char*> arguments;
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, fileno(in.get()), STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, fileno(out.get()), STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, fileno(err.get()), STDERR_FILENO);
  pid_t pid = 0;
  const int code =
      posix_spawnp(&pid, arguments.front(), &actions, nullptr, arguments.data(), environment().data());
  posix_spawn_file_actions_destroy(&actions);
  if (code != 0) throw std::runtime_error("cannot run " + command.front() + ": " + std::strerror(code));
  return pid;
}

}  // namespace

const char* const lineEnd = "\n";

ProcessResult runProcess(const std::vector<std::string>& command, const std::string& input) {
  const File in = temporary(input);
  const File out = temporary();
  const File err = temporary();
  const pid_t pid = start(command, in, out, err);
  int status = 0;
  while (waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) throw std::runtime_error("cannot wait for " + command.front());
  }
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contentsOf(out), contentsOf(err)};
}

}  // namespace tarvo::test
