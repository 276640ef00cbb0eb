// Many connections to the frame server at once, or one after the other, in one thread. Compares every answer.
//
//   kelinfra_load_client PORT FIRST
//
//   FIRST   number of its first connection: no two clients send the same
//
// Prints a line for every line that it reads:
//   connect N          opens N connections and keeps them           "connected N"
//   rounds N LENGTH    N frames over each, up to LENGTH bytes       "answered FRAMES"
//   close              closes them                                  "closed N"
//   churn N LENGTH     N times: connect, one frame, close           "answered N"
//   refused N PORT     N connects to a port where nobody listens    "refused N"
//   figures            what it holds (kelFigures.hpp)               "descriptors ..."
// or "failed WHAT" if a frame or a connection is lost, and ends when its input ends.

#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketException.hpp"

#include "kelFigures.hpp"
#include "kelFrame.hpp"
#include "support/kelSeed.hpp"

#include <cstdlib>
#include <iostream>
#include <list>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using tarvo::load::payloadOf;
using tarvo::oss::Socket;
using tarvo::oss::SocketException;

class Client {
 public:
  Client(unsigned int port, std::size_t first)
      : port_(port), first_(first), random_(tarvo::test::runSeed() + static_cast<unsigned int>(first)) {}

  std::size_t connect(std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) open(sockets_.emplace_back());
    return sockets_.size();
  }

  /// Sends all requests before it reads the first answer.
  std::size_t rounds(std::size_t count, std::size_t longest) {
    std::vector<std::size_t> lengths(sockets_.size());
    for (std::size_t round = 0; round < count; ++round) {
      std::size_t connection = 0;
      for (Socket& socket : sockets_) {
        lengths[connection] = random_() % (longest + 1);
        ask(socket, payloadOf(first_ + connection, round, lengths[connection]));
        ++connection;
      }
      connection = 0;
      for (Socket& socket : sockets_) {
        compare(socket, payloadOf(first_ + connection, round, lengths[connection]));
        ++connection;
      }
    }
    return count * sockets_.size();
  }

  std::size_t close() {
    const std::size_t count = sockets_.size();
    sockets_.clear();
    return count;
  }

  std::size_t churn(std::size_t count, std::size_t longest) {
    for (std::size_t i = 0; i < count; ++i) {
      const std::string payload = payloadOf(first_ + i, i, random_() % (longest + 1));
      Socket socket;
      open(socket);
      ask(socket, payload);
      compare(socket, payload);
    }
    return count;
  }

  static std::size_t refused(std::size_t count, unsigned int port) {
    const std::string expected = "QN_ERR_SOCKET_CONNECTION_REFUSED 127.0.0.1 " + std::to_string(port);
    for (std::size_t i = 0; i < count; ++i) {
      Socket socket;
      std::string outcome = "connected";
      try {
        socket.connect("127.0.0.1", port, Socket::NullAddrInfoExternal, nullptr);
      } catch (const SocketException& error) {
        outcome = tarvo::load::textOf(error);
      }
      if (outcome != expected) throw std::runtime_error(outcome + " instead of " + expected);
    }
    return count;
  }

 private:
  /// Every connection makes its port unusable for a while, but only for the same address of this machine.
  void open(Socket& socket) {
    const std::string host = "127.0.0." + std::to_string(1 + opened_++ % 16);
    socket.connect(host.c_str(), port_, Socket::NullAddrInfoExternal, nullptr);
  }

  static void ask(Socket& socket, const std::string& payload) {
    socket.writeMessage(payload.data(), 0, payload.size());
  }

  void compare(Socket& socket, const std::string& payload) {
    answer_.resize(payload.size() + 1);
    unsigned long long length = 0;
    const unsigned long long got = socket.readMessage(answer_.data(), &length, 0, answer_.size(), false);
    if (got != length || answer_.compare(0, static_cast<std::size_t>(got), payload) != 0) {
      throw std::runtime_error("an answer of " + std::to_string(got) + " bytes is not the frame of " +
                               std::to_string(payload.size()) + " that was sent");
    }
  }

  unsigned int port_;
  std::size_t first_;
  std::mt19937 random_;
  std::size_t opened_ = 0;
  std::list<Socket> sockets_;
  std::string answer_;
};

std::string obey(Client& client, const std::string& line) {
  std::istringstream in(line);
  std::string verb;
  std::size_t count = 0;
  unsigned int further = 0;
  in >> verb >> count >> further;
  if (verb == "connect") return "connected " + std::to_string(client.connect(count));
  if (verb == "rounds") return "answered " + std::to_string(client.rounds(count, further));
  if (verb == "close") return "closed " + std::to_string(client.close());
  if (verb == "churn") return "answered " + std::to_string(client.churn(count, further));
  if (verb == "refused") return "refused " + std::to_string(Client::refused(count, further));
  if (verb == "figures") return tarvo::load::ownFigures(1).text();
  throw std::runtime_error("what is " + line + "?");
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) {
    std::cerr << "see the head of kelLoadClient.cpp\n";
    return 2;
  }
  Client client(static_cast<unsigned int>(std::atoi(arguments[1])),
                static_cast<std::size_t>(std::atoll(arguments[2])));
  for (std::string line; std::getline(std::cin, line);) {
    try {
      std::cout << obey(client, line) << std::endl;
    } catch (const SocketException& error) {
      std::cout << "failed " << tarvo::load::textOf(error) << std::endl;
    } catch (const std::exception& error) {
      std::cout << "failed " << error.what() << std::endl;
    }
  }
}
