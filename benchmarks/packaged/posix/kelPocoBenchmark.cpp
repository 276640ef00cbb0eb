#include "kelExtendedPropertiesTasks.hpp"
#include "kelStringTokenizerTasks.hpp"
#include "kelUTF8Tasks.hpp"
#include "posix/kelSocketTasks.hpp"

#include <benchmark/benchmark.h>

#include <Poco/AutoPtr.h>
#include <Poco/MemoryStream.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/StreamSocket.h>
#include <Poco/Net/StreamSocketImpl.h>
#include <Poco/StringTokenizer.h>
#include <Poco/TextIterator.h>
#include <Poco/UTF8Encoding.h>
#include <Poco/Util/PropertyFileConfiguration.h>
#include <unistd.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

/// Poco compared with several classes.
namespace {

using namespace tarvo::benchmarks;

// --- ExtendedProperties

struct Properties {
  struct OfBytes {};
  Poco::AutoPtr<Poco::Util::PropertyFileConfiguration> all = new Poco::Util::PropertyFileConfiguration;
};

void loadInto(Properties& properties, const std::string& file) {
  Poco::MemoryInputStream stream(file.data(), static_cast<std::streamsize>(file.size()));
  properties.all->load(stream);
}

std::string valueOf(const Properties& properties, const std::string& key) {
  return properties.all->getRawString(key);
}

std::int32_t int32Of(const Properties& properties, const std::string& key) {
  return properties.all->getInt(key, -1);
}

/// Poco lists keys by their sections; the benchmark looks up each key instead.
properties::Map asMap(const Properties& properties, const std::string& file) {
  properties::Map map;
  properties::eachProperty(file, [&](std::string_view key, std::string_view) {
    map.emplace(properties::widened(key), properties::widened(valueOf(properties, std::string(key))));
  });
  return map;
}

void save(benchmark::State& state) {
  Properties loadedProperties;
  if (!properties::loaded(state, loadedProperties)) return;
  properties::saves(state, [&] {
    std::ostringstream out;
    loadedProperties.all->save(out);
    return std::move(out).str();
  });
}

BENCHMARK(properties::load<Properties>)->Name("ExtendedProperties/load/Poco")->Apply(properties::sizes);
BENCHMARK(properties::lookUp<Properties>)->Name("ExtendedProperties/look-up/Poco")->Apply(properties::sizes);
BENCHMARK(properties::getInt32<Properties>)
    ->Name("ExtendedProperties/getPropertyAsInt32/Poco")
    ->Apply(properties::sizes);
BENCHMARK(save)->Name("ExtendedProperties/save/Poco")->Apply(properties::sizes);

// --- StringTokenizer

void splitAndFetch(benchmark::State& state) {
  const auto each = [](auto take) {
    const Poco::StringTokenizer tokens(tokenizer::bytes(), tokenizer::narrowDelimiters,
                                       Poco::StringTokenizer::TOK_IGNORE_EMPTY);
    for (const std::string& token : tokens) take(token);
  };
  std::string all;
  each([&](const std::string& token) { all.append(token).push_back('|'); });
  if (!tokenizer::agrees(state, all)) return;
  timed(state, [&] { each([](const std::string& token) { benchmark::DoNotOptimize(token.data()); }); });
}

BENCHMARK(splitAndFetch)->Name("StringTokenizer/construct/Poco::StringTokenizer of bytes");
BENCHMARK(splitAndFetch)
    ->Name("StringTokenizer/construct and fetch every token as bytes/Poco::StringTokenizer");

// --- UTF8Iterator

const bool registered = [] {
  for (const utf8::Text& text : utf8::texts()) {
    const utf8::Answer expected = utf8::sumOf(text);
    utf8::compete(
        "UTF8Iterator/construct and walk, " + text.what, "Poco::TextIterator",
        [bytes = text.bytes] {
          static const Poco::UTF8Encoding encoding;
          utf8::hidden(*bytes);
          Poco::TextIterator at(*bytes, encoding);
          const Poco::TextIterator end(*bytes);
          utf8::Answer sum = 0;
          for (; at != end; ++at) sum += *at < 0x80 ? 1 : 2;
          return sum;
        },
        [expected] { return expected; });
  }
  return true;
}();

// --- Socket

class Link {
 public:
  Link() {
    const Poco::Net::ServerSocket server(Poco::Net::SocketAddress("127.0.0.1", 0));
    client_.connect(server.address());
    accepted_ = Poco::Net::ServerSocket(server).acceptConnection();
    client_.setNoDelay(true);
    accepted_.setNoDelay(true);
  }

  int peer() const { return accepted_.impl()->sockfd(); }
  void endOfSending() { client_.shutdownSend(); }

  void send(const char* bytes, std::size_t size) {
    for (std::size_t sent = 0; sent < size;)
      sent += static_cast<std::size_t>(client_.sendBytes(bytes + sent, static_cast<int>(size - sent)));
  }
  void receive(char* bytes, std::size_t size) {
    for (std::size_t got = 0; got < size;)
      got += static_cast<std::size_t>(client_.receiveBytes(bytes + got, static_cast<int>(size - got)));
  }

 private:
  Poco::Net::StreamSocket client_;
  Poco::Net::StreamSocket accepted_;
};

void select(benchmark::State& state) {
  const auto connections = sockets::idleConnections(state.range(0));
  std::vector<Poco::Net::StreamSocket> accepted;
  accepted.reserve(connections.size());
  for (const auto& connection : connections) {
    // Poco's socket objects close their descriptors, so each object gets a separate descriptor.
    accepted.emplace_back(new Poco::Net::StreamSocketImpl(dup(connection->acceptedDescriptor())));
  }
  timed(state, [&] {
    Poco::Net::Socket::SocketList read(accepted.begin(), accepted.end());
    Poco::Net::Socket::SocketList none;
    Poco::Net::Socket::SocketList noneEither;
    const int count = Poco::Net::Socket::select(read, none, noneEither, Poco::Timespan(0, 0));
    sockets::check(count == 1 && read.size() == 1, "select");
  });
}

BENCHMARK(sockets::roundTrips<Link>)->Name("Socket/round trip of 64 B/Poco")->Arg(64)->UseRealTime();
BENCHMARK(sockets::roundTrips<Link>)->Name("Socket/round trip of 64 KiB/Poco")->Arg(65536)->UseRealTime();
BENCHMARK(select)->Name("Socket/select over 60/Poco")->Arg(60);
BENCHMARK(select)->Name("Socket/select over 1/Poco")->Arg(1);

}  // namespace
