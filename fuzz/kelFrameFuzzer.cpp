#include "infra/oss/kelSocket.hpp"

#include "kelFuzz.hpp"
#include "kelLargestBlock.hpp"
#include "support/kelFakeWinsockSeam.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <deque>
#include <limits>
#include <string>
#include <utility>
#include <vector>

/// Frames, and bytes that are no frames, from a peer that sends them in pieces of any size, and frames to a
/// peer that receives them in such pieces. Compared with a model that reads byte by byte.
namespace {

using tarvo::fuzz::decimal;
using tarvo::fuzz::errorOf;
using tarvo::fuzz::expect;
using tarvo::fuzz::Input;
using tarvo::fuzz::ToldError;
using tarvo::fuzz::units;
using tarvo::oss::Socket;

constexpr int mostSteps = 20;
const std::u16string host = u"peer.example";
constexpr unsigned int port = 4711;

// --- the peer

/// The result of one receive: some bytes, or the code of its failure.
struct Event {
  std::string bytes;
  int code = 0;

  friend bool operator==(const Event&, const Event&) = default;
};

/// The peer's events in order, after which the stream ends.
using Stream = std::deque<Event>;

/// A length word, which may be false.
std::string lengthWord(Input& input, std::size_t truth) {
  constexpr std::uint32_t lies[] = {0xFFFFFFFF, 0x80000000, 0x7FFFFFFF, 0x40000001,
                                    0x40000000, 1025,       1024,       0};
  const unsigned int kind = input.byte();
  const std::uint32_t length = kind < 0x80   ? static_cast<std::uint32_t>(truth)
                               : kind < 0xC0 ? lies[kind % std::size(lies)]
                                             : static_cast<std::uint32_t>(truth + kind - 0xE0);
  std::string word;
  for (int shift = 24; shift >= 0; shift -= 8) word += static_cast<char>(length >> shift & 0xFF);
  return word;
}

int codeFrom(Input& input) {
  constexpr int codes[] = {10054, 10060, 10035, 10053, 10057, 10058, 10038, 10061, 10048, 10022};
  return codes[input.below(std::size(codes))];
}

/// `bytes` cut into pieces.
void cut(Stream& stream, const std::string& bytes, Input& input) {
  const unsigned int most = input.byte();
  for (std::size_t at = 0; at < bytes.size();) {
    const std::size_t size = most == 0 ? bytes.size() : 1 + input.byte() % most;
    stream.push_back({bytes.substr(at, size), 0});
    at += size;
    if (stream.size() > 3000) return;
  }
}

Stream streamFrom(Input& input) {
  Stream stream;
  for (unsigned int steps = input.below(12); steps > 0; --steps) {
    const unsigned int kind = input.byte();
    if (kind >= 0xD0) {
      // A connection stays reset; other errors are temporary.
      const int code = codeFrom(input);
      for (int times = code == 10054 ? 40 : 1; times > 0; --times) stream.push_back({"", code});
      continue;
    }
    std::string payload = input.bytes(input.below(48));
    if (kind % 8 == 7) payload.resize(input.below(6000), 'f');
    cut(stream, kind % 4 == 3 ? payload : lengthWord(input, payload.size()) + payload, input);
  }
  return stream;
}

// --- what is expected

std::optional<ToldError> mapped(int code) {
  constexpr std::array<std::pair<int, const char*>, 6> names = {
      {{10048, "QN_ERR_SOCKET_ADDRESS_IN_USE"},
       {10054, "QN_ERR_SOCKET_CONNECTION_RESET"},
       {10057, "QN_ERR_SOCKET_NOT_CONNECTED"},
       {10058, "QN_ERR_SOCKET_SHUTDOWN"},
       {10060, "QN_ERR_SOCKET_TIMEOUT"},
       {10061, "QN_ERR_SOCKET_CONNECTION_REFUSED"}}};
  for (const auto& [known, identifier] : names) {
    if (known == code) return ToldError{identifier, {host, decimal(port)}};
  }
  return ToldError{"QN_ERR_SOCKET_ERROR", {decimal(code), host, decimal(port)}};
}

/// Error arguments show numbers as signed 32-bit integers.
std::u16string told(unsigned long long number) {
  return decimal(static_cast<std::int32_t>(static_cast<std::uint32_t>(number)));
}

struct Outcome {
  std::optional<ToldError> error;
  std::string bytes;  // all bytes received, including those before an error
};

class Model {
 public:
  explicit Model(Stream& stream) : stream_(stream) {}

  Outcome readOnce(unsigned long long length) {
    if (length == 0 || stream_.empty()) return {};
    Event& first = stream_.front();
    if (first.code != 0) return {mapped(takeCode()), ""};
    Outcome outcome;
    std::size_t left = std::min<unsigned long long>(first.bytes.size(), length);
    for (; left > 0; --left) outcome.bytes += takeByte();
    return outcome;
  }

  Outcome read(unsigned long long length) {
    Outcome outcome;
    while (outcome.bytes.size() < length && !stream_.empty()) {
      if (stream_.front().code != 0) {
        outcome.error = mapped(takeCode());
        break;
      }
      outcome.bytes += takeByte();
    }
    return outcome;
  }

  Outcome readMessage(unsigned long long& frameLength, unsigned long long capacity, bool drain,
                      bool goodRange) {
    const Outcome word = read(4);
    if (word.error) return {word.error, ""};
    if (word.bytes.empty()) return {ToldError{"ERR_SOCKET_CLOSED", {host, decimal(port)}}, ""};
    unsigned long long length = 0;
    for (std::size_t i = 0; i < 4; ++i)
      length = length * 256 + (i < word.bytes.size() ? static_cast<unsigned char>(word.bytes[i]) : 0);
    frameLength = length;
    if (length > capacity) {
      if (drain) {
        const Outcome dropped = read(length);
        if (dropped.error) return {dropped.error, ""};
      }
      return {ToldError{"ERR_DEST_BUFFER_TOO_SMALL", {told(capacity), told(length)}}, ""};
    }
    if (length > 0 && !goodRange) return {mapped(10014), ""};
    return read(length);
  }

 private:
  int takeCode() {
    const int code = stream_.front().code;
    stream_.pop_front();
    return code;
  }
  char takeByte() {
    const char byte = stream_.front().bytes.front();
    stream_.front().bytes.erase(0, 1);
    if (stream_.front().bytes.empty()) stream_.pop_front();
    return byte;
  }

  Stream& stream_;
};

// --- the library, with a system that simulates the peer

/// The longest block allocated: a length that a peer only claims must not cost memory.
std::atomic<std::size_t> largestBlock = 0;
constexpr std::size_t blockLimit = std::size_t{1} << 22;

class Peer {
 public:
  Peer() {
    tarvo::fuzz::noteLargestBlock(largestBlock);
    fake_.inventsHandles(5000);
    fake_.on.getaddrinfo = [](auto, auto, const auto&, auto& list) {
      list = {tarvo::test::inetAddress("10.0.0.1", port)};
      return 0;
    };
    fake_.on.recv = [this](auto, char* bytes, int length) { return give(bytes, length); };
    fake_.on.send = [this](auto, const char* bytes, int length) { return take(bytes, length); };
    socket_.emplace();
    socket_->connect(tarvo::fuzz::unicode(host), port, Socket::NullAddrInfoExternal, nullptr);
  }

  Socket& socket() { return *socket_; }
  void forget() { fake_.forget(); }

  Stream stream;          // the bytes and errors to receive
  std::string taken;      // the bytes of all sends
  std::size_t piece = 1;  // the most that one send takes
  std::size_t room = 0;   // the most that all sends take together; then a send fails
  int code = 0;

 private:
  int give(char* bytes, int length) {
    if (length == 0 || stream.empty()) return 0;
    Event& first = stream.front();
    if (first.code != 0) {
      const int failure = first.code;
      stream.pop_front();
      return fake_.fails(failure);
    }
    const std::size_t count = std::min(first.bytes.size(), static_cast<std::size_t>(length));
    std::memcpy(bytes, first.bytes.data(), count);
    first.bytes.erase(0, count);
    if (first.bytes.empty()) stream.pop_front();
    return static_cast<int>(count);
  }
  int take(const char* bytes, int length) {
    const std::size_t count = std::min({static_cast<std::size_t>(length), piece, room - taken.size()});
    if (count == 0) return fake_.fails(code);
    taken.append(bytes, count);
    return static_cast<int>(count);
  }

  tarvo::test::FakeWinsock fake_;
  std::optional<Socket> socket_;
};

Peer& peer() {
  static Peer peer;
  return peer;
}

constexpr char filler = '\x5A';

/// The bytes received are at the offset; all other bytes of the buffer are unchanged.
void compareBuffer(const std::vector<char>& buffer, std::size_t offset, const std::string& came) {
  std::vector<char> expected(buffer.size(), filler);
  std::copy(came.begin(), came.end(), expected.begin() + static_cast<std::ptrdiff_t>(offset));
  expect(buffer == expected, "the bytes received, and those beside them");
}

/// The number of bytes that are not yet received.
std::size_t bytesLeft() {
  std::size_t count = 0;
  for (const Event& event : peer().stream) count += event.bytes.size();
  return count;
}

/// A buffer that ends after `length` bytes, or after all bytes that the peer still sends. The address
/// sanitizer notices access beyond its end.
std::vector<char> bufferFor(std::size_t offset, unsigned long long length) {
  return std::vector<char>(
      offset + static_cast<std::size_t>(std::min<unsigned long long>(length, bytesLeft())), filler);
}

unsigned long long lengthFrom(Input& input) {
  constexpr unsigned long long large[] = {0xFFFFFFFF, 0x7FFFFFFF, 0x80000000,
                                          0x40000000, 1ULL << 40, 0xFFFFFFFE};
  const unsigned int kind = input.byte();
  if (kind >= 0xE0) return large[kind % std::size(large)];
  return kind < 0xC0 ? kind % 64 : input.below(6000);
}

void compareRead(Model& model, Input& input, bool once) {
  const std::size_t offset = input.below(8);
  const unsigned long long length = lengthFrom(input);
  std::vector<char> buffer = bufferFor(offset, length);
  buffer.reserve(1);
  const Outcome expected = once ? model.readOnce(length) : model.read(length);
  unsigned long long count = 0;
  const auto error = errorOf([&] {
    count = once ? peer().socket().readOnce(buffer.data(), offset, length)
                 : peer().socket().read(buffer.data(), offset, length);
  });
  expect(error == expected.error, "how a read ends");
  if (!error) expect(count == expected.bytes.size(), "the count of a read");
  compareBuffer(buffer, offset, expected.bytes);
}

void compareReadMessage(Model& model, Input& input) {
  const unsigned int kind = input.byte();
  const bool drain = (kind & 1) != 0;
  const bool asksLength = (kind & 2) != 0;
  const bool goodRange = kind < 0xE0;
  const std::size_t offset = input.below(8);
  const unsigned long long capacity = lengthFrom(input);
  std::vector<char> buffer = bufferFor(offset, capacity);
  buffer.reserve(1);
  constexpr unsigned long long wild = std::numeric_limits<unsigned long long>::max();
  unsigned long long expectedLength = 99;
  const Outcome expected = model.readMessage(expectedLength, capacity, drain, goodRange);
  unsigned long long count = 0;
  unsigned long long length = 99;
  const auto error = errorOf([&] {
    count = peer().socket().readMessage(goodRange || kind >= 0xF0 ? buffer.data() : nullptr,
                                        asksLength ? &length : nullptr, kind >= 0xF0 ? wild : offset,
                                        capacity, drain);
  });
  expect(error == expected.error, "how reading a frame ends");
  if (!error) expect(count == expected.bytes.size(), "the bytes of a frame that came");
  if (asksLength) expect(length == expectedLength, "the length of a frame");
  compareBuffer(buffer, offset, expected.bytes);
}

/// The peer takes `room` bytes, in pieces; then every send fails.
void compareWrite(Input& input, bool framed) {
  const std::size_t offset = input.below(8);
  std::string payload = input.bytes(input.below(32));
  if (input.flag()) payload.resize(input.below(5000), 'p');
  const std::vector<char> buffer = [&] {
    std::vector<char> all(offset, filler);
    all.insert(all.end(), payload.begin(), payload.end());
    return all;
  }();
  std::string expected = payload;
  if (framed) {
    for (int shift = 0; shift < 32; shift += 8)
      expected.insert(0, 1, static_cast<char>(payload.size() >> shift & 0xFF));
  }
  peer().taken.clear();
  peer().piece = 1 + input.word() % 3000;
  peer().room = input.flag() ? expected.size() : input.below(5000);
  peer().code = codeFrom(input);
  const auto error = errorOf([&] {
    if (framed) {
      peer().socket().writeMessage(buffer.data(), offset, payload.size());
    } else {
      peer().socket().write(buffer.data(), offset, payload.size());
    }
  });
  const bool fits = expected.size() <= peer().room;
  expect(error == (fits ? std::nullopt : mapped(peer().code)), "how a write ends");
  expect(peer().taken == expected.substr(0, peer().room), "the bytes sent");
}

void step(Model& model, Input& input) {
  const unsigned int kind = input.byte();
  if (kind < 0xA0) return compareReadMessage(model, input);
  if (kind < 0xE0) return compareRead(model, input, kind % 2 == 1);
  return compareWrite(input, kind % 4 > 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  peer().forget();
  peer().stream = streamFrom(input);
  Stream ofTheModel = peer().stream;
  Model model(ofTheModel);
  largestBlock = 0;
  for (int i = 0; i < mostSteps && !input.isEmpty(); ++i) {
    step(model, input);
    expect(std::equal(ofTheModel.begin(), ofTheModel.end(), peer().stream.begin(), peer().stream.end()),
           "what is left to be received");
  }
  expect(largestBlock < blockLimit, "the memory that a read takes");
  return 0;
}
