#include "documentService.hpp"

#include "infra/oss/kelOutputStream.hpp"
#include "infra/oss/kelSocketException.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>

namespace documents {

using tarvo::oss::BaseException;
using tarvo::oss::Message;
using tarvo::oss::Socket;
using tarvo::oss::SocketException;
using tarvo::util::ExtendedProperties;

const char* const exitStatusHelp =
    "Exit status:\n"
    "  0  everything went well\n"
    "  1  the command line is wrong, or a file cannot be read\n"
    "  2  the connection was refused: nobody listens there\n"
    "  3  the connection was lost: reset, or closed where an answer was due\n"
    "  4  a frame is larger than the reader's limit\n"
    "  5  a timeout\n"
    "  6  the host name is unknown\n"
    "  7  any other error of the network or of the system\n"
    "  8  a request or a settings file is wrong\n";

// --- texts

std::string utf8(const icu::UnicodeString& text) {
  std::string bytes;
  return text.toUTF8String(bytes);
}

icu::UnicodeString toWire(std::string_view utf8) {
  icu::UnicodeString text(u'"');
  for (const char byte : utf8) text.append(static_cast<char16_t>(static_cast<unsigned char>(byte)));
  return text.append(u'"');
}

std::string fromWire(const icu::UnicodeString& text) {
  std::string bytes;
  for (int i = 1; i < text.length() - 1; ++i) bytes.push_back(static_cast<char>(text[i]));
  return bytes;
}

std::optional<std::string> readFile(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  std::string bytes;
  std::array<char, 65536> chunk;
  while (file.read(chunk.data(), chunk.size()) || file.gcount() > 0) {
    bytes.append(chunk.data(), static_cast<std::size_t>(file.gcount()));
  }
  if (!file.is_open() || file.bad()) return std::nullopt;
  return bytes;
}

// --- frames

void sendFrame(Socket& socket, std::string_view payload) {
  socket.writeMessage(payload.data(), 0, payload.size());
}

std::string_view receiveFrame(Socket& socket, FrameBuffer& buffer) {
  unsigned long long length = 0;
  const unsigned long long got = socket.readMessage(buffer.data(), &length, 0, buffer.capacity(), true);
  if (got < length) {
    fail<SocketException>("ERR_FRAME_CUT_SHORT", "documentService.cpp", __LINE__, socket.getHost(),
                          socket.getPort(), got, length);
  }
  return {buffer.data(), static_cast<std::size_t>(got)};
}

std::string textOf(const ExtendedProperties& properties) {
  class StringStream : public tarvo::oss::OutputStream {
   public:
    using OutputStream::write;
    void write(char byte) override { bytes.push_back(byte); }
    std::string bytes;
  };
  StringStream stream;
  properties.save(stream);
  return stream.bytes;
}

// --- failures

namespace {

struct Entry {
  std::string_view identifier;
  const char* sentence;  // {1} stands for the first argument
  ExitStatus status;
};

constexpr Entry catalogue[] = {
    {"QN_ERR_SOCKET_CONNECTION_REFUSED", "Nobody listens at port {2} of {1}.", statusRefused},
    {"QN_ERR_SOCKET_CONNECTION_RESET", "The other side reset the connection.", statusConnectionLost},
    {"ERR_SOCKET_CLOSED", "The other side closed the connection.", statusConnectionLost},
    {"ERR_FRAME_CUT_SHORT",
     "The other side closed the connection in the middle of a frame, after {3} of {4} bytes.",
     statusConnectionLost},
    {"QN_ERR_SOCKET_NOT_CONNECTED", "The connection is gone.", statusConnectionLost},
    {"QN_ERR_SOCKET_SHUTDOWN", "The connection is gone.", statusConnectionLost},
    {"ERR_DEST_BUFFER_TOO_SMALL", "The frame has {2} bytes, and {1} are the limit.", statusFrameTooLarge},
    {"ERR_SOCKET_TIMEOUT", "Nothing came within the timeout.", statusTimeOut},
    {"QN_ERR_SOCKET_TIMEOUT", "Nothing moved within the timeout.", statusTimeOut},
    {"ERR_SOCKET_GETADDRINFO_ERROR", R"(The host "{1}" is unknown: {4})", statusUnknownHost},
    {"ERR_SOCKET_NOT_CONNECTED", "None of the addresses of {1} can be reached.", statusOther},
    {"QN_ERR_SOCKET_ADDRESS_IN_USE", "Another program has port {2}.", statusOther},
    {"ERR_PROPERTY_MISSING", R"(The property "{1}" is missing.)", statusBadRequest},
    {"ERR_PROPERTY_WRONG_TYPE", R"(The property "{1}" is "{2}", which is not of the type {3}.)",
     statusBadRequest},
    {"ERR_PROPERTIES_CYCLIC_REFERENCE", R"(The property "{1}" refers to itself.)", statusBadRequest},
    {"ERR_PROPERTIES_BAD_REFERENCE", R"(The property "{1}" refers to "{2}", which is not there.)",
     statusBadRequest},
    {"ERR_BASE64_INVALID_DATA", R"(The document is no Base64: it holds "{1}".)", statusBadRequest},
    {"ERR_BASE64_MISALIGNED_DATA", "The document's Base64 is cut short or badly padded.", statusBadRequest},
    {"ERR_CONV_CONVERSION_ERROR", R"(Text cannot be converted from "{2}" to "{1}".)", statusBadRequest},
    {"ERR_MALFORMED_UTF8_STRING", "The document is not well-formed UTF-8.", statusBadRequest},
    {"ERR_DOCUMENT_HOLDS_NUL", "The document holds a NUL at byte {1} of its UTF-8 form.", statusBadRequest},
    {"ERR_UNKNOWN_CONSTRUCTOR", R"(There is no constructor "{1}".)", statusBadRequest},
    {"ERR_PERCENT_SIGN_ALONE", R"(The property "{1}" holds a percent sign that begins no reference.)",
     statusBadRequest},
    {"ERR_REFERENCES_TOO_DEEP", "References lead from one to the next more than {1} times.",
     statusBadRequest},
    {"ERR_TOO_MUCH_PRODUCED", "More than {1} characters would be produced, which is the limit.",
     statusBadRequest},
    {"ERR_TOO_MANY_REFERENCES", "The properties hold {1} percent signs, and {2} are the limit.",
     statusBadRequest},
};

const Entry& entryOf(const Message& message) {
  static constexpr Entry unknown = {"", "Something failed that the catalogue has no sentence for.",
                                    statusOther};
  const std::string identifier = utf8(message.getMessageID());
  const auto* const found = std::find_if(std::begin(catalogue), std::end(catalogue),
                                         [&](const Entry& entry) { return entry.identifier == identifier; });
  return found == std::end(catalogue) ? unknown : *found;
}

}  // namespace

std::string sentenceOf(const Message& message) {
  std::string sentence;
  const std::list<icu::UnicodeString>& arguments = message.getMessageArgs();
  for (std::string_view rest = entryOf(message).sentence; !rest.empty();) {
    const std::size_t brace = std::min(rest.find('{'), rest.size());
    sentence += rest.substr(0, brace);
    rest.remove_prefix(brace);
    if (rest.empty()) break;
    const auto number = static_cast<std::size_t>(rest[1] - '1');
    if (number < arguments.size()) sentence += utf8(*std::next(arguments.begin(), static_cast<long>(number)));
    rest.remove_prefix(sizeof "{1}" - 1);
  }
  return sentence;
}

ExitStatus statusOf(const Message& message) {
  return entryOf(message).status;
}

void explain(std::ostream& out, const Message& message) {
  icu::UnicodeString line;
  out << sentenceOf(message) << '\n' << "    message  " << utf8(message.toString(line)) << '\n';
  if (message.getLineNumber() == 0) return;
  out << "    raised   " << utf8(message.getFileName()) << ", line " << message.getLineNumber() << '\n';
}

std::string refusalText(const Message& message) {
  constexpr int longestArgument = 200;
  ExtendedProperties refusal;
  refusal.putProperty("error.id", message.getMessageID());
  refusal.putPropertyAsInt32("error.arguments", message.getMessageArgsCount());
  int number = 0;
  for (const icu::UnicodeString& argument : message.getMessageArgs()) {
    const std::string key = "error.argument." + std::to_string(++number);
    refusal.putProperty(key.c_str(), toWire(utf8(argument.tempSubString(0, longestArgument))));
  }
  return textOf(refusal);
}

std::optional<Message> refusalOf(const ExtendedProperties& answer) {
  const icu::UnicodeString none;
  const icu::UnicodeString& identifier = answer.getProperty("error.id", none);
  if (identifier.isEmpty()) return std::nullopt;
  Message message(identifier, none, Message::LEVEL_ERROR);
  const unsigned int count = answer.requirePropertyAsUInt32("error.arguments");
  for (unsigned int number = 1; number <= count; ++number) {
    const std::string key = "error.argument." + std::to_string(number);
    message.addArgument(icu::UnicodeString::fromUTF8(fromWire(answer.requireProperty(key.c_str()))));
  }
  return message;
}

// --- command lines

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

int guarded(int (*run)(const std::vector<std::string>& arguments), int argc, char** argv) {
  try {
    return run({argv + 1, argv + argc});
  } catch (BaseException& error) {
    explain(std::cerr, error.getErrorMessage());
    return statusOf(error.getErrorMessage());
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return statusOther;
  }
}

}  // namespace documents
