#pragma once

#include <cstdlib>
#include <string>
#include <vector>

namespace tarvo::test {

/// How a program ended: its exit status and its output.
struct ProcessResult {
  int status;  ///< -1 when a signal ended it
  std::string out;
  std::string err;
};

/// Finds a program on the path, runs it with its arguments and `input`, and waits for its end. Throws
/// std::runtime_error if it cannot be started, so a test that needs a missing tool fails.
ProcessResult runProcess(const std::vector<std::string>& command, const std::string& input = "");

/// Runs a program of this build in the same way. If the build is for another processor, the environment
/// variable KELINFRA_EMULATOR names the emulator that runs the program.
inline ProcessResult runBuilt(std::vector<std::string> command) {
  const char* const emulator = std::getenv("KELINFRA_EMULATOR");  // NOLINT(concurrency-mt-unsafe)
  if (emulator != nullptr && *emulator != '\0') command.insert(command.begin(), emulator);
  return runProcess(command);
}

/// The line end that a program of this platform writes to its standard streams.
extern const char* const lineEnd;

}  // namespace tarvo::test
