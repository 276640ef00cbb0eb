#pragma once

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

/// What a line ends with that a program of this platform writes to its standard streams.
extern const char* const lineEnd;

}  // namespace tarvo::test
