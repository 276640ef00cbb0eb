#pragma once

#include <sys/types.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace tarvo::load {

/// A program that answers each line with a line.
///
///     Child client({"kelinfra_load_client", "4711", "0"});
///     client.ask("connect 100");   // "connected 100"
///
/// Every wait has a limit, so that a program that hangs is reported.
class Child {
 public:
  explicit Child(const std::vector<std::string>& command);
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  /// Ends the program.
  ~Child();

  void say(const std::string& line);
  /// The next line. Throws std::runtime_error when none comes within the limit, or the program has ended.
  std::string hear();
  std::string ask(const std::string& line);
  /// Throws std::runtime_error unless the next line is this one.
  void expect(const std::string& line);

 private:
  std::string name_;
  pid_t pid_ = 0;
  int in_ = -1;
  int out_ = -1;
  std::string heard_;
};

}  // namespace tarvo::load
