#include "infra/oss/kelBuildVersion.hpp"
#include "infra/oss/kelByteArrayOutputStream.hpp"
#include "infra/oss/kelByteBuffer.hpp"
#include "infra/oss/kelConverter.hpp"
#include "infra/oss/kelDataBuffer.hpp"
#include "infra/oss/kelDeadline.hpp"
#include "infra/oss/kelFormatter.hpp"
#include "infra/oss/kelFrameReader.hpp"
#include "infra/oss/kelFrameWriter.hpp"
#include "infra/oss/kelMessage.hpp"
#include "infra/oss/kelMessageList.hpp"
#include "infra/oss/kelPoller.hpp"
#include "infra/oss/kelSizeableBuffer.hpp"
#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketException.hpp"
#include "infra/oss/kelSocketServer.hpp"
#include "infra/oss/kelStrictConverter.hpp"
#include "infra/oss/kelStringTokenizer.hpp"
#include "infra/oss/kelUTF8Iterator.hpp"
#include "infra/oss/kelUTF8String.hpp"
#include "infra/oss/kelWakeup.hpp"
#include "infra/trace/kelTraceRecorder.hpp"
#include "infra/util/kelBase64.hpp"
#include "infra/util/kelExtendedProperties.hpp"
#include "infra/util/kelMessageCatalogue.hpp"
#include "infra/util/kelPropertiesEditor.hpp"
#include "infra/util/kelPropertiesReport.hpp"

#include "kelPropertiesFile.hpp"
#include "kelRequestsForMemory.hpp"

#include <unicode/unistr.h>

#include <valgrind/callgrind.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

/// The scenarios: a fixed piece of work for each class. Under Callgrind, the instruction counts of each
/// scenario are written under its name. The program always prints the name of each scenario and its number of
/// allocations. instructions.py checks both numbers.
namespace {

using namespace tarvo::oss;
using tarvo::trace::TraceRecorder;
using tarvo::util::Base64;
using tarvo::util::ExtendedProperties;
using tarvo::util::MessageCatalogue;
using tarvo::util::PropertiesEditor;
using tarvo::util::PropertiesReport;

/// Keeps the compiler from removing the computation of a value.
template <class Value>
void use(const Value& value) {
  asm volatile("" : : "r"(&value) : "memory");
}

const icu::UnicodeString host(u"db.example");

Message sample() {
  Message message(u"ERR_SOCKET_REFUSED", Message::LEVEL_ERROR, "kelSocket.cpp", 120);
  message.addArgument(host);
  message.addArgument(4711);
  return message;
}

void versions() {
  const BuildVersion version;
  use(BuildVersion(version));
}

void messages() {
  icu::UnicodeString line;
  use(sample().toString(line));
}

void messageLists() {
  static const Message message = sample();
  MessageList list;
  for (int i = 0; i < 8; ++i) list.addMessage(message);
  for (const Message* at = list.getFirstMsg(); at != nullptr; at = list.getNextMsg()) use(at);
}

void exceptions() {
  try {
    Socket().write("x", 0, 1);
  } catch (const SocketException& error) {
    use(error);
  }
}

void byteBuffers() {
  ByteBuffer buffer(0ULL);
  for (int i = 0; i < 1000; ++i) buffer.append("0123456789abcdef", 16);
  use(buffer);
}

void streams() {
  std::array<char, 1000> room;
  ByteArrayOutputStream stream(room.data(), room.size());
  for (std::size_t i = 0; i < room.size(); ++i) stream.write(static_cast<char>(i));
  use(room);
}

void textBuffers() {
  DataBuffer buffer(0);
  for (int i = 0; i < 200; ++i) {
    buffer.appendString("0123456789");
    buffer.appendNumber(i * 1'000'003);
    buffer.appendNumber(i * 1.37);
  }
  use(buffer);
}

const std::string& mixedText() {
  static const std::string text = [] {
    std::string made;
    while (made.size() < 4000) made += "caf\xC3\xA9, gar\xC3\xA7on na\xC3\xAFve, plain words ";
    return made;
  }();
  return text;
}

void utf8Strings() {
  const UTF8String string(mixedText().c_str());
  icu::UnicodeString units;
  string.getString(units);
  use(string.numChars());
}

void utf8Iterators() {
  UTF8Iterator iterator(mixedText().c_str());
  while (iterator.getNextChar() != nullptr) use(iterator);
}

void tokenizers() {
  StringTokenizer tokenizer(mixedText().c_str(), "UTF-8", nullptr);
  while (tokenizer.hasMoreTokens()) use(tokenizer.getNextToken());
  tokenizer.getFirstTokenString();
  while (tokenizer.hasMoreTokens()) use(tokenizer.getNextTokenString());
}

void conversions() {
  static const icu::UnicodeString text = icu::UnicodeString::fromUTF8(mixedText());
  std::array<char, 8192> room;
  for (const char* const page : {"windows-1252", "UTF-8", "ISO-8859-1"})
    use(Converter::convert(room.data(), static_cast<int>(room.size()), page, text));
  use(Converter::convert(room.data(), static_cast<int>(room.size()), "UTF-8", mixedText().c_str(),
                         "windows-1252"));
  SizeableBuffer<char, 512> bytes;
  use(Converter::convertToBytes(text, "UTF-8", bytes));
}

void strictConversions() {
  std::array<char, 8192> room;
  for (const char* const page : {"windows-1252", "UTF-16LE"}) {
    StrictConverter stream("UTF-8", page);
    const char* source = mixedText().data();
    char* target = room.data();
    use(stream.convert(source, source + mixedText().size(), target, target + room.size(), true));
  }
  use(StrictConverter::findMalformed(mixedText().data(), mixedText().size()));
}

void formats() {
  icu::UnicodeString text;
  for (int i = 0; i < 100; ++i) {
    Formatter::int64ToString(text, i * 1'000'000'007LL);
    use(Formatter::stringToInt64(text));
    use(Formatter::stringToDouble(text));
  }
}

void base64() {
  std::vector<unsigned short> text(Base64::encodeSize(mixedText().size()));
  const std::size_t units = Base64::encode(text.data(), text.size(), mixedText().data(), mixedText().size());
  std::string bytes(mixedText().size(), '\0');
  use(Base64::decode(bytes.data(), bytes.size(), text.data(), units));
}

const std::string& settings() {
  static const std::string file = tarvo::benchmarks::properties::makeFile(1000);
  return file;
}

void propertiesLoaded() {
  ExtendedProperties properties;
  properties.load(settings().data(), settings().size(), false);
  use(properties);
}

void propertiesAsked() {
  static const ExtendedProperties properties = [] {
    ExtendedProperties loaded;
    loaded.load(settings().data(), settings().size(), false);
    return loaded;
  }();
  static const icu::UnicodeString number(u"component42.setting42");
  static const icu::UnicodeString text(u"component43.setting43");
  for (int i = 0; i < 100; ++i) {
    use(properties.getPropertyAsInt32(number, -1));
    use(properties.requireProperty(text));
  }
  static std::array<char, 100'000> room;
  ByteArrayOutputStream out(room.data(), room.size());
  properties.save(out);
}

void propertiesEdited() {
  PropertiesEditor editor(settings().data(), settings().size());
  editor.set("component42.setting42", "another value");
  editor.remove("component43.setting43");
  use(editor.bytes());
}

void propertiesReported() {
  const PropertiesReport report(settings().data(), settings().size());
  use(report.findings());
}

void catalogues() {
  static const MessageCatalogue& catalogue = []() -> const MessageCatalogue& {
    static MessageCatalogue loaded;
    const std::string text = "ERR_SOCKET_REFUSED = The host {0} refused port {1}.\n";
    loaded.load("", text.data(), text.size());
    return loaded;
  }();
  static const Message message = sample();
  icu::UnicodeString text;
  for (int i = 0; i < 10; ++i) use(catalogue.render(message, "de", text));
}

void frames() {
  FrameWriter writer(1'000'000);
  for (int i = 0; i < 100; ++i) writer.add(mixedText().data(), 0, 100);
  FrameReader reader(1000);
  while (writer.length() > 0) {
    const auto count = std::min(writer.length(), 1000ULL);
    reader.append(writer.bytes(), 0, count);
    writer.remove(count);
    while (reader.next() == FrameReader::FRAME) use(reader.payload());
  }
}

void waits() {
  Wakeup wakeup;
  Poller poller;
  poller.watch(wakeup.handle(), Poller::READ);
  for (int i = 0; i < 10; ++i) {
    wakeup.trigger();
    use(poller.wait(Deadline::never()));
    wakeup.clear();
  }
}

void recordedEvents() {
  TraceRecorder::start(TraceRecorder::Settings());
  for (std::uint32_t i = 0; i < 500; ++i) {
    TraceRecorder::entered(i);
    TraceRecorder::left(i, 0);
  }
  TraceRecorder::stop();
  use(TraceRecorder::lost());
}

/// Both ends are in one thread, because the system buffers the bytes until they are read.
void sockets() {
  SocketServer server;
  server.listen(0, 1, true);
  Socket client;
  Socket accepted;
  const unsigned long long timeout = 10'000;
  client.connect(icu::UnicodeString(u"127.0.0.1"), server.getPort(), Socket::NullAddrInfoExternal, &timeout);
  server.accept(accepted, &timeout);
  std::array<char, 128> bytes{};
  for (int i = 0; i < 10; ++i) {
    unsigned long long length = 0;
    client.writeMessage(bytes.data(), 0, bytes.size());
    accepted.readMessage(bytes.data(), &length, 0, bytes.size(), false);
  }
}

struct Scenario {
  const char* name;
  void (*run)();
};

constexpr Scenario scenarios[] = {
    {"BuildVersion", &versions},
    {"Message", &messages},
    {"MessageList", &messageLists},
    {"exceptions", &exceptions},
    {"ByteBuffer", &byteBuffers},
    {"ByteArrayOutputStream", &streams},
    {"DataBuffer", &textBuffers},
    {"UTF8String", &utf8Strings},
    {"UTF8Iterator", &utf8Iterators},
    {"StringTokenizer", &tokenizers},
    {"Converter", &conversions},
    {"StrictConverter", &strictConversions},
    {"Formatter", &formats},
    {"Base64", &base64},
    {"ExtendedProperties, load", &propertiesLoaded},
    {"ExtendedProperties, ask and save", &propertiesAsked},
    {"PropertiesEditor", &propertiesEdited},
    {"PropertiesReport", &propertiesReported},
    {"MessageCatalogue", &catalogues},
    {"FrameReader and FrameWriter", &frames},
    {"Poller and Wakeup", &waits},
    {"TraceRecorder", &recordedEvents},
    {"Socket", &sockets},
};

std::size_t requests() {
  return tarvo::benchmarks::requestsForMemory().value_or(0);
}

}  // namespace

int main() {
  for (const Scenario& scenario : scenarios) {
    scenario.run();  // objects that are made only once
    const std::size_t before = requests();
    CALLGRIND_ZERO_STATS;
    scenario.run();
    CALLGRIND_DUMP_STATS_AT(scenario.name);
    std::printf("%zu %s\n", requests() - before, scenario.name);
  }
  return 0;
}
