#include "support/kelProcess.hpp"

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string_view>

// Under Wine, Windows programs are started with CreateProcess. The host system's tools, with which some tests
// compare results, are started through the host's shell.

namespace tarvo::test {
namespace {

[[noreturn]] void fail(const std::string& what) {
  throw std::runtime_error(what + ": system error " + std::to_string(::GetLastError()));
}

/// A file with a unique name in the working directory. It is removed at the end of the scope.
class WorkFile {
 public:
  explicit WorkFile(const std::string& contents = "") {
    static std::atomic<int> number{0};
    name_ = "process-" + std::to_string(::GetCurrentProcessId()) + "-" + std::to_string(++number);
    std::ofstream(name_, std::ios::binary) << contents;
  }
  WorkFile(const WorkFile&) = delete;
  WorkFile& operator=(const WorkFile&) = delete;
  ~WorkFile() { std::remove(name_.c_str()); }

  const std::string& name() const { return name_; }

  std::string contents() const {
    std::ifstream file(name_, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  std::string name_;
};

/// A handle that a child process inherits.
class Inherited {
 public:
  Inherited(const WorkFile& file, DWORD access) {
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    handle_ =
        ::CreateFileA(file.name().c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                      &inherited, OPEN_EXISTING, 0, nullptr);
    if (handle_ == INVALID_HANDLE_VALUE) fail("cannot open " + file.name());
  }
  Inherited(const Inherited&) = delete;
  Inherited& operator=(const Inherited&) = delete;
  ~Inherited() { ::CloseHandle(handle_); }

  HANDLE get() const { return handle_; }

 private:
  HANDLE handle_;
};

/// Quotes an argument so that the C runtime of the started program parses it back unchanged.
std::string quoted(const std::string& argument) {
  std::string text = "\"";
  std::size_t backslashes = 0;
  for (const char c : argument) {
    if (c == '"') text.append(backslashes + 1, '\\');
    backslashes = c == '\\' ? backslashes + 1 : 0;
    text += c;
  }
  return text.append(backslashes, '\\') + '"';
}

std::string commandLine(const std::vector<std::string>& command) {
  std::string line;
  for (const std::string& argument : command) line += (line.empty() ? "" : " ") + quoted(argument);
  return line;
}

PROCESS_INFORMATION start(const char* program, const std::vector<std::string>& command, HANDLE in, HANDLE out,
                          HANDLE err) {
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = in;
  startup.hStdOutput = out;
  startup.hStdError = err;
  PROCESS_INFORMATION process = {};
  std::string line = commandLine(command);
  // A test program started from here must run all selected tests. This process has already read which tests
  // it must run itself.
  ::SetEnvironmentVariableA("GTEST_TOTAL_SHARDS", nullptr);
  ::SetEnvironmentVariableA("GTEST_SHARD_INDEX", nullptr);
  if (::CreateProcessA(program, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                       &process) == 0)
    fail("cannot run " + command.front());
  return process;
}

ProcessResult runWindowsProgram(const std::vector<std::string>& command, const std::string& input) {
  const WorkFile in(input);
  const WorkFile out;
  const WorkFile err;
  DWORD status = 0;
  {
    const Inherited from(in, GENERIC_READ);
    const Inherited to(out, GENERIC_WRITE);
    const Inherited errors(err, GENERIC_WRITE);
    const PROCESS_INFORMATION process = start(nullptr, command, from.get(), to.get(), errors.get());
    ::WaitForSingleObject(process.hProcess, INFINITE);
    ::GetExitCodeProcess(process.hProcess, &status);
    ::CloseHandle(process.hThread);
    ::CloseHandle(process.hProcess);
  }
  return {static_cast<int>(status), out.contents(), err.contents()};
}

/// Runs a tool of the host system. Such a tool is not a Wine process, so Wine cannot wait for it: the shell
/// waits and writes its status to a file. The shell then renames that file, so it never appears half written.
ProcessResult runTool(const std::vector<std::string>& command, const std::string& input) {
  const WorkFile in(input);
  const WorkFile out;
  const WorkFile err;
  const WorkFile unfinished;
  const std::string finished = unfinished.name() + "-finished";
  std::vector<std::string> shell = {
      "/bin/sh",
      "-c",
      R"(i=$1 o=$2 e=$3 s=$4; shift 4; "$@" <"$i" >"$o" 2>"$e"; echo $? >"$s"; mv "$s" "$s-finished")",
      "sh",
      in.name(),
      out.name(),
      err.name(),
      unfinished.name()};
  shell.insert(shell.end(), command.begin(), command.end());
  {
    const Inherited nothing(in, GENERIC_READ);
    const Inherited said(err, GENERIC_WRITE);
    start(R"(\\?\unix\bin\sh)", shell, nothing.get(), said.get(), said.get());
  }
  while (::GetFileAttributesA(finished.c_str()) == INVALID_FILE_ATTRIBUTES) ::Sleep(1);
  int status = 0;
  std::ifstream(finished) >> status;
  std::remove(finished.c_str());
  constexpr int notFound = 127;
  constexpr int signalled = 128;
  if (status == notFound) throw std::runtime_error("cannot run " + command.front() + ": " + err.contents());
  return {status > signalled ? -1 : status, out.contents(), err.contents()};
}

}  // namespace

const char* const lineEnd = "\r\n";

ProcessResult runProcess(const std::vector<std::string>& command, const std::string& input) {
  const std::string_view program = command.front();
  return program.ends_with(".exe") ? runWindowsProgram(command, input) : runTool(command, input);
}

}  // namespace tarvo::test
