#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

/// The client of the three services. It uses none of the libraries that are compared.
///
///     kelinfra_service_load answers PORT FILE...              sends each request once, prints the answers
///     kelinfra_service_load load PORT CONNECTIONS MS FILE...  prints requests, requests per second, p50
///                                                             and p99 in us
///     kelinfra_service_load idle PORT CONNECTIONS FILE...     one request on each connection, then waits
///                                                             for the end of standard input
///
/// The load is closed-loop: each connection sends its next request when it has the answer to its last one. An
/// answer that differs from the first one to the same request ends the program.
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t lengthSize = 4;

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

std::string frameOf(const std::string& payload) {
  const std::uint32_t length = htonl(static_cast<std::uint32_t>(payload.size()));
  std::string frame(lengthSize, '\0');
  std::memcpy(frame.data(), &length, lengthSize);
  return frame + payload;
}

std::string readFile(const char* name) {
  std::ifstream file(name, std::ios::binary);
  if (!file) fail(name);
  std::ostringstream bytes;
  bytes << file.rdbuf();
  return std::move(bytes).str();
}

class Connection {
 public:
  explicit Connection(unsigned short port) : handle_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int on = 1;
    if (handle_ < 0 || connect(handle_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        setsockopt(handle_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) != 0) {
      fail("connect");
    }
  }
  Connection(const Connection& other) = delete;
  Connection& operator=(const Connection& other) = delete;
  ~Connection() { close(handle_); }

  int handle() const { return handle_; }

  void send(const std::string& frame) {
    sent_ = Clock::now();
    answer_.clear();
    for (std::size_t done = 0; done < frame.size();) {
      const ssize_t count = ::send(handle_, frame.data() + done, frame.size() - done, MSG_NOSIGNAL);
      if (count < 0) fail("send");
      done += static_cast<std::size_t>(count);
    }
  }

  /// Receives once. True if the answer is complete.
  bool receive() {
    char bytes[4096];
    const ssize_t count = recv(handle_, bytes, sizeof bytes, 0);
    if (count < 0) fail("recv");
    if (count == 0) throw std::runtime_error("the service closed a connection");
    answer_.append(bytes, static_cast<std::size_t>(count));
    if (answer_.size() < lengthSize) return false;
    std::uint32_t length = 0;
    std::memcpy(&length, answer_.data(), lengthSize);
    return answer_.size() == lengthSize + ntohl(length);
  }

  /// The answer's frame.
  const std::string& answer() const { return answer_; }
  Clock::duration age() const { return Clock::now() - sent_; }

  std::string ask(const std::string& frame) {
    send(frame);
    while (!receive()) {
    }
    return answer_;
  }

  std::size_t request = 0;  ///< which request is under way

 private:
  int handle_;
  Clock::time_point sent_;
  std::string answer_;
};

using Connections = std::vector<std::unique_ptr<Connection>>;

Connections connectAll(unsigned short port, std::size_t count) {
  Connections connections;
  for (std::size_t i = 0; i < count; ++i) connections.push_back(std::make_unique<Connection>(port));
  return connections;
}

class Load {
 public:
  Load(unsigned short port, std::size_t connections, const std::vector<std::string>& frames)
      : connections_(connectAll(port, connections)), frames_(frames) {
    for (const std::string& frame : frames_) expected_.push_back(connections_.front()->ask(frame));
    for (const auto& connection : connections_) polled_.push_back({connection->handle(), POLLIN, 0});
  }

  void run(Clock::duration time) {
    const Clock::time_point start = Clock::now();
    for (const auto& connection : connections_) sendNext(*connection);
    while (Clock::now() - start < time) {
      if (poll(polled_.data(), polled_.size(), -1) < 0) fail("poll");
      for (std::size_t i = 0; i < polled_.size(); ++i) {
        if (polled_[i].revents != 0) advance(*connections_[i]);
      }
    }
    print(Clock::now() - start);
    for (const auto& connection : connections_) {
      while (!connection->receive()) {
      }
    }
  }

 private:
  void sendNext(Connection& connection) {
    connection.request = next_++ % frames_.size();
    connection.send(frames_[connection.request]);
  }

  void advance(Connection& connection) {
    if (!connection.receive()) return;
    times_.push_back(std::chrono::duration<double, std::micro>(connection.age()).count());
    if (connection.answer() != expected_[connection.request]) throw std::runtime_error("a wrong answer");
    sendNext(connection);
  }

  void print(Clock::duration taken) {
    std::sort(times_.begin(), times_.end());
    const auto quantile = [this](double part) {
      return times_.at(static_cast<std::size_t>(part * static_cast<double>(times_.size() - 1)));
    };
    const double rate = static_cast<double>(times_.size()) / std::chrono::duration<double>(taken).count();
    std::cout << R"({"requests": )" << times_.size() << R"(, "rate": )" << rate << R"(, "p50": )"
              << quantile(0.5) << R"(, "p99": )" << quantile(0.99) << "}\n";
  }

  Connections connections_;
  const std::vector<std::string>& frames_;
  std::vector<std::string> expected_;
  std::vector<pollfd> polled_;
  std::vector<double> times_;
  std::size_t next_ = 0;
};

int run(const std::vector<char*>& arguments) {
  const std::string mode = arguments.at(1);
  const auto port = static_cast<unsigned short>(std::stoul(arguments.at(2)));
  std::size_t at = 3;
  const std::size_t connections = mode == "answers" ? 1 : std::stoul(arguments.at(at++));
  const std::chrono::milliseconds time(mode == "load" ? std::stol(arguments.at(at++)) : 0);
  std::vector<std::string> frames;
  for (; at < arguments.size(); ++at) frames.push_back(frameOf(readFile(arguments[at])));
  if (frames.empty()) throw std::invalid_argument("no request");
  if (mode == "load") {
    Load(port, connections, frames).run(time);
    return 0;
  }
  const Connections all = connectAll(port, connections);
  if (mode == "answers") {
    for (const std::string& frame : frames) std::cout << all.front()->ask(frame).substr(lengthSize) << '\n';
    return 0;
  }
  for (const auto& connection : all) connection->ask(frames.front());
  std::cout << "idle" << std::endl;
  std::cin.ignore();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(std::vector<char*>(argv, argv + argc));
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
