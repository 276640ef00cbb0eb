#include "kelIcuConverters.hpp"
#include "kelWordCounter.hpp"

#include <algorithm>
#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>
#include <boost/endian/conversion.hpp>
#include <boost/system/error_code.hpp>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

/// The service with Asio and ICU: completion handlers on a thread for each processor. Boost has no reader of
/// properties text and no public Base64, so the program has its own.
namespace {

using namespace tarvo::benchmarks::service;
using boost::asio::ip::tcp;
using boost::system::error_code;

// --- Base64

constexpr std::uint8_t invalid = 64;

constexpr std::array<std::uint8_t, 256> base64Values() {
  constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::array<std::uint8_t, 256> values{};
  for (std::uint8_t& value : values) value = invalid;
  for (std::size_t i = 0; i < alphabet.size(); ++i)
    values[static_cast<unsigned char>(alphabet[i])] = static_cast<std::uint8_t>(i);
  return values;
}

std::string decodeBase64(std::string_view text) {
  static constexpr std::array<std::uint8_t, 256> values = base64Values();
  if (text.size() % 4 != 0) throw std::invalid_argument("Base64");
  std::size_t padding = 0;
  while (padding < 2 && padding < text.size() && text[text.size() - 1 - padding] == '=') ++padding;
  std::string bytes(text.size() / 4 * 3, '\0');
  char* next = bytes.data();
  std::uint8_t seen = 0;
  for (std::size_t at = 0; at < text.size(); at += 4) {
    std::uint32_t group = 0;
    for (std::size_t i = at; i < at + 4; ++i) {
      const std::uint8_t value =
          i < text.size() - padding ? values[static_cast<unsigned char>(text[i])] : std::uint8_t{0};
      seen |= value;
      group = group << 6 | (value & 63U);
    }
    *next++ = static_cast<char>(group >> 16);
    *next++ = static_cast<char>(group >> 8);
    *next++ = static_cast<char>(group);
  }
  if ((seen & invalid) != 0) throw std::invalid_argument("Base64");
  bytes.resize(bytes.size() - padding);
  return bytes;
}

// --- properties text

bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\f';
}

bool isLineEnd(char c) {
  return c == '\r' || c == '\n';
}

/// Takes the next line, with the lines that continue it, from `text`; without the blanks that begin a line.
std::string takeLine(std::string_view& text) {
  std::string line;
  for (bool continued = true; continued && !text.empty();) {
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    const auto* const lineEnd = std::find_if(text.begin(), text.end(), isLineEnd);
    line.append(text.begin(), lineEnd);
    text.remove_prefix(static_cast<std::size_t>(lineEnd - text.begin()));
    while (!text.empty() && isLineEnd(text.front())) text.remove_prefix(1);
    const std::size_t last = line.find_last_not_of('\\');
    continued = (line.size() - (last == std::string::npos ? 0 : last + 1)) % 2 == 1;
    if (continued) line.pop_back();
  }
  return line;
}

std::string unescaped(std::string_view text) {
  std::size_t escape = text.find('\\');
  std::string result(text.substr(0, escape));
  while (escape != std::string_view::npos && escape + 1 < text.size()) {
    const char c = text[escape + 1];
    result += c == 'n' ? '\n' : c == 'r' ? '\r' : c == 't' ? '\t' : c;
    const std::size_t rest = escape + 2;
    escape = text.find('\\', rest);
    result += text.substr(rest, escape == std::string_view::npos ? escape : escape - rest);
  }
  return result;
}

using Properties = std::unordered_map<std::string, std::string>;

Properties readProperties(std::string_view text) {
  Properties properties;
  while (!text.empty()) {
    const std::string line = takeLine(text);
    if (line.empty() || line[0] == '#' || line[0] == '!') continue;
    std::size_t keyEnd = 0;
    while (keyEnd < line.size() && line[keyEnd] != '=' && line[keyEnd] != ':' && !isBlank(line[keyEnd]))
      keyEnd += line[keyEnd] == '\\' ? 2U : 1U;
    keyEnd = std::min(keyEnd, line.size());
    std::size_t value = keyEnd;
    while (value < line.size() && isBlank(line[value])) ++value;
    if (value < line.size() && (line[value] == '=' || line[value] == ':')) ++value;
    while (value < line.size() && isBlank(line[value])) ++value;
    const std::string_view view(line);
    properties[unescaped(view.substr(0, keyEnd))] = unescaped(view.substr(value));
  }
  return properties;
}

std::string answer(std::string_view request) {
  try {
    const Properties properties = readProperties(request);
    const std::string document = decodeBase64(properties.at(dataKey));
    return answerOf(wordCounter().count(toUnicode(document, properties.at(codePageKey))));
  } catch (const std::exception&) {
    return refusal;
  }
}

// --- connections

class Conversation : public std::enable_shared_from_this<Conversation> {
 public:
  explicit Conversation(tcp::socket socket) : socket_(std::move(socket)), received_(1024) {
    socket_.set_option(tcp::no_delay(true));
  }

  /// Answers the frame at the front, or receives until it is complete. The program ends the connection if the
  /// client leaves or the frame is too large.
  void next() {
    std::size_t frame = lengthSize;
    if (filled_ >= lengthSize) {
      const std::uint32_t length =
          boost::endian::load_big_u32(reinterpret_cast<const unsigned char*>(received_.data()));
      if (length > requestLimit) return;
      frame += length;
      if (filled_ >= frame) {
        reply(frame);
        return;
      }
    }
    if (received_.size() < frame) received_.resize(frame);
    receive();
  }

 private:
  static constexpr std::size_t lengthSize = 4;

  void receive() {
    socket_.async_read_some(boost::asio::buffer(received_.data() + filled_, received_.size() - filled_),
                            [self = shared_from_this()](const error_code& error, std::size_t count) {
                              if (error) return;
                              self->filled_ += count;
                              self->next();
                            });
  }

  void reply(std::size_t frame) {
    const std::string text = answer({received_.data() + lengthSize, frame - lengthSize});
    std::memmove(received_.data(), received_.data() + frame, filled_ - frame);
    filled_ -= frame;
    reply_.resize(lengthSize);
    boost::endian::store_big_u32(reinterpret_cast<unsigned char*>(reply_.data()),
                                 static_cast<std::uint32_t>(text.size()));
    reply_ += text;
    boost::asio::async_write(socket_, boost::asio::buffer(reply_),
                             [self = shared_from_this()](const error_code& error, std::size_t) {
                               if (!error) self->next();
                             });
  }

  tcp::socket socket_;
  std::vector<char> received_;
  std::size_t filled_ = 0;
  std::string reply_;
};

void accept(tcp::acceptor& acceptor) {
  acceptor.async_accept([&acceptor](const error_code& error, tcp::socket socket) {
    if (!error) std::make_shared<Conversation>(std::move(socket))->next();
    accept(acceptor);
  });
}

void serve() {
  const unsigned int count = std::max(1U, std::thread::hardware_concurrency());
  boost::asio::io_context context(static_cast<int>(count));
  tcp::acceptor acceptor(context, tcp::endpoint(boost::asio::ip::address_v4::loopback(), 0));
  acceptor.listen(1024);
  std::cout << acceptor.local_endpoint().port() << std::endl;
  accept(acceptor);
  std::vector<std::thread> threads;
  for (unsigned int i = 1; i < count; ++i) threads.emplace_back([&context] { context.run(); });
  context.run();
  for (std::thread& thread : threads) thread.join();
}

}  // namespace

int main() {
  return guarded(serve);
}
