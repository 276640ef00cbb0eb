// Sends documents to the document server and prints what it answers.

#include "infra/oss/kelConstants.hpp"
#include "infra/oss/kelMessage.hpp"
#include "infra/util/kelBase64.hpp"

#include "documentService.hpp"

#include <cstddef>
#include <iomanip>
#include <iostream>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using documents::ExitStatus;
using tarvo::oss::Constants;
using tarvo::oss::Message;
using tarvo::oss::Socket;
using tarvo::util::Base64;
using tarvo::util::ExtendedProperties;

const char* const usage =
    "Usage: documentClient HOST PORT [OPTION | FILE]...\n"
    "Sends each file to the document server at HOST and PORT, and prints the answers.\n"
    "\n"
    "  --timeout MS      for the connection and for each wait on it; 10000 by default\n"
    "  --help            prints this text\n"
    "\n"
    "For the files after them:\n"
    "\n"
    "  --codepage NAME   the code page that they are written in; without it, the one that the server "
    "assumes\n"
    "  --words, --lines  what counts as a token; words by default\n"
    "  --top N           how many of the most frequent terms to list; the server's own number by default\n"
    "  --document        they are documents; the default\n"
    "  --request         they are whole requests in properties text and are sent as they are\n"
    "\n";

/// A file to send, and how.
struct Item {
  std::string name;
  std::string bytes;
  bool wholeRequest = false;
  const char* constructor = "words";
  std::string codePage;
  std::optional<unsigned long long> top;
};

struct Options {
  std::string host;
  unsigned int port = 0;
  unsigned long long timeout = 10'000;
  std::vector<Item> items;
};

std::string base64Of(const std::string& bytes) {
  std::vector<unsigned short> units(Base64::encodeSize(bytes.size()));
  Base64::encode(units.data(), units.size(), bytes.data(), bytes.size());
  return {units.begin(), units.end()};
}

std::string requestText(const Item& item) {
  if (item.wholeRequest) return item.bytes;
  ExtendedProperties config;
  if (!item.codePage.empty()) config.putProperty("codepage", item.codePage.c_str());
  if (item.top) config.putPropertyAsUint64("top", *item.top);
  ExtendedProperties request;
  request.putProperty(Constants::DOCUMENT_CONSTRUCTOR_NAME, item.constructor);
  request.putProperty(Constants::DOCUMENT_CONSTRUCTOR_CONFIG, documents::textOf(config).c_str());
  request.putProperty(Constants::DOCUMENT_CONSTRUCTOR_DATA, base64Of(item.bytes).c_str());
  return documents::textOf(request);
}

void printAnswer(const Item& item, const ExtendedProperties& answer) {
  std::cout << item.name << '\n'
            << "    " << answer.requirePropertyAsUInt32("characters") << " characters, "
            << answer.requirePropertyAsUInt32("tokens") << " tokens, "
            << answer.requirePropertyAsUInt32("terms") << " terms; counted by build "
            << documents::utf8(answer.requireProperty("build")) << '\n';
  const icu::UnicodeString none;
  for (int number = 1;; ++number) {
    const std::string suffix = "." + std::to_string(number);
    const unsigned int count = answer.getPropertyAsUInt32(("count" + suffix).c_str(), 0U);
    if (count == 0) return;
    std::cout << std::setw(8) << count << "  "
              << documents::fromWire(answer.getProperty(("term" + suffix).c_str(), none)) << '\n';
  }
}

/// Sends one item, prints the answer, and returns how the request ended.
ExitStatus submit(Socket& socket, const Item& item, documents::FrameBuffer& buffer) {
  documents::sendFrame(socket, requestText(item));
  const std::string_view text = documents::receiveFrame(socket, buffer);
  ExtendedProperties answer;
  answer.load(text.data(), text.size(), false);
  const std::optional<Message> refusal = documents::refusalOf(answer);
  if (!refusal) {
    printAnswer(item, answer);
    return documents::statusOk;
  }
  std::cout << item.name << "\n    refused: ";
  documents::explain(std::cout, *refusal);
  return documents::statusOf(*refusal);
}

ExitStatus submitAll(const Options& options) {
  constexpr std::size_t longestAnswer = 1 << 20;
  Socket socket;
  socket.connect(icu::UnicodeString::fromUTF8(options.host), options.port, Socket::NullAddrInfoExternal,
                 &options.timeout);
  socket.setTimeout(static_cast<unsigned int>(options.timeout));
  documents::FrameBuffer buffer(longestAnswer);
  ExitStatus first = documents::statusOk;
  for (const Item& item : options.items) {
    const ExitStatus status = submit(socket, item, buffer);
    if (first == documents::statusOk) first = status;
  }
  std::cout.flush();
  return first;
}

/// Parses the command line after HOST and PORT; false if it is wrong.
class Walk {
 public:
  Walk(const std::vector<std::string>& arguments, Options& options)
      : next_(arguments.begin() + 2), end_(arguments.end()), options_(options) {}

  bool run() {
    while (next_ != end_) {
      if (!take(*next_++)) return false;
    }
    return true;
  }

 private:
  bool take(const std::string& word) {
    if (word == "--timeout") {
      const auto number = value(std::numeric_limits<int>::max());
      if (number) options_.timeout = *number;
      return number.has_value();
    }
    if (word == "--top") return (current_.top = value(std::numeric_limits<unsigned int>::max())).has_value();
    if (word == "--codepage") {
      if (next_ == end_) return false;
      current_.codePage = *next_++;
      return true;
    }
    if (word == "--words" || word == "--lines") {
      current_.constructor = word == "--words" ? "words" : "lines";
      return true;
    }
    if (word == "--document" || word == "--request") {
      current_.wholeRequest = word == "--request";
      return true;
    }
    return word.rfind("--", 0) != 0 && takeFile(word);
  }

  std::optional<unsigned long long> value(unsigned long long most) {
    return next_ == end_ ? std::nullopt : documents::parseNumber(*next_++, 0, most);
  }

  bool takeFile(const std::string& name) {
    auto bytes = documents::readFile(name);
    if (!bytes) {
      std::cerr << name << ": it cannot be read\n";
      return false;
    }
    current_.name = name;
    options_.items.push_back(current_);
    options_.items.back().bytes = std::move(*bytes);
    return true;
  }

  std::vector<std::string>::const_iterator next_;
  std::vector<std::string>::const_iterator end_;
  Options& options_;
  Item current_;
};

int run(const std::vector<std::string>& arguments) {
  if (arguments == std::vector<std::string>{"--help"}) {
    std::cout << usage << documents::exitStatusHelp;
    return documents::statusOk;
  }
  Options options;
  const auto port = arguments.size() >= 3 ? documents::parseNumber(arguments[1], 1, 65535) : std::nullopt;
  if (!port || !Walk(arguments, options).run()) {
    std::cerr << usage << documents::exitStatusHelp;
    return documents::statusUsage;
  }
  options.host = arguments.front();
  options.port = static_cast<unsigned int>(*port);
  return submitAll(options);
}

}  // namespace

int main(int argc, char** argv) {
  return documents::guarded(run, argc, argv);
}
