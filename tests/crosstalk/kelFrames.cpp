// One end of a connection on which frames of known bytes travel in both directions. The other end may be the
// build for another platform.
//
//   kelinfra_frames listen               prints "listening on PORT" and talks to one client
//   kelinfra_frames connect HOST PORT
//
// The listening end sends its frames first, then the connecting end. Each end compares every byte that it
// receives with the expected one. Prints "N frames, M bytes: as they were sent" and ends with 0; otherwise
// prints the difference and ends with 1.

#include "infra/oss/kelSocketException.hpp"
#include "infra/oss/kelSocketServer.hpp"

#include "support/kelSeed.hpp"

#include <algorithm>
#include <cstddef>
#include <iostream>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using tarvo::oss::Socket;
using tarvo::oss::SocketException;
using tarvo::oss::SocketServer;

constexpr unsigned long long patience = 120'000;  // milliseconds; a guard against hanging

constexpr std::size_t longest = 1024 * 1024;
constexpr std::size_t sizes[] = {0, 1, 3, 4, 5, 127, 128, 4095, 4096, 65535, 65536, longest};

// Bytes that could be mistaken for the end of a text, for a line end or for a sign, and random bytes.
enum class Kind { nuls, lineEnds, ones, random };
constexpr Kind kinds[] = {Kind::nuls, Kind::lineEnds, Kind::ones, Kind::random};

// The frames of the two ends differ, so that no frame can be mistaken for an echo.
constexpr unsigned long long listenerSeed = 20'240'229;
constexpr unsigned long long connectorSeed = 20'261'121;

std::string payloadOf(Kind kind, std::size_t size, std::mt19937_64& random) {
  switch (kind) {
    case Kind::nuls:
      return std::string(size, '\0');
    case Kind::ones:
      return std::string(size, '\xFF');
    case Kind::lineEnds: {
      std::string payload(size, '\n');
      for (std::size_t i = 0; i < size; i += 3) payload[i] = '\r';
      return payload;
    }
    case Kind::random:
      break;
  }
  std::string payload(size, '\0');
  // The generator's numbers are the same everywhere; those of the standard library's distributions are not.
  for (char& byte : payload) byte = static_cast<char>(random() >> 56);
  return payload;
}

std::vector<std::string> framesOf(unsigned long long seed) {
  std::mt19937_64 random(seed + tarvo::test::runSeed());
  std::vector<std::string> frames;
  for (const std::size_t size : sizes) {
    for (const Kind kind : kinds) frames.push_back(payloadOf(kind, size, random));
  }
  return frames;
}

void send(Socket& socket, unsigned long long seed) {
  for (const std::string& frame : framesOf(seed)) socket.writeMessage(frame.data(), 0, frame.size());
}

void expectFrame(Socket& socket, std::size_t number, const std::string& expected, std::vector<char>& buffer) {
  const std::string which = "frame " + std::to_string(number) + ": ";
  unsigned long long length = 0;
  const unsigned long long got = socket.readMessage(buffer.data(), &length, 0, buffer.size(), true);
  if (got != length || length != expected.size()) {
    throw std::runtime_error(which + std::to_string(got) + " bytes of " + std::to_string(length) +
                             ", where " + std::to_string(expected.size()) + " were sent");
  }
  const auto differing = std::mismatch(expected.begin(), expected.end(), buffer.begin()).first;
  if (differing != expected.end()) {
    throw std::runtime_error(which + "byte " + std::to_string(differing - expected.begin()) + " of " +
                             std::to_string(length) + " is not the one that was sent");
  }
}

void expectFrames(Socket& socket, unsigned long long seed) {
  std::vector<char> buffer(longest);
  std::size_t number = 0;
  std::size_t bytes = 0;
  for (const std::string& frame : framesOf(seed)) {
    expectFrame(socket, number++, frame, buffer);
    bytes += frame.size();
  }
  std::cout << number << " frames, " << bytes << " bytes: as they were sent" << std::endl;
}

void expectEnd(Socket& socket) {
  char byte = 0;
  if (socket.readOnce(&byte, 0, 1) != 0) throw std::runtime_error("there are bytes after the last frame");
}

void listen() {
  SocketServer server;
  server.listen(0, 1, true);
  std::cout << "listening on " << server.getPort() << std::endl;
  Socket socket;
  server.accept(socket, &patience);
  socket.setTimeout(patience);
  send(socket, listenerSeed);
  expectFrames(socket, connectorSeed);
  expectEnd(socket);
}

void connect(const std::string& host, unsigned int port) {
  Socket socket;
  socket.connect(icu::UnicodeString::fromUTF8(host), port, Socket::NullAddrInfoExternal, &patience);
  socket.setTimeout(patience);
  expectFrames(socket, listenerSeed);
  send(socket, connectorSeed);
  socket.shutdownSend();
  expectEnd(socket);
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  try {
    if (arguments == std::vector<std::string>{"listen"}) {
      listen();
    } else if (arguments.size() == 3 && arguments[0] == "connect") {
      connect(arguments[1], static_cast<unsigned int>(std::stoul(arguments[2])));
    } else {
      throw std::runtime_error("usage: kelinfra_frames listen | connect HOST PORT");
    }
    return 0;
  } catch (SocketException& error) {
    icu::UnicodeString text;
    std::string bytes;
    std::cout << error.getErrorMessage().toString(text).toUTF8String(bytes) << std::endl;
  } catch (const std::exception& error) {
    std::cout << error.what() << std::endl;
  }
  return 1;
}
