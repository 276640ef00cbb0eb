// A client of the frame server that reports how each call ended.
//
// Prints a line for every line that it reads, each followed by " after MS", the milliseconds that it took:
//   connect HOST PORT LIMIT          LIMIT in milliseconds, or none     "connected"
//   either HOST HOST PORT LIMIT      a list of both names' addresses    "connected"
//   timeout MS                       of every receive and send          "set"
//   transfer FRAMES LENGTH           sends and receives at once         "transferred BYTES"
//   begin LENGTH                     sends a frame only                 "sent"
//   flood LENGTH                     sends bytes that begin no frame    "sent"
//   rest                             the rest of that frame's answer    "answered LENGTH"
//   close                                                               "closed"
// or "failed WHAT"; for the library's errors, WHAT is "IDENTIFIER argument argument ...". A transfer reports
// receiving and sending: "failed WHAT and WHAT". After a failed `rest` another `rest` continues where it
// stopped.

#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketException.hpp"

#include "kelFrame.hpp"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using std::to_string;
using tarvo::load::frameOf;
using tarvo::load::payloadOf;
using tarvo::oss::Socket;
using tarvo::oss::SocketException;

Socket::_AddrInfoExternal resolved(const std::string& host, unsigned int port) {
  Socket::_AddrInfoExternal record = Socket::NullAddrInfoExternal;
  if (Socket::resolveAddrInfo(host.c_str(), static_cast<unsigned short>(port), record) != 0) {
    throw std::runtime_error("cannot resolve " + host);
  }
  return record;
}

std::size_t usedOf(const Socket::_AddrInfoExternal& record) {
  return record.bytes[0] + record.bytes[1] * 256U;
}

/// The offset of the entries: after the number of used bytes, the name with its NUL, and the port.
std::size_t entriesOf(const Socket::_AddrInfoExternal& record) {
  const auto* const name = record.bytes + 2;
  return 2 + std::strlen(reinterpret_cast<const char*>(name)) + 1 + 2;
}

/// The first record, with the second one's addresses after its addresses.
Socket::_AddrInfoExternal joined(Socket::_AddrInfoExternal one, const Socket::_AddrInfoExternal& other) {
  const std::size_t start = entriesOf(other);
  const std::size_t end = 2 + usedOf(other);
  const std::size_t used = usedOf(one);
  std::copy(other.bytes + start, other.bytes + end, one.bytes + 2 + used);
  const std::size_t total = used + end - start;
  one.bytes[0] = static_cast<unsigned char>(total);
  one.bytes[1] = static_cast<unsigned char>(total >> 8);
  return one;
}

class Client {
 public:
  std::string obey(const std::string& line) {
    std::istringstream in(line);
    std::string verb;
    in >> verb;
    if (verb == "connect") {
      const std::string host = word(in);
      const unsigned int port = number(in);
      return connect(host, port, Socket::NullAddrInfoExternal, word(in));
    }
    if (verb == "either") {
      const std::string first = word(in);
      const std::string second = word(in);
      const unsigned int port = number(in);
      return connect(first, port, joined(resolved(first, port), resolved(second, port)), word(in));
    }
    if (verb == "timeout") {
      socket_.setTimeout(number(in));
      return "set";
    }
    if (verb == "transfer") {
      const std::size_t frames = number(in);
      return transfer(frames, number(in));
    }
    if (verb == "begin") return begin(number(in));
    if (verb == "flood") return flood(number(in));
    if (verb == "rest") return rest();
    if (verb == "close") {
      socket_.close();
      return "closed";
    }
    throw std::runtime_error("what is " + line + "?");
  }

 private:
  static std::string word(std::istringstream& in) {
    std::string text;
    in >> text;
    return text;
  }
  static unsigned int number(std::istringstream& in) {
    unsigned int value = 0;
    in >> value;
    return value;
  }

  std::string connect(const std::string& host, unsigned int port, const Socket::_AddrInfoExternal& record,
                      const std::string& limit) {
    const unsigned long long milliseconds = limit == "none" ? 0 : std::stoull(limit);
    socket_.connect(host.c_str(), port, record, limit == "none" ? nullptr : &milliseconds);
    return "connected";
  }

  /// One reader and one writer on the connection.
  std::string transfer(std::size_t frames, std::size_t length) {
    std::string sending = "nothing";
    std::thread writer([&] {
      try {
        for (std::size_t i = 0; i < frames; ++i) {
          const std::string payload = payloadOf(i, i, length);
          socket_.writeMessage(payload.data(), 0, payload.size());
        }
      } catch (const SocketException& error) {
        sending = tarvo::load::textOf(error);
      }
    });
    const std::string receiving = receiveAll(frames, length);
    writer.join();
    if (receiving == "nothing" && sending == "nothing") return "transferred " + to_string(frames * length);
    return "failed " + receiving + " and " + sending;
  }

  /// The error, or "nothing".
  std::string receiveAll(std::size_t frames, std::size_t length) {
    std::string answer(length, '\0');
    try {
      for (std::size_t i = 0; i < frames; ++i) {
        unsigned long long announced = 0;
        const unsigned long long got = socket_.readMessage(answer.data(), &announced, 0, length, false);
        if (got != length) return "an answer of " + to_string(got) + " bytes";
        if (answer != payloadOf(i, i, length)) return "an answer that differs";
      }
    } catch (const SocketException& error) {
      return tarvo::load::textOf(error);
    }
    return "nothing";
  }

  std::string begin(std::size_t length) {
    frame_ = frameOf(payloadOf(1, 1, length));
    position_ = 0;
    socket_.writeMessage(frame_.data(), 4, length);
    return "sent";
  }

  std::string flood(std::size_t length) {
    const std::string bytes(length, 'f');
    socket_.write(bytes.data(), 0, bytes.size());
    return "sent";
  }

  std::string rest() {
    char piece[4096];
    while (position_ < frame_.size()) {
      const unsigned long long got =
          socket_.readOnce(piece, 0, std::min<std::size_t>(sizeof piece, frame_.size() - position_));
      if (got == 0) return "failed the connection ended";
      if (frame_.compare(position_, got, piece, got) != 0) return "failed an answer that differs";
      position_ += got;
    }
    return "answered " + to_string(frame_.size() - 4);
  }

  Socket socket_;
  std::string frame_;
  std::size_t position_ = 0;
};

}  // namespace

int main() {
  Client client;
  for (std::string line; std::getline(std::cin, line);) {
    const auto start = std::chrono::steady_clock::now();
    std::string outcome;
    try {
      outcome = client.obey(line);
    } catch (const SocketException& error) {
      outcome = "failed " + tarvo::load::textOf(error);
    } catch (const std::exception& error) {
      outcome = std::string("failed ") + error.what();
    }
    const auto took = std::chrono::steady_clock::now() - start;
    std::cout << outcome << " after " << std::chrono::duration_cast<std::chrono::milliseconds>(took).count()
              << std::endl;
  }
}
