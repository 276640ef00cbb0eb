#include "infra/oss/kelFrameReader.hpp"
#include "infra/oss/kelFrameWriter.hpp"
#include "infra/oss/kelSocket.hpp"

#include "kelFuzz.hpp"
#include "kelLargestBlock.hpp"
#include "support/kelFakeWinsockSeam.hpp"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// A stream of frames, and of bytes that are no frames, cut into any pieces: `FrameReader` must find in it
/// what `Socket::readMessage` reads from the whole. And frames that `FrameWriter` queues and that are removed
/// in any pieces: they must be what `Socket::writeMessage` sends.
namespace {

using tarvo::fuzz::errorOf;
using tarvo::fuzz::expect;
using tarvo::fuzz::Input;
using tarvo::oss::FrameReader;
using tarvo::oss::FrameWriter;
using tarvo::oss::Socket;

/// The longest block allocated: a length that a peer only claims must not cost memory.
std::atomic<std::size_t> largestBlock = 0;
constexpr std::size_t blockLimit = std::size_t{1} << 18;

/// One result of `FrameReader::next`, as far as it says something.
struct Found {
  FrameReader::State state;
  unsigned long long length;
  unsigned long long received;
  std::string payload;

  friend bool operator==(const Found&, const Found&) = default;
};

/// A connection to a peer that is simulated.
class Connection {
 public:
  Connection() {
    tarvo::fuzz::noteLargestBlock(largestBlock);
    fake_.inventsHandles(5000);
    fake_.on.getaddrinfo = [](auto, auto, const auto&, auto& list) {
      list = {tarvo::test::inetAddress("10.0.0.1", 4711)};
      return 0;
    };
    fake_.on.recv = [this](auto, char* bytes, int length) {
      const std::size_t count = std::min(stream.size() - read, static_cast<std::size_t>(length));
      std::memcpy(bytes, stream.data() + read, count);
      read += count;
      return static_cast<int>(count);
    };
    fake_.on.send = [this](auto, const char* bytes, int length) {
      sent.append(bytes, static_cast<std::size_t>(length));
      return length;
    };
    socket_.emplace();
    socket_->connect("peer.example", 4711, Socket::NullAddrInfoExternal, nullptr);
  }

  Socket& socket() { return *socket_; }
  void forget() {
    fake_.forget();
    stream.clear();
    sent.clear();
    read = 0;
  }

  std::string stream;  // what the peer sends
  std::size_t read = 0;
  std::string sent;

 private:
  tarvo::test::FakeWinsock fake_;
  std::optional<Socket> socket_;
};

Connection& connection() {
  static Connection connection;
  return connection;
}

std::string lengthWord(Input& input, std::size_t truth) {
  constexpr std::uint32_t lies[] = {0xFFFFFFFF, 0x80000000, 0x7FFFFFFF, 1025, 1024, 64, 1, 0};
  const unsigned int kind = input.byte();
  const std::uint32_t length = kind < 0xC0 ? static_cast<std::uint32_t>(truth) : lies[kind % std::size(lies)];
  std::string word;
  for (int shift = 24; shift >= 0; shift -= 8) word += static_cast<char>(length >> shift & 0xFF);
  return word;
}

std::string streamFrom(Input& input) {
  std::string stream;
  for (unsigned int frames = input.below(12); frames > 0; --frames) {
    std::string payload = input.bytes(input.below(48));
    const unsigned int kind = input.byte();
    if (kind % 8 == 7) payload.resize(input.below(6000), 'f');
    stream += lengthWord(input, payload.size()) + payload;
  }
  // A length word that is cut, among others.
  return stream + input.bytes(input.below(6));
}

/// The results of `readMessage` on the whole stream, as the reader has to report them.
std::vector<Found> expectedOf(const std::string& stream, unsigned long long limit) {
  std::vector<Found> all;
  std::vector<char> buffer(stream.size() + 1);
  Connection& peer = connection();
  peer.stream = stream;
  for (;;) {
    const unsigned long long before = stream.size() - peer.read;
    const unsigned long long arrived = before - std::min(before, 4ULL);
    unsigned long long length = 0;
    unsigned long long count = 0;
    const auto error =
        errorOf([&] { count = peer.socket().readMessage(buffer.data(), &length, 0, limit, true); });
    if (error && error->identifier == "ERR_SOCKET_CLOSED") {
      all.push_back({FrameReader::CLOSED_BETWEEN, 0, 0, ""});
      return all;
    }
    if (error) all.push_back({FrameReader::TOO_LARGE, length, 0, ""});
    if (before < 4 || arrived < length) {
      expect(error || count == arrived, "the bytes of a frame that the peer cut");
      all.push_back({FrameReader::CLOSED_INSIDE, length, arrived, ""});
      return all;
    }
    if (!error) all.push_back({FrameReader::FRAME, length, 0, std::string(buffer.data(), count)});
  }
}

/// Takes what the reader has. Sometimes the bytes that are left are moved to another reader, which must
/// continue with them.
void take(std::unique_ptr<FrameReader>& reader, std::vector<Found>& all, unsigned long long limit,
          bool moving) {
  for (;;) {
    const FrameReader::State state = reader->next();
    if (state == FrameReader::NEED_MORE) return;
    const std::string payload =
        state == FrameReader::FRAME ? std::string(reader->payload(), reader->length()) : "";
    if (state != FrameReader::FRAME) expect(*reader->payload() == '\0', "no payload without a frame");
    all.push_back({state, reader->length(), reader->received(), payload});
    if (state == FrameReader::CLOSED_BETWEEN || state == FrameReader::CLOSED_INSIDE) return;
    if (!moving || state != FrameReader::FRAME) continue;
    const std::string rest = reader->takeRest();
    reader = std::make_unique<FrameReader>(limit);
    reader->append(rest.data(), 0, rest.size());
  }
}

void compareReading(Input& input) {
  const unsigned int kind = input.byte();
  const unsigned long long limit = kind < 0x20 ? 0xFFFFFFFF : kind < 0x80 ? 40 : input.below(6000);
  const unsigned int piece = 1 + input.byte() * input.byte() / 16;
  const std::string stream = streamFrom(input);
  const std::vector<Found> expected = expectedOf(stream, limit);
  std::vector<Found> found;
  largestBlock = 0;
  auto reader = std::make_unique<FrameReader>(limit);
  for (std::size_t at = 0; at < stream.size();) {
    const unsigned int how = input.byte();
    const std::size_t size = std::min<std::size_t>(1 + how % piece, stream.size() - at);
    reader->append(stream.data(), at, size);
    at += size;
    if (how % 3 > 0) take(reader, found, limit, how % 8 == 1);
  }
  if (input.flag()) take(reader, found, limit, false);
  reader->close();
  take(reader, found, limit, false);
  expect(largestBlock < blockLimit, "the memory that the reader takes");
  expect(found == expected, "the frames of a stream");
  const FrameReader::State last = reader->next();
  expect(last == expected.back().state, "the end of the stream, asked again");
}

void compareWriting(Input& input) {
  const unsigned long long limit = input.below(3000);
  FrameWriter writer(limit);
  std::string waiting;
  for (int i = 0; i < 20 && !input.isEmpty(); ++i) {
    std::string payload = input.bytes(input.below(32));
    if (input.byte() % 8 == 7) payload.resize(input.below(3000), 'p');
    const bool fits = waiting.size() + 4 + payload.size() <= limit;
    expect(writer.add(payload.data(), 0, payload.size()) == fits, "whether a frame is queued");
    if (fits) {
      connection().sent.clear();
      connection().socket().writeMessage(payload.data(), 0, payload.size());
      waiting += connection().sent;
    }
    const unsigned int count = input.word() % 200;
    writer.remove(count);
    waiting.erase(0, count);
    expect(std::string(writer.bytes(), writer.length()) == waiting, "the bytes that wait");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  connection().forget();
  if (input.byte() < 0xC0) {
    compareReading(input);
  } else {
    compareWriting(input);
  }
  return 0;
}
