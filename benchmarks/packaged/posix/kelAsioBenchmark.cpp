#include "posix/kelSocketTasks.hpp"

#include <benchmark/benchmark.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <cstddef>

/// Asio's blocking calls compared with Socket.
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

BENCHMARK(sockets::roundTrips<Link>)->Name("Socket/round trip of 64 B/Asio")->Arg(64)->UseRealTime();
BENCHMARK(sockets::roundTrips<Link>)->Name("Socket/round trip of 64 KiB/Asio")->Arg(65536)->UseRealTime();

}  // namespace
