#pragma once

#include "infra/oss/kelBaseException.hpp"
#include "infra/oss/kelSocket.hpp"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What the programs of the document service share. A client sends documents, the server answers each with
/// what it counted. Both travel as frames of `Socket::writeMessage`:
///
///     a document   its bytes, as they are
///     an answer    "bytes 1234\nlines 56\ncrc32 CBF43926\n"
///     a refusal    "refused ERR_DEST_BUFFER_TOO_SMALL: [] - [1024] [2000]": the server's error, rendered
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
  statusOther = 7
};

/// One line for each status, for --help.
extern const char* const exitStatusHelp;

// --- documents
// ----------------------------------------------------------------------------------------------

struct Summary {
  unsigned long long bytes = 0;
  unsigned long long lines = 0;  ///< line ends: a last line without one does not count
  std::uint32_t crc = 0;         ///< CRC-32 of IEEE 802.3
};

Summary summarise(std::string_view document);
std::string hexadecimal(std::uint32_t crc);
std::string answerText(const Summary& summary);
constexpr std::string_view refusalPrefix = "refused ";

// --- frames
// -------------------------------------------------------------------------------------------------

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

// --- failures
// -----------------------------------------------------------------------------------------------

std::string utf8(const icu::UnicodeString& text);
std::string identifierOf(const tarvo::oss::BaseException& error);
std::string messageLine(const tarvo::oss::BaseException& error);

/// The programs' message catalogue: what an error means to a person, and how a program ends because of it.
struct Meaning {
  const char* heading;
  ExitStatus status;
};
Meaning meaningOf(const tarvo::oss::BaseException& error);

/// Prints the heading, the message and where it was raised.
void explain(std::ostream& out, const tarvo::oss::BaseException& error);

// --- command lines
// ------------------------------------------------------------------------------------------

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

}  // namespace documents
