#pragma once

#include <cstdlib>
#include <string>
#include <vector>

namespace tarvo::test {

/// How a program ended: its exit status, and all that it wrote.
struct ProcessResult {
  int status;  ///< -1 when a signal ended it
  std::string out;
  std::string err;
};

/// Runs a program, looked up on the path, with its arguments, feeds it `input` and waits for its end. Throws
/// std::runtime_error when it cannot be started: a test that needs a tool fails without it.
ProcessResult runProcess(const std::vector<std::string>& command, const std::string& input = "");

/// The same with a program of this build. If it is for another processor, the environment variable
/// KELINFRA_EMULATOR names a program that starts it.
inline ProcessResult runBuilt(std::vector<std::string> command) {
  const char* const emulator = std::getenv("KELINFRA_EMULATOR");  // NOLINT(concurrency-mt-unsafe)
  if (emulator != nullptr && *emulator != '\0') command.insert(command.begin(), emulator);
  return runProcess(command);
}

/// What a line ends with that a program of this platform writes to its standard streams.
extern const char* const lineEnd;

}  // namespace tarvo::test
