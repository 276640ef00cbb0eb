#include "infra/oss/kelBaseException.hpp"
#include "infra/oss/kelBuildVersion.hpp"
#include "infra/oss/kelByteArrayOutputStream.hpp"
#include "infra/oss/kelByteBuffer.hpp"
#include "infra/oss/kelPrintStream.hpp"
#include "infra/oss/kelSizeableBuffer.hpp"
#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelStringTokenizer.hpp"
#include "infra/oss/kelUTF8Iterator.hpp"
#include "infra/oss/kelUTF8String.hpp"
#include "infra/util/kelExtendedProperties.hpp"

// The marked lines keep the result of a member longer than the temporary object or argument that it refers
// to. Clang must warn on these lines, and on no others.

void use(const icu::UnicodeString& text);
void use(const char* text);

namespace {

using namespace tarvo::oss;
using icu::UnicodeString;
using tarvo::util::ExtendedProperties;
using Scratch = SizeableBuffer<char, 8>;
using Storage = DefaultAlternateBuffer<char>;

[[maybe_unused]] void keepWhatTemporariesHold(const ExtendedProperties& p, const UnicodeString& text) {
  const UnicodeString& fallback = p.getProperty("k", "fallback");              // reported: temporary
  const UnicodeString& value = ExtendedProperties(p).getProperty("k", text);   // reported: temporary
  const UnicodeString& required = ExtendedProperties(p).requireProperty("k");  // reported: temporary
  const UnicodeString& key = ExtendedProperties(p).get(p.begin());             // reported: temporary
  const auto begin = ExtendedProperties(p).begin();                            // reported: temporary
  const auto end = ExtendedProperties(p).end();                                // reported: temporary
  const ExtendedProperties& assigned = ExtendedProperties() = p;               // reported: temporary

  const char* const bytes = DataBuffer("x").getString();                        // reported: temporary
  const char* const utf8 = UTF8String("x").getString();                         // reported: temporary
  const UTF8String& fromText = UTF8String("x") = text;                          // reported: temporary
  const UTF8String& fromBytes = UTF8String("x") = "y";                          // reported: temporary
  const char* const whole = UTF8Iterator("x").getString();                      // reported: temporary
  const char* const first = UTF8Iterator("x").getFirstChar();                   // reported: temporary
  const char* const next = UTF8Iterator("x").getNextChar();                     // reported: temporary
  const char* const firstToken = StringTokenizer("x", "", "").getFirstToken();  // reported: temporary
  const char* const nextToken = StringTokenizer("x", "", "").getNextToken();    // reported: temporary
  const char* const raw = ByteBuffer(8).get();                                  // reported: temporary
  const ByteBuffer& copied = ByteBuffer(8) = ByteBuffer(9);                     // reported: temporary
  const char* const stored = Storage().data();                                  // reported: temporary
  char* const scratch = Scratch().data();                                       // reported: temporary
  const char* const constant = std::add_const_t<Scratch>().data();              // reported: temporary
  ByteArrayOutputStream stream(Scratch().data(), 8);                            // reported: temporary

  const UnicodeString& id = Message().getMessageID();                               // reported: temporary
  const UnicodeString& code = Message().getMessageCode();                           // reported: temporary
  const UnicodeString& formatted = Message().getFormattedMessage();                 // reported: temporary
  const UnicodeString& file = Message().getFileName();                              // reported: temporary
  const std::list<UnicodeString>& arguments = Message().getMessageArgs();           // reported: temporary
  Message& message = MessageList().getFirstMessage();                               // reported: temporary
  const Message& constMessage = std::add_const_t<MessageList>().getFirstMessage();  // reported: temporary
  const Message* const firstMessage = MessageList().getFirstMsg();                  // reported: temporary
  const Message* const nextMessage = MessageList().getNextMsg();                    // reported: temporary
  MessageList& messages = BaseException(text, "", 0).getMessages();                 // reported: temporary
  Message& error = BaseException(text, "", 0).getErrorMessage();                    // reported: temporary
  const Message& constError =
      std::add_const_t<BaseException>(text, "", 0).getErrorMessage();  // reported: temporary

  BuildVersion other;
  const UnicodeString& version = BuildVersion().getBuildVersion();      // reported: temporary
  const UnicodeString& protocol = BuildVersion().getProtocolVersion();  // reported: temporary
  const UnicodeString& product = BuildVersion().getProductVersion();    // reported: temporary
  const UnicodeString& build = BuildVersion().getBuildNumberString();   // reported: temporary
  const BuildVersion& versions = BuildVersion() = other;                // reported: temporary
  const UnicodeString& host = Socket().getHost();                       // reported: temporary
  PrintStream& printed = PrintStream() << 1;                            // reported: temporary
}

[[maybe_unused]] const UnicodeString& returnsALocal(const Message& message) {
  UnicodeString line;
  return message.toString(line);  // reported: stack memory
}

[[maybe_unused]] void useWhatLivesLongEnough(const ExtendedProperties& p, const UnicodeString& text) {
  use(p.getProperty("k", "fallback"));
  use(UTF8String("x").getString());
  const UnicodeString copy = p.getProperty("k", "fallback");
  const UnicodeString& value = p.getProperty("k", text);
  const UnicodeString& required = p.requireProperty("k");
  const DataBuffer buffer("x");
  const char* const bytes = buffer.getString();
  UnicodeString line;
  const UnicodeString& rendered = Message().toString(line);
  ossOut << 1 << "x";
}

}  // namespace
