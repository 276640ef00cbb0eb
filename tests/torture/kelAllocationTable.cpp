#include "infra/oss/kelBuildVersion.hpp"
#include "infra/oss/kelByteArrayOutputStream.hpp"
#include "infra/oss/kelByteBuffer.hpp"
#include "infra/oss/kelConverter.hpp"
#include "infra/oss/kelDataBuffer.hpp"
#include "infra/oss/kelFormatter.hpp"
#include "infra/oss/kelMessage.hpp"
#include "infra/oss/kelMessageList.hpp"
#include "infra/oss/kelNLSException.hpp"
#include "infra/oss/kelOutputStream.hpp"
#include "infra/oss/kelSizeableBuffer.hpp"
#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketServer.hpp"
#include "infra/oss/kelStringTokenizer.hpp"
#include "infra/oss/kelUTF8Iterator.hpp"
#include "infra/oss/kelUTF8String.hpp"
#include "infra/util/kelBase64.hpp"
#include "infra/util/kelExtendedProperties.hpp"

#include "oss/kelRaise.hpp"
#include "support/kelAllocationsSeam.hpp"
#include "support/kelConnection.hpp"
#include "support/kelRows.hpp"
#include "torture/kelFurtherRequests.hpp"

#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <list>
#include <sstream>
#include <string>
#include <vector>

namespace tarvo::test {
namespace {

using namespace oss;
using util::Base64;
using util::ExtendedProperties;

constexpr errors::Entry<errors::Classes<NLSException>, errors::Kinds<>,
                        errors::Kinds<errors::Host, errors::Port>>
    shortIdentifier{"ERR_SHORT"};

/// Counts the allocations of the work that is passed to it; the other statements of an operation prepare the
/// work.
class Meter {
 public:
  template <class Work>
  void count(Work work) {
    const AllocationCount made;
    work();
    requests += made.made();
  }

  std::size_t requests = 0;
};

struct Row {
  const char* subject;
  const char* operation;
  std::function<void(Meter&)> run;
  bool promised = false;  ///< a header promises that nothing is allocated
};

icu::UnicodeString units(int length) {
  return {length, u'x', length};
}

std::string bytes(std::size_t length) {
  return std::string(length, 'x');
}

const std::vector<Row>& rows() {
  static const std::vector<Row> all = {
      {"Message", "construct", [](Meter& m) { m.count([] { const Message message; }); }},
      {"Message", "add a number",
       [](Meter& m) {
         Message message;
         m.count([&] { message.addArgument(1); });
       }},
      {"Message", "add a text of 27 units",
       [](Meter& m) {
         Message message;
         const auto text = units(27);
         m.count([&] { message.addArgument(text); });
       }},
      {"Message", "add a narrow text of 100 bytes",
       [](Meter& m) {
         Message message;
         const auto text = bytes(100);
         m.count([&] { message.addArgument(text.c_str(), "UTF-8"); });
       }},
      {"Message", "copy, two arguments",
       [](Meter& m) {
         Message message;
         message.addArgument(1);
         message.addArgument(2);
         m.count([&] { const Message copy(message); });
       }},
      {"Message", "toString, 100 units",
       [](Meter& m) {
         const Message message(units(100), u"", Message::LEVEL_ERROR);
         icu::UnicodeString line;
         m.count([&] { message.toString(line); });
       }},
      {"MessageList", "construct, ask, iterate, clear",
       [](Meter& m) {
         const Message message;
         MessageList list(message);
         m.count([&] {
           MessageList empty;
           list.count();
           list.getFirstMsg();
           list.getNextMsg();
           list.clear();
         });
       }},
      {"MessageList", "add a message without arguments",
       [](Meter& m) {
         const Message message;
         MessageList list;
         m.count([&] { list.addMessage(message); });
       }},
      {"MessageList", "copy, three messages",
       [](Meter& m) {
         const Message message;
         MessageList list(message);
         list.addMessage(message);
         list.addMessage(message);
         m.count([&] { const MessageList copy(list); });
       }},
      {"exceptions", "raise without arguments",
       [](Meter& m) {
         m.count([] {
           try {
             raise<NLSException>(shortIdentifier);
           } catch (const NLSException&) {
           }
         });
       }},
      {"exceptions", "raise with a host and a port",
       [](Meter& m) {
         const icu::UnicodeString host(u"host");
         m.count([&] {
           try {
             raise<NLSException>(shortIdentifier, errors::Host{host}, errors::Port{1U});
           } catch (const NLSException&) {
           }
         });
       }},
      {"ByteBuffer", "construct", [](Meter& m) { m.count([] { const ByteBuffer buffer(100); }); }},
      {"ByteBuffer", "append and set within the capacity, clear, compare",
       [](Meter& m) {
         ByteBuffer buffer(100);
         const auto text = bytes(100);
         m.count([&] {
           buffer.append(text.data(), 50);
           buffer.set(text.data(), 100);
           buffer.compare(text.data(), 50);
           buffer.clear();
         });
       }},
      {"ByteBuffer", "append beyond the capacity",
       [](Meter& m) {
         ByteBuffer buffer(100);
         const auto text = bytes(1000);
         m.count([&] { buffer.append(text.data(), 1000); });
       }},
      {"ByteBuffer", "1 MiB by appends of 16 bytes",
       [](Meter& m) {
         const auto text = bytes(16);
         m.count([&] {
           ByteBuffer buffer(0);
           for (int i = 0; i < 65536; ++i) buffer.append(text.data(), 16);
         });
       }},
      {"DataBuffer", "everything up to 4096 bytes",
       [](Meter& m) {
         const auto text = units(100);
         m.count([&] {
           DataBuffer buffer("text");
           buffer.appendString("more");
           buffer.appendNumber(-1);
           buffer.appendNumber(0.5);
           buffer.appendBinary("abc", 3, true);
           buffer.appendString(text, "UTF-8");
           buffer.insertString(2, buffer);
           const DataBuffer copy(buffer);
           buffer.clear(false);
         });
       },
       true},
      {"DataBuffer", "outgrow 4096 bytes",
       [](Meter& m) {
         DataBuffer buffer("text");
         const auto text = bytes(5000);
         m.count([&] { buffer.appendString(text.c_str()); });
       }},
      {"DataBuffer", "1 MiB by appends of 16 bytes",
       [](Meter& m) {
         const auto text = bytes(16);
         m.count([&] {
           DataBuffer buffer(0);
           for (int i = 0; i < 65536; ++i) buffer.appendString(text.c_str());
         });
       }},
      {"UTF8String", "everything up to 4096 bytes",
       [](Meter& m) {
         const auto text = units(100);
         m.count([&] {
           UTF8String string(text);
           string.appendString("more");
           string.insertString(0, text);
           string.compare("x");
           string.numChars();
           const UTF8String copy(string);
           string = text;
         });
       },
       true},
      {"UTF8String", "getString of 100 units",
       [](Meter& m) {
         const UTF8String string(units(100));
         m.count([&] {
           icu::UnicodeString text;
           string.getString(text);
         });
       }},
      {"UTF8Iterator", "construct and walk up to 4096 bytes",
       [](Meter& m) {
         const auto text = bytes(4096);
         m.count([&] {
           UTF8Iterator characters(text.c_str());
           while (characters.hasMoreChars()) characters.getNextChar();
         });
       },
       true},
      {"UTF8Iterator", "construct above 4096 bytes",
       [](Meter& m) {
         const auto text = bytes(5000);
         m.count([&] { const UTF8Iterator characters(text.c_str()); });
       }},
      {"StringTokenizer", "construct of bytes, 1000 tokens",
       [](Meter& m) {
         std::string text;
         for (int i = 0; i < 1000; ++i) text += "word ";
         m.count([&] { const StringTokenizer words(text.c_str(), "ISO-8859-1", nullptr); });
       }},
      {"StringTokenizer", "construct of Unicode, 1000 tokens",
       [](Meter& m) {
         std::string text;
         for (int i = 0; i < 1000; ++i) text += "word ";
         const auto wide = icu::UnicodeString::fromUTF8(text);
         m.count([&] { const StringTokenizer words(wide, nullptr); });
       }},
      {"StringTokenizer", "fetch a token of 27 units, either form",
       [](Meter& m) {
         StringTokenizer words(units(27), nullptr);
         m.count([&] {
           words.getFirstToken();
           static_cast<void>(words.getFirstTokenString());
         });
       }},
      {"Converter", "convert up to 1024 bytes",
       [](Meter& m) {
         const auto text = bytes(1000);
         std::string target(2000, ' ');
         m.count([&] { Converter::convert(target.data(), 2000, "ISO-8859-1", text.c_str(), "UTF-8"); });
       }},
      {"Converter", "convert more than 1024 bytes, to UTF-8",
       [](Meter& m) {
         const auto text = bytes(2000);
         std::string target(4000, ' ');
         m.count([&] { Converter::convert(target.data(), 4000, "ISO-8859-1", text.c_str(), "UTF-8"); });
       }},
      {"Converter", "convert Unicode",
       [](Meter& m) {
         const auto text = units(2000);
         std::string target(4000, ' ');
         m.count([&] { Converter::convert(target.data(), 4000, "UTF-8", text); });
       }},
      {"Converter", "convertToBytes up to the inline store",
       [](Meter& m) {
         const auto text = units(512);
         m.count([&] {
           SizeableBuffer<char, 512> room;
           Converter::convertToBytes(text, "ISO-8859-1", room);
         });
       },
       true},
      {"Converter", "convertToBytes beyond the inline store",
       [](Meter& m) {
         const auto text = units(513);
         m.count([&] {
           SizeableBuffer<char, 512> room;
           Converter::convertToBytes(text, "ISO-8859-1", room);
         });
       }},
      {"Formatter", "numbers to text, text to integers",
       [](Meter& m) {
         icu::UnicodeString text;
         m.count([&] {
           Formatter::int64ToString(text, -1);
           Formatter::stringToInt64(text);
           Formatter::int64ToHexLiteral(text, 31, true);
         });
       },
       true},
      {"Formatter", "text to a floating-point number",
       [](Meter& m) {
         const icu::UnicodeString text(u"1.5");
         m.count([&] {
           Formatter::stringToDouble(text);
           Formatter::stringToDouble("1.5");
         });
       }},
      {"Base64", "encode, decode",
       [](Meter& m) {
         const auto text = bytes(3000);
         std::vector<unsigned short> wide(4000);
         std::string back(3000, ' ');
         m.count([&] {
           Base64::encode(wide.data(), 4000, text.data(), 3000);
           Base64::decode(back.data(), 3000, wide.data(), 4000);
         });
       },
       true},
      {"ByteArrayOutputStream", "construct, write",
       [](Meter& m) {
         std::string room(100, ' ');
         m.count([&] {
           ByteArrayOutputStream stream(room.data(), 100);
           static_cast<OutputStream&>(stream).write("text");
         });
       }},
      {"BuildVersion", "construct of the built-in version",
       [](Meter& m) { m.count([] { const BuildVersion version; }); }},
      {"BuildVersion", "copy",
       [](Meter& m) {
         const BuildVersion version;
         m.count([&] { const BuildVersion copy(version); });
       }},
      {"ExtendedProperties", "put a short property",
       [](Meter& m) {
         ExtendedProperties p;
         m.count([&] { p.putProperty(u"key", u"value"); });
       }},
      {"ExtendedProperties", "ask for a text, an integer, a boolean",
       [](Meter& m) {
         ExtendedProperties p;
         p.putProperty(u"key", u"1");
         const icu::UnicodeString key(u"key");
         m.count([&] {
           p.requireProperty(key);
           p.getPropertyAsInt32(key, 1);
           p.getPropertyAsBoolean(key, false);
         });
       }},
      {"ExtendedProperties", "load 100 short lines",
       [](Meter& m) {
         std::string text;
         for (int i = 0; i < 100; ++i) text += "key" + std::to_string(i) + "=value\n";
         ExtendedProperties p;
         m.count([&] { p.load(text.data(), text.size()); });
       }},
      {"ExtendedProperties", "save 100 short properties",
       [](Meter& m) {
         ExtendedProperties p;
         for (int i = 0; i < 100; ++i)
           p.putPropertyAsInt32(icu::UnicodeString::fromUTF8(std::to_string(i)), i);
         std::string room(10000, ' ');
         ByteArrayOutputStream stream(room.data(), room.size());
         m.count([&] { p.save(stream); });
       }},
      {"Socket", "construct, copy",
       [](Meter& m) {
         m.count([] {
           const Socket socket;
           const Socket view(socket);
         });
       }},
      {"Socket", "connect to an address in digits",
       [](Meter& m) {
         Peer peer;
         Socket socket;
         const icu::UnicodeString host(u"127.0.0.1");
         m.count([&] { socket.connect(host, peer.port(), Socket::NullAddrInfoExternal, nullptr); });
       }},
      {"Socket", "write, read, frames, options",
       [](Meter& m) {
         Connection c;
         c.peer.sends(8);
         std::string room(100, ' ');
         m.count([&] {
           c.socket.setTimeout(10000);
           c.socket.write(room.data(), 0, 100);
           c.socket.writeMessage(room.data(), 0, 100);
           c.socket.readOnce(room.data(), 0, 4);
         });
       }},
      {"Socket", "select of two sockets in one list",
       [](Meter& m) {
         Connection one;
         Connection two;
         std::list<Socket> none;
         std::list<Socket> write{one.socket, two.socket};
         const unsigned long long now = 0;
         m.count([&] { Socket::select(none, write, none, &now); });
       }},
      {"SocketServer", "construct", [](Meter& m) { m.count([] { const SocketServer server; }); }},
      {"SocketServer", "listen",
       [](Meter& m) {
         SocketServer server;
         m.count([&] { server.listen(0, 4, true); });
       }},
      {"SocketServer", "accept",
       [](Meter& m) {
         SocketServer server;
         server.listen(0, 4, true);
         Socket caller;
         caller.connect(u"127.0.0.1", server.getPort(), Socket::NullAddrInfoExternal, nullptr);
         Socket client;
         m.count([&] { server.accept(client, nullptr); });
       }},
  };
  return all;
}

std::size_t requestsOf(const Row& row) {
  Meter first;
  row.run(first);  // from here on, ICU and the library have allocated what they keep
  Meter meter;
  row.run(meter);
  return meter.requests;
}

std::string table() {
  std::ostringstream text;
  text << "| class | operation | requests |\n|---|---|---:|\n";
  for (const Row& row : rows()) {
    text << "| " << row.subject << " | " << row.operation << " | "
         << requestsOf(row) - furtherRequests(row.subject, row.operation)
         << (row.promised ? " (promised)" : "") << " |\n";
  }
  return text.str();
}

TEST(AllocationTable, CountsNoAllocationWhereAHeaderPromisesNone) {
  for (const Row& row : rowsOf(rows())) {
    if (row.promised) {
      EXPECT_EQ(requestsOf(row), 0U) << row.subject << ": " << row.operation;
    }
  }
}

// The table of docs/allocations.md holds the counts on Linux. With KELINFRA_PRINT_ALLOCATIONS in the
// environment
// it is printed, to be copied there.
TEST(AllocationTable, EqualsTheTableInTheManual) {
  const std::string counted = table();
  if (std::getenv("KELINFRA_PRINT_ALLOCATIONS") != nullptr) std::printf("%s", counted.c_str());
  std::ifstream file(KELINFRA_DOCS "/allocations.md");
  const std::string manual{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  EXPECT_NE(manual.find(counted), std::string::npos) << counted;
}

}  // namespace
}  // namespace tarvo::test
