// Sends files to the document server and checks what it answers.

#include "infra/oss/kelSocketException.hpp"

#include "documentService.hpp"

#include <array>
#include <chrono>
#include <cstddef>
#include <exception>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace {

using documents::Summary;
using tarvo::oss::BaseException;
using tarvo::oss::Socket;

const char* const usage =
    "Usage: documentClient [--timeout MS] HOST PORT FILE...\n"
    "Sends each file to the document server at HOST and PORT, and checks the answers against its own "
    "counts.\n"
    "\n"
    "  --timeout MS   for the connection and for each wait on it; 10000 by default\n"
    "  --help         prints this text\n"
    "\n";

constexpr unsigned long long mostFrame = std::numeric_limits<unsigned int>::max();

struct Document {
  std::string name;
  std::string bytes;
};

/// Why a file cannot be sent; empty when it can.
std::string load(Document& document) {
  std::ifstream file(document.name, std::ios::binary);
  if (!file) return "it cannot be opened";
  std::array<char, 65536> chunk;
  while (file.read(chunk.data(), chunk.size()) || file.gcount() > 0) {
    document.bytes.append(chunk.data(), static_cast<std::size_t>(file.gcount()));
  }
  if (file.bad()) return "it cannot be read";
  if (document.bytes.size() > mostFrame) return "it is larger than a frame can be";
  return {};
}

void printHead() {
  std::cout << std::setw(12) << "bytes" << std::setw(10) << "lines"
            << "  CRC-32  " << std::setw(10) << "ms"
            << "  answer    file\n";
}

void printRow(const Summary& summary, double milliseconds, std::string_view answer, const std::string& name) {
  std::cout << std::setw(12) << summary.bytes << std::setw(10) << summary.lines << "  "
            << documents::hexadecimal(summary.crc) << std::setw(10) << std::fixed << std::setprecision(2)
            << milliseconds << "  " << std::left << std::setw(8) << answer << std::right << "  " << name
            << std::endl;
}

/// Sends one document, prints its row, and tells how the answer fits it.
documents::ExitStatus submit(Socket& socket, const Document& document) {
  constexpr std::size_t longestAnswer = 1024;
  documents::FrameBuffer buffer(longestAnswer);
  const auto start = std::chrono::steady_clock::now();
  documents::sendFrame(socket, document.bytes);
  const std::string_view answer = documents::receiveFrame(socket, buffer);
  const std::chrono::duration<double, std::milli> elapsed = std::chrono::steady_clock::now() - start;

  const Summary own = documents::summarise(document.bytes);
  const bool refused = answer.substr(0, documents::refusalPrefix.size()) == documents::refusalPrefix;
  const bool fits = answer == documents::answerText(own);
  printRow(own, elapsed.count(), fits ? "ok" : refused ? "refused" : "wrong", document.name);
  if (fits) return documents::statusOk;
  std::cerr << document.name << ": the server answered: " << answer << '\n';
  return refused ? documents::statusFrameTooLarge : documents::statusOther;
}

int submitAll(const std::string& host, unsigned int port, unsigned long long timeout,
              const std::vector<Document>& files) {
  Socket socket;
  socket.connect(icu::UnicodeString::fromUTF8(host), port, Socket::NullAddrInfoExternal, &timeout);
  socket.setTimeout(static_cast<unsigned int>(timeout));
  printHead();
  documents::ExitStatus worst = documents::statusOk;
  for (const Document& file : files) {
    const documents::ExitStatus status = submit(socket, file);
    if (worst == documents::statusOk) worst = status;
  }
  return worst;
}

int run(const std::vector<std::string>& arguments) {
  if (arguments == std::vector<std::string>{"--help"}) {
    std::cout << usage << documents::exitStatusHelp;
    return documents::statusOk;
  }
  unsigned long long timeout = 10'000;
  const auto plain =
      documents::parseArguments(arguments, {{"--timeout", &timeout, 1, std::numeric_limits<int>::max()}});
  const auto port =
      plain && plain->size() >= 3 ? documents::parseNumber((*plain)[1], 1, 65535) : std::nullopt;
  if (!port) {
    std::cerr << usage << documents::exitStatusHelp;
    return documents::statusUsage;
  }
  std::vector<Document> files;
  for (auto name = plain->begin() + 2; name != plain->end(); ++name) {
    files.push_back({*name, {}});
    if (const std::string reason = load(files.back()); !reason.empty()) {
      std::cerr << *name << ": " << reason << '\n';
      return documents::statusUsage;
    }
  }
  return submitAll(plain->front(), static_cast<unsigned int>(*port), timeout, files);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run({argv + 1, argv + argc});
  } catch (const BaseException& error) {
    documents::explain(std::cerr, error);
    return documents::meaningOf(error).status;
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return documents::statusOther;
  }
}
