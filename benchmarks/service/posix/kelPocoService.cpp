#include "kelIcuConverters.hpp"
#include "kelWordCounter.hpp"

#include <Poco/AutoPtr.h>
#include <Poco/Base64Decoder.h>
#include <Poco/ByteOrder.h>
#include <Poco/Exception.h>
#include <Poco/MemoryStream.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/SocketAddress.h>
#include <Poco/Net/StreamSocket.h>
#include <Poco/Net/TCPServer.h>
#include <Poco/Net/TCPServerConnection.h>
#include <Poco/Net/TCPServerConnectionFactory.h>
#include <Poco/Net/TCPServerParams.h>
#include <Poco/StreamCopier.h>
#include <Poco/ThreadPool.h>
#include <Poco/Util/PropertyFileConfiguration.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <exception>
#include <iostream>
#include <string>

/// The service with Poco: a thread for each connection. The service converts with ICU, because Poco has no
/// converter for GB18030, and ICU's word boundaries need UTF-16.
namespace {

using namespace tarvo::benchmarks::service;

std::string decodeBase64(const std::string& text) {
  Poco::MemoryInputStream stream(text.data(), static_cast<std::streamsize>(text.size()));
  Poco::Base64Decoder decoder(stream);
  std::string bytes;
  Poco::StreamCopier::copyToString(decoder, bytes);
  if (decoder.bad()) throw Poco::DataFormatException("Base64");
  return bytes;
}

std::string answer(const char* request, std::size_t length) {
  try {
    Poco::MemoryInputStream stream(request, static_cast<std::streamsize>(length));
    const Poco::AutoPtr<Poco::Util::PropertyFileConfiguration> properties(
        new Poco::Util::PropertyFileConfiguration(stream));
    const std::string codePage = properties->getRawString(codePageKey);
    const std::string document = decodeBase64(properties->getRawString(dataKey));
    return answerOf(wordCounter().count(toUnicode(document, codePage)));
  } catch (const std::exception&) {
    return refusal;
  }
}

class Conversation : public Poco::Net::TCPServerConnection {
 public:
  using TCPServerConnection::TCPServerConnection;

  void run() override {
    socket().setNoDelay(true);
    while (receiveFrame()) {
      const std::string text = answer(received_.data() + lengthSize, frame_ - lengthSize);
      received_.erase(0, frame_);
      send(text);
    }
  }

 private:
  static constexpr std::size_t lengthSize = 4;

  /// Receives until there is a whole frame. False if the client has left, or the frame is too large.
  bool receiveFrame() {
    while (!hasFrame()) {
      if (frame_ > requestLimit) return false;
      char bytes[4096];
      const int count = socket().receiveBytes(bytes, sizeof bytes);
      if (count <= 0) return false;
      received_.append(bytes, static_cast<std::size_t>(count));
    }
    return true;
  }

  bool hasFrame() {
    frame_ = 0;
    if (received_.size() < lengthSize) return false;
    Poco::UInt32 length = 0;
    std::memcpy(&length, received_.data(), lengthSize);
    frame_ = lengthSize + Poco::ByteOrder::fromNetwork(length);
    return received_.size() >= frame_;
  }

  void send(const std::string& text) {
    const Poco::UInt32 length = Poco::ByteOrder::toNetwork(static_cast<Poco::UInt32>(text.size()));
    std::string frame(reinterpret_cast<const char*>(&length), lengthSize);
    frame += text;
    for (std::size_t sent = 0; sent < frame.size();) {
      sent += static_cast<std::size_t>(
          socket().sendBytes(frame.data() + sent, static_cast<int>(frame.size() - sent)));
    }
  }

  std::string received_;
  std::size_t frame_ = 0;  // the size of the first frame, with its length
};

void serve() {
  Poco::Net::ServerSocket listener(Poco::Net::SocketAddress("127.0.0.1", 0), 1024);
  constexpr int most = 1200;
  Poco::ThreadPool threads(2, most);
  Poco::AutoPtr<Poco::Net::TCPServerParams> params(new Poco::Net::TCPServerParams);
  params->setMaxThreads(most);
  params->setMaxQueued(most);
  Poco::Net::TCPServer server(new Poco::Net::TCPServerConnectionFactoryImpl<Conversation>, threads, listener,
                              params);
  server.start();
  std::cout << server.port() << std::endl;
  for (;;) pause();
}

}  // namespace

int main() {
  return guarded(serve);
}
