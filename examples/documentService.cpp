#include "documentService.hpp"

#include "infra/oss/kelSocketException.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <iostream>
#include <iterator>

namespace documents {

using tarvo::oss::BaseException;
using tarvo::oss::Message;
using tarvo::oss::Socket;
using tarvo::oss::SocketException;

const char* const exitStatusHelp =
    "Exit status:\n"
    "  0  everything went well\n"
    "  1  the command line is wrong, or a file cannot be read\n"
    "  2  the connection was refused: nobody listens there\n"
    "  3  the connection was lost: reset, or closed where an answer was due\n"
    "  4  a frame is larger than the reader's limit\n"
    "  5  a time-out\n"
    "  6  the host name is unknown\n"
    "  7  any other network error, or an answer that does not fit the document\n";

// --- documents
// ----------------------------------------------------------------------------------------------

namespace {

constexpr std::array<std::uint32_t, 256> makeCrcTable() {
  constexpr std::uint32_t reversedPolynomial = 0xEDB88320;
  std::array<std::uint32_t, 256> table{};
  for (std::uint32_t byte = 0; byte < table.size(); ++byte) {
    std::uint32_t remainder = byte;
    for (int bit = 0; bit < 8; ++bit)
      remainder = (remainder & 1) != 0 ? remainder >> 1 ^ reversedPolynomial : remainder >> 1;
    table[byte] = remainder;
  }
  return table;
}

constexpr std::array<std::uint32_t, 256> crcTable = makeCrcTable();

constexpr std::uint32_t crc32(std::string_view bytes) {
  std::uint32_t crc = 0xFFFFFFFF;
  for (const char byte : bytes) crc = crc >> 8 ^ crcTable[(crc ^ static_cast<unsigned char>(byte)) & 0xFF];
  return ~crc;
}

static_assert(crc32("123456789") == 0xCBF43926, "the value that every description of this CRC gives");

}  // namespace

Summary summarise(std::string_view document) {
  return {document.size(),
          static_cast<unsigned long long>(std::count(document.begin(), document.end(), '\n')),
          crc32(document)};
}

std::string hexadecimal(std::uint32_t crc) {
  std::string digits(8, '0');
  for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit, crc >>= 4)
    *digit = "0123456789ABCDEF"[crc & 0xF];
  return digits;
}

std::string answerText(const Summary& summary) {
  return "bytes " + std::to_string(summary.bytes) + "\nlines " + std::to_string(summary.lines) + "\ncrc32 " +
         hexadecimal(summary.crc) + "\n";
}

// --- frames
// -------------------------------------------------------------------------------------------------

void sendFrame(Socket& socket, std::string_view payload) {
  socket.writeMessage(payload.data(), 0, payload.size());
}

std::string_view receiveFrame(Socket& socket, FrameBuffer& buffer) {
  unsigned long long length = 0;
  const unsigned long long got = socket.readMessage(buffer.data(), &length, 0, buffer.capacity(), true);
  if (got < length) {
    SocketException error("ERR_FRAME_CUT_SHORT", "documentService.cpp", __LINE__);
    Message& message = error.getErrorMessage();
    message.addArgument(socket.getHost());
    message.addArgument(socket.getPort());
    message.addArgument(got);
    message.addArgument(length);
    throw SocketException(error);
  }
  return {buffer.data(), static_cast<std::size_t>(got)};
}

// --- failures
// -----------------------------------------------------------------------------------------------

std::string utf8(const icu::UnicodeString& text) {
  std::string bytes;
  return text.toUTF8String(bytes);
}

std::string identifierOf(const BaseException& error) {
  return utf8(error.getErrorMessage().getMessageID());
}

std::string messageLine(const BaseException& error) {
  icu::UnicodeString line;
  return utf8(error.getErrorMessage().toString(line));
}

Meaning meaningOf(const BaseException& error) {
  struct Entry {
    std::string_view identifier;
    Meaning meaning;
  };
  static constexpr Entry catalogue[] = {
      {"QN_ERR_SOCKET_CONNECTION_REFUSED",
       {"The connection was refused: nobody listens there.", statusRefused}},
      {"QN_ERR_SOCKET_CONNECTION_RESET", {"The other side reset the connection.", statusConnectionLost}},
      {"ERR_SOCKET_CLOSED", {"The other side closed the connection.", statusConnectionLost}},
      {"ERR_FRAME_CUT_SHORT",
       {"The other side closed the connection in the middle of a frame.", statusConnectionLost}},
      {"QN_ERR_SOCKET_NOT_CONNECTED", {"The connection is gone.", statusConnectionLost}},
      {"QN_ERR_SOCKET_SHUTDOWN", {"The connection is gone.", statusConnectionLost}},
      {"ERR_DEST_BUFFER_TOO_SMALL", {"The frame is larger than the limit.", statusFrameTooLarge}},
      {"ERR_SOCKET_TIMEOUT", {"Nothing came within the time-out.", statusTimeOut}},
      {"QN_ERR_SOCKET_TIMEOUT", {"Nothing moved within the time-out.", statusTimeOut}},
      {"ERR_SOCKET_GETADDRINFO_ERROR", {"The host name is unknown.", statusUnknownHost}},
      {"ERR_SOCKET_NOT_CONNECTED", {"None of the host's addresses can be reached.", statusOther}},
      {"QN_ERR_SOCKET_ADDRESS_IN_USE", {"Another program has the port.", statusOther}},
  };
  const std::string identifier = identifierOf(error);
  const auto* const found = std::find_if(std::begin(catalogue), std::end(catalogue),
                                         [&](const Entry& entry) { return entry.identifier == identifier; });
  return found == std::end(catalogue) ? Meaning{"The network failed.", statusOther} : found->meaning;
}

void explain(std::ostream& out, const BaseException& error) {
  const Message& message = error.getErrorMessage();
  out << meaningOf(error).heading << '\n'
      << "    message  " << messageLine(error) << '\n'
      << "    raised   " << utf8(message.getFileName()) << ", line " << message.getLineNumber() << '\n';
}

// --- command lines
// ------------------------------------------------------------------------------------------

std::optional<unsigned long long> parseNumber(std::string_view text, unsigned long long least,
                                              unsigned long long most) {
  unsigned long long number = 0;
  const char* const end = text.data() + text.size();
  const std::from_chars_result result = std::from_chars(text.data(), end, number);
  if (result.ec != std::errc() || result.ptr != end || number < least || number > most) return std::nullopt;
  return number;
}

std::optional<std::vector<std::string>> parseArguments(const std::vector<std::string>& arguments,
                                                       const std::vector<NumberOption>& options) {
  std::vector<std::string> plain;
  for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
    if (argument->rfind("--", 0) != 0) {
      plain.push_back(*argument);
      continue;
    }
    const auto option = std::find_if(options.begin(), options.end(),
                                     [&](const NumberOption& known) { return *argument == known.name; });
    if (option == options.end()) {
      std::cerr << "unknown option " << *argument << '\n';
      return std::nullopt;
    }
    const bool last = std::next(argument) == arguments.end();
    const auto number = last ? std::nullopt : parseNumber(*++argument, option->least, option->most);
    if (!number) {
      std::cerr << option->name << " takes a number from " << option->least << " to " << option->most << '\n';
      return std::nullopt;
    }
    *option->value = *number;
  }
  return plain;
}

}  // namespace documents
