#pragma once

#include "infra/oss/kelBaseException.hpp"
#include "infra/oss/kelSocket.hpp"
#include "infra/util/kelExtendedProperties.hpp"

#include <cstddef>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Functions that the programs of the document service share. A client sends documents; the server answers
/// each one with its counts. Both travel as properties text in frames of `Socket::writeMessage`:
///
///     a request    ctor.name      what builds the tokens: "words" or "lines"
///                  ctor.config    its configuration, properties text again: codepage, top
///                  ctor.doc.data  the document's bytes in Base64
///     an answer    characters, tokens, terms, build; term.1, count.1, term.2, ... the most frequent terms
///     a refusal    error.id, error.arguments, error.argument.1, ...: the error that the request met
///
/// Properties text has no way for characters above U+FFFF and skips blanks that begin a value, so terms and
/// arguments travel as their UTF-8 bytes, a character each, in quotes.
namespace documents {

/// How the programs end.
enum ExitStatus : int {
  statusOk = 0,
  statusUsage = 1,
  statusRefused = 2,
  statusConnectionLost = 3,
  statusFrameTooLarge = 4,
  statusTimeOut = 5,
  statusUnknownHost = 6,
  statusOther = 7,
  statusBadRequest = 8
};

/// One line for each status, for --help.
extern const char* const exitStatusHelp;

// --- texts

std::string utf8(const icu::UnicodeString& text);

/// A text of UTF-8 bytes as it travels, and back.
icu::UnicodeString toWire(std::string_view utf8);
std::string fromWire(const icu::UnicodeString& text);

/// The whole file; nothing when it cannot be read.
std::optional<std::string> readFile(const std::string& name);

// --- frames

/// Room for one frame.
class FrameBuffer {
 public:
  // Left as the allocator gives it: pages that no frame reaches are never touched.
  explicit FrameBuffer(std::size_t capacity) : bytes_(new char[capacity]), capacity_(capacity) {}
  char* data() { return bytes_.get(); }
  std::size_t capacity() const { return capacity_; }

 private:
  std::unique_ptr<char[]> bytes_;
  std::size_t capacity_;
};

void sendFrame(tarvo::oss::Socket& socket, std::string_view payload);

/// The next frame, which lives in `buffer`. One that does not fit is read and dropped before the error is
/// raised, so that the next frame can be read.
///   raises   what `Socket::readMessage` raises
///            SocketException ERR_FRAME_CUT_SHORT (host, port, bytes received, frame length): the peer closed
///            in the middle of the frame
std::string_view receiveFrame(tarvo::oss::Socket& socket, FrameBuffer& buffer);

/// The properties as text.
std::string textOf(const tarvo::util::ExtendedProperties& properties);

// --- failures

/// Raises an error of these programs' own, as the library raises its own.
template <class Exception, class... Arguments>
[[noreturn]] void fail(const char* identifier, const char* file, unsigned int line,
                       const Arguments&... arguments) {
  Exception error(identifier, file, line);
  (error.getErrorMessage().addArgument(arguments), ...);
  throw Exception(error);
}

/// A sentence for people, made from the message's identifier and arguments by the programs' catalogue. The
/// library knows no texts; this is where a program keeps its own, in whatever language its users read.
std::string sentenceOf(const tarvo::oss::Message& message);

/// How a program ends because of the message.
ExitStatus statusOf(const tarvo::oss::Message& message);

/// Prints the sentence, the message and, when it is known, where it was raised.
void explain(std::ostream& out, const tarvo::oss::Message& message);

/// The refusal that reports an error to a client, and the error's message read back from it. Arguments hold
/// what the client sent, so the refusal holds only their first 200 characters.
std::string refusalText(const tarvo::oss::Message& message);
std::optional<tarvo::oss::Message> refusalOf(const tarvo::util::ExtendedProperties& answer);

// --- command lines

/// An option "--name NUMBER".
struct NumberOption {
  const char* name;
  unsigned long long* value;
  unsigned long long least;
  unsigned long long most;
};

/// A whole decimal number from `least` to `most`.
std::optional<unsigned long long> parseNumber(std::string_view text, unsigned long long least,
                                              unsigned long long most);

/// Stores the options' numbers and returns the arguments that are left; nothing when an option is wrong,
/// after saying so on the error stream.
std::optional<std::vector<std::string>> parseArguments(const std::vector<std::string>& arguments,
                                                       const std::vector<NumberOption>& options);

/// Runs a program, explains the error that leaves it, and gives the status to end with.
int guarded(int (*run)(const std::vector<std::string>& arguments), int argc, char** argv);

}  // namespace documents
