#pragma once

#include <string>
#include <vector>

/// The command line and the standard streams.
namespace kelinfra {

/// The arguments after the name of the program, in UTF-8.
std::vector<std::string> argumentsOf(int count, const char* const* arguments);

/// While the object exists, the standard streams do not change line ends, and a console shows UTF-8.
class StandardStreams {
 public:
  StandardStreams();
  StandardStreams(const StandardStreams& other) = delete;
  StandardStreams& operator=(const StandardStreams& other) = delete;
  ~StandardStreams();

 private:
  [[maybe_unused]] unsigned codePage_ = 0;  ///< of the console before; only Windows has it
};

constexpr int standardInput = 0;
constexpr int standardOutput = 1;
constexpr int standardError = 2;
/// Whether the stream is a terminal. On Windows, a terminal for output obeys the sequences for colours.
bool isTerminal(int descriptor);

/// Whether the standard output is a terminal that shows colours.
bool showsColours();

enum class Colour { red = 31, yellow = 33 };

/// The text in that colour if the standard output shows colours and NO_COLOR is not set.
std::string coloured(const std::string& text, Colour colour);

}  // namespace kelinfra
