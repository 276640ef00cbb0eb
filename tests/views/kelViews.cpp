// Objects for a debugger to show. A comment "VIEW expression: text" states what gdb prints for the expression
// when the program stops at the next call of `stop`; a deeper indented comment continues the text.
// VIEW-OF-LIBRARY does the same for a text that needs the library's debug information. <expression> in a text
// is a number that gdb prints, and the text "..." is any one line. DAMAGE is a change of memory that gdb
// makes before the views that follow it.

#include "infra/oss/kelByteBuffer.hpp"
#include "infra/oss/kelDataBuffer.hpp"
#include "infra/oss/kelIOException.hpp"
#include "infra/oss/kelMessage.hpp"
#include "infra/oss/kelMessageList.hpp"
#include "infra/oss/kelNLSException.hpp"
#include "infra/oss/kelSizeableBuffer.hpp"
#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketException.hpp"
#include "infra/oss/kelSocketServer.hpp"
#include "infra/oss/kelUTF8String.hpp"
#include "infra/util/kelBase64Exception.hpp"
#include "infra/util/kelExtendedProperties.hpp"
#include "infra/util/kelPropertiesException.hpp"

#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <utility>

using tarvo::oss::BaseException;
using tarvo::oss::ByteBuffer;
using tarvo::oss::DataBuffer;
using tarvo::oss::IOException;
using tarvo::oss::Message;
using tarvo::oss::MessageList;
using tarvo::oss::NLSException;
using tarvo::oss::SizeableBuffer;
using tarvo::oss::Socket;
using tarvo::oss::SocketException;
using tarvo::oss::SocketServer;
using tarvo::oss::UTF8String;
using tarvo::util::Base64Exception;
using tarvo::util::ExtendedProperties;
using tarvo::util::PropertiesException;

namespace {

class AppException : public SocketException {
 public:
  using SocketException::SocketException;
};

volatile int steps = 0;

void stop() {
  steps = steps + 1;
}

/// Memory of the size of an object, in which no object was constructed: each byte is `filling`.
template <class T>
class Raw {
 public:
  explicit Raw(unsigned char filling) : start(reinterpret_cast<T*>(bytes_)) {
    std::memset(bytes_, filling, sizeof bytes_);
  }
  Raw(const Raw&) = delete;
  Raw& operator=(const Raw&) = delete;

  T* const start;

 private:
  alignas(T) unsigned char bytes_[sizeof(T)];
};

void messages() {
  const Message empty;
  Message full(u"ERR_DISK_FULL", Message::LEVEL_SEVERE, "store.cpp", 120);
  full.addArgument(u"C:");
  full.addArgument(512);
  const Message text(u"ERR_TEXT", u"Größe \"1\"\n\u0001", Message::LEVEL_INFO);
  Message cleared(full);
  cleared.clear();
  const char16_t lone = 0xD83D;
  const Message half(icu::UnicodeString(lone), u"\U0001F600 in two units", Message::LEVEL_WARNING);
  const icu::UnicodeString manyUnits(5000, u'x', 5000);
  const Message longText(manyUnits, u"", Message::LEVEL_ERROR);
  Message open;
  auto& openId = const_cast<icu::UnicodeString&>(open.getMessageID());
  openId.getBuffer(100);
  icu::UnicodeString source(manyUnits);
  const icu::UnicodeString target(std::move(source));
  const Message moved(source, u"", Message::LEVEL_ERROR);  // NOLINT(bugprone-use-after-move): ICU allows it
  const MessageList none;
  MessageList two(full);
  two.addMessage(text);
  // VIEW empty: "", error
  // VIEW full: "ERR_DISK_FULL" ("C:", "512"), severe, "store.cpp":120
  // VIEW text: "ERR_TEXT", text "Größe \"1\"\n\x01", info
  // VIEW cleared: bogus, text bogus, error, bogus:0
  // VIEW half: "\ud83d", text "😀 in two units", warning
  // VIEW longText: "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx"..., error
  // VIEW open: a text whose buffer is open for writing, error
  // VIEW moved: bogus, error
  // VIEW none: 0 messages
  // VIEW two: 2 messages = {"ERR_DISK_FULL" ("C:", "512"), severe, "store.cpp":120,
  //      "ERR_TEXT", text "Größe \"1\"\n\x01", info}
  stop();
  openId.releaseBuffer(0);
}

void exceptions() {
  const SocketException refused(u"ERR_REFUSED", "kelSocket.cpp", 1);
  BaseException base(u"ERR_BASE", "a.cpp", 2);
  Message more(u"ERR_MORE", u"", Message::LEVEL_INFO);
  base.addMessage(more);
  const NLSException nls(u"N", nullptr, 0);
  const IOException io(u"I", nullptr, 0);
  const PropertiesException properties(u"P", nullptr, 0);
  const Base64Exception base64(u"B", nullptr, 0);
  const AppException app(u"A", nullptr, 0);
  [[maybe_unused]] const BaseException* const pointer = &app;
  BaseException emptied(u"E", nullptr, 0);
  emptied.getMessages().clear();
  // VIEW refused: tarvo::oss::SocketException, 1 message = {"ERR_REFUSED", error, "kelSocket.cpp":1}
  // VIEW base: tarvo::oss::BaseException, 2 messages = {"ERR_BASE", error, "a.cpp":2, "ERR_MORE", info}
  // VIEW nls: tarvo::oss::NLSException, 1 message = {"N", error}
  // VIEW io: tarvo::oss::IOException, 1 message = {"I", error}
  // VIEW properties: tarvo::util::PropertiesException, 1 message = {"P", error}
  // VIEW base64: tarvo::util::Base64Exception, 1 message = {"B", error}
  // VIEW *pointer: (anonymous namespace)::AppException, 1 message = {"A", error}
  // VIEW emptied: tarvo::oss::BaseException, 0 messages
  stop();
}

void buffers() {
  const ByteBuffer bytes("key\0\xFF\"", 6);
  const ByteBuffer unused(100);
  const icu::UnicodeString manyUnits(5000, u'y', 5000);
  const ByteBuffer many(manyUnits, "UTF-8");
  const DataBuffer text("id=4711\x80");
  const DataBuffer onHeap(manyUnits, "UTF-8");
  UTF8String name(u"Grüße 😀");
  name.appendString("\xC3(");
  SizeableBuffer<char, 4> inside;
  std::memcpy(inside.data(), "abcd", 4);
  SizeableBuffer<int, 2> outside;
  outside.resize(3);
  for (int i = 0; i < 3; ++i) outside.data()[i] = i;
  SizeableBuffer<char, 4> without;
  ByteBuffer lost(4);
  try {
    lost.set("abcd", ~0ULL - 1);
  } catch (const std::bad_alloc&) {
    without.resize(4);
  }
  try {
    without.resize(~0ULL);
  } catch (const std::bad_alloc&) {
    steps = 0;
  }
  // VIEW bytes: 6 bytes, capacity 8: "key\0\xff\""
  // VIEW unused: 0 bytes, capacity 128: ""
  // VIEW many: 5000 bytes, capacity 8192: "yyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyy"...
  // VIEW lost: 0 bytes, without storage
  // VIEW text: 8 bytes, capacity 4096: "id=4711\x80"
  // VIEW onHeap: 5000 bytes, capacity 9096: "yyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyy"...
  // VIEW name: 14 bytes, capacity 4096: "Grüße 😀\xc3("
  // VIEW inside: size 4, capacity 4, inside the object = {data = "abcd"}
  // VIEW outside: size 3, capacity 4, on the heap = {data = {0, 1, 2}}
  // VIEW without: size 0, without storage
  stop();
}

void properties() {
  const ExtendedProperties none;
  ExtendedProperties some;
  some.putProperty(u"port", u"80");
  some.putProperty(u"host", u"Zürich");
  some.putProperty(u"a key longer than what an object holds", u"");
  ExtendedProperties including;
  including.addInclude(u"base.properties");
  ExtendedProperties many;
  for (int i = 0; i < 1000; ++i) many.putProperty(icu::UnicodeString(static_cast<char16_t>(0x4E00 + i)), u"");
  // VIEW-OF-LIBRARY none: 0 properties
  // VIEW-OF-LIBRARY some: 3 properties = {["a key longer than what an object holds"] = "",
  //      ["host"] = "Zürich", ["port"] = "80"}
  // VIEW-OF-LIBRARY including: 0 properties, includes "base.properties"
  stop();
}

void sockets() {
  const Socket unconnected;
  SocketServer server;
  server.listen(0, 1, false);
  const unsigned long long timeout = 5000;
  Socket client;
  client.connect(u"127.0.0.1", server.getPort(), Socket::NullAddrInfoExternal, &timeout);
  const Socket view(client);
  [[maybe_unused]] const unsigned long long handle = client.handle();
  [[maybe_unused]] const unsigned int port = client.getPort();
  // VIEW unconnected: no handle
  // VIEW client: handle <handle>, owned, host "127.0.0.1", port <port>
  // VIEW view: handle <handle>, not owned, host "127.0.0.1", port <port>
  stop();
}

// Memory that was never constructed, as in a core file of a program that failed early.
template <unsigned char filling>
void unconstructed() {
  const Raw<Message> message(filling);
  const Raw<MessageList> list(filling);
  const Raw<SocketException> exception(filling);
  const Raw<ByteBuffer> bytes(filling);
  const Raw<DataBuffer> data(filling);
  const Raw<UTF8String> text(filling);
  const Raw<SizeableBuffer<int, 2>> sizeable(filling);
  const Raw<ExtendedProperties> properties(filling);
  const Raw<Socket> socket(filling);
  // VIEW *message.start: ...
  // VIEW *list.start: ...
  // VIEW *exception.start: ...
  // VIEW *bytes.start: ...
  // VIEW *data.start: ...
  // VIEW *text.start: ...
  // VIEW *sizeable.start: ...
  // VIEW *properties.start: ...
  // VIEW *socket.start: ...
  stop();
}

/// Objects that have been destroyed. Their memory may already be used for other objects.
template <class T, class... Arguments>
const T* destroyed(Raw<T>& memory, const Arguments&... arguments) {
  T* const object = new (memory.start) T(arguments...);
  object->~T();
  return object;
}

void destroyedObjects() {
  const Message longText(std::u16string(100, u'x').c_str(), u"", Message::LEVEL_ERROR);
  Raw<Message> message(0);
  Raw<MessageList> list(0);
  Raw<SocketException> exception(0);
  Raw<ByteBuffer> bytes(0);
  Raw<ExtendedProperties> properties(0);
  destroyed(message, longText);
  destroyed(list, longText);
  destroyed(exception, u"ERR", "a.cpp", 1U);
  destroyed(bytes, 4096ULL);
  destroyed(properties);
  // VIEW *message.start: ...
  // VIEW *list.start: 0 messages
  // VIEW *exception.start: ...
  // VIEW *bytes.start: ...
  // VIEW *properties.start: ...
  stop();
}

void damaged() {
  const Message message(u"ERR", u"", Message::LEVEL_ERROR);
  const Message level(u"ERR", u"", Message::LEVEL_ERROR);
  const Message longText(std::u16string(100, u'x').c_str(), u"", Message::LEVEL_ERROR);
  const Message noText(longText);
  Message arguments;
  arguments.addArgument(1);
  arguments.addArgument(2);
  MessageList cycle(message);
  cycle.addMessage(message);
  const MessageList shorter(cycle);
  const MessageList negative;
  const MessageList nowhere(message);
  const SocketException exception(u"ERR", nullptr, 0);
  const ByteBuffer bytes(4);
  const ByteBuffer noStorage(4);
  const ByteBuffer storage(4);
  const DataBuffer length("text");
  const DataBuffer heap("text");
  const UTF8String written("text");
  SizeableBuffer<int, 2> sizeable;
  ExtendedProperties properties;
  properties.putProperty(u"a", u"1");
  const ExtendedProperties count(properties);
  const ExtendedProperties noProperties;
  const Socket socket;
  const Socket handle;
  // The flags of an icu::UnicodeString are at 8, its length at 12, its code units at 24.
  // DAMAGE *(short*)((char*)&message.id_ + 8) = 2 + (28 << 5)
  // VIEW message: damaged: a text has the length 28 and the capacity 27
  // DAMAGE *(short*)((char*)&message.id_ + 8) = 3
  // VIEW message: damaged: a text has the flags 3
  // DAMAGE level.level_ = 77
  // VIEW level: "ERR", level 77
  // DAMAGE *(long*)((char*)&longText.id_ + 24) = 8
  // VIEW longText: damaged: the memory at 0x8 cannot be read
  // DAMAGE *(int*)((char*)&noText.id_ + 12) = 2147483647
  // DAMAGE *(short*)((char*)&noText.id_ + 8) = -28
  // VIEW noText: damaged: a text has the length 2147483647
  //      and the capacity <*(int*)((char*)&noText.id_ + 16)>
  // DAMAGE arguments.arguments_._M_impl._M_node._M_next._M_next = 16
  // VIEW arguments: damaged: the memory at 0x10 cannot be read
  // DAMAGE *(void**)arguments.arguments_._M_impl._M_node._M_next = &arguments
  // VIEW arguments: damaged: the links of a list do not match
  // DAMAGE *(void**)((char*)cycle.last_ + sizeof(Message)) = cycle.first_
  // VIEW cycle: damaged: its count is 2, but the links do not end there
  // DAMAGE cycle.count_ = 1000000
  // VIEW cycle: ...
  // DAMAGE shorter.count_ = 3
  // VIEW shorter: damaged: its count is 3, but the links end earlier
  // DAMAGE negative.count_ = -1
  // VIEW negative: damaged: its count is -1
  // DAMAGE *(void**)((char*)nowhere.first_ + sizeof(Message)) = 16
  // VIEW nowhere: damaged: its count is 1, but the links do not end there
  // DAMAGE *(void**)&exception = 16
  // VIEW exception: damaged: it has no table of virtual functions = {"ERR", error}
  // DAMAGE bytes.storage_->usedSize_ = 2000000000
  // VIEW bytes: damaged: it has 2000000000 bytes of 8 at <(long)bytes.storage_->data_>
  // DAMAGE noStorage.storage_ = 0
  // VIEW noStorage: damaged: it has no storage object
  // DAMAGE storage.storage_ = 16
  // VIEW storage: damaged: Cannot access memory at address 0x18
  // DAMAGE length.block_.length = -1
  // VIEW length: damaged: it has -1 bytes of 4096, of which 4 were written
  // DAMAGE heap.block_.bytes = 16
  // VIEW heap: damaged: its 0 bytes on the heap are at 0x10
  // DAMAGE written.block_.written = 5000
  // VIEW written: damaged: it has 4 bytes of 4096, of which 5000 were written
  // DAMAGE sizeable.data_ = 16
  // VIEW sizeable: damaged: it has 2 elements of 2 at 0x10
  // DAMAGE *(void**)&noProperties.properties_ = 0
  // VIEW noProperties: damaged: it has no properties object
  // DAMAGE *(char*)&socket.ownsHandle_ = 1
  // VIEW socket: damaged: it owns a handle that it does not have
  // DAMAGE *(char*)&handle.ownsHandle_ = 7
  // VIEW handle: damaged: its flag of ownership is 7
  stop();
  std::_Exit(0);  // the objects cannot be destroyed
}

}  // namespace

int main() {
  messages();
  exceptions();
  buffers();
  properties();
  sockets();
  unconstructed<0>();
  unconstructed<0xA5>();
  destroyedObjects();
  damaged();
}
