#include "posix/kelSocketTasks.hpp"

#include <benchmark/benchmark.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <boost/system/error_code.hpp>
#include <cstddef>
#include <memory>
#include <vector>

/// Asio's blocking calls compared with Socket, and its waits with Poller.
namespace {

using namespace tarvo::benchmarks;
using boost::asio::ip::tcp;

class Link {
 public:
  Link() : client_(context_), accepted_(context_) {
    tcp::acceptor server(context_, tcp::endpoint(boost::asio::ip::address_v4::loopback(), 0));
    client_.connect(server.local_endpoint());
    server.accept(accepted_);
    client_.set_option(tcp::no_delay(true));
    accepted_.set_option(tcp::no_delay(true));
  }

  int peer() { return accepted_.native_handle(); }
  void endOfSending() { client_.shutdown(tcp::socket::shutdown_send); }

  void send(const char* bytes, std::size_t size) {
    boost::asio::write(client_, boost::asio::buffer(bytes, size));
  }
  void receive(char* bytes, std::size_t size) {
    boost::asio::read(client_, boost::asio::buffer(bytes, size));
  }

 private:
  boost::asio::io_context context_;
  tcp::socket client_;
  tcp::socket accepted_;
};

/// Waits for many connections. Only the first has a byte to read, so only its wait ends and begins again.
class Waits {
 public:
  explicit Waits(const std::vector<std::unique_ptr<sockets::Connection>>& connections) {
    for (const auto& connection : connections)
      watched_.emplace_back(context_, connection->acceptedDescriptor());
    for (auto& descriptor : watched_) begin(descriptor);
  }

  Waits(const Waits&) = delete;
  Waits& operator=(const Waits&) = delete;
  ~Waits() {
    for (Descriptor& descriptor : watched_) descriptor.release();  // the connections own them
  }

  std::size_t next() { return context_.run_one(); }

 private:
  using Descriptor = boost::asio::posix::stream_descriptor;

  void begin(Descriptor& descriptor) {
    descriptor.async_wait(Descriptor::wait_read, [&](const boost::system::error_code& error) {
      if (!error) begin(descriptor);
    });
  }

  boost::asio::io_context context_;
  std::vector<Descriptor> watched_;
};

void wait(benchmark::State& state) {
  const auto connections = sockets::idleConnections(state.range(0));
  Waits waits(connections);
  timed(state, [&] { sockets::check(waits.next() == 1, "io_context"); });
}

BENCHMARK(wait)->Name("Poller/wait over 60/Asio")->Arg(60);
BENCHMARK(wait)->Name("Poller/wait over 400/Asio")->Arg(400);
BENCHMARK(sockets::roundTrips<Link>)->Name("Socket/round trip of 64 B/Asio")->Arg(64)->UseRealTime();
BENCHMARK(sockets::roundTrips<Link>)->Name("Socket/round trip of 64 KiB/Asio")->Arg(65536)->UseRealTime();

}  // namespace
