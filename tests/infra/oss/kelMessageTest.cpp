#include "infra/oss/kelMessage.hpp"

#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/ucnv.h>

#include <cstdint>
#include <ctime>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace tarvo::test {
namespace {

using icu::UnicodeString;
using oss::Message;
using testing::ElementsAre;
using testing::IsEmpty;

// --- properties of the type
// ---------------------------------------------------------------------------------------

static_assert(!std::is_polymorphic_v<Message>);
static_assert(std::is_default_constructible_v<Message>);
static_assert(std::is_copy_constructible_v<Message>);
static_assert(!std::is_copy_assignable_v<Message> && !std::is_move_assignable_v<Message>);
static_assert(std::is_same_v<std::underlying_type_t<Message::Level>, int> && sizeof(Message::Level) == 4);
static_assert(std::is_convertible_v<Message::Level, int>);
static_assert(Message::LEVEL_INFO == 1 && Message::LEVEL_WARNING == 2);
static_assert(Message::LEVEL_ERROR == 4 && Message::LEVEL_SEVERE == 8);

constexpr Message::Level everyLevel[] = {Message::LEVEL_INFO, Message::LEVEL_WARNING, Message::LEVEL_ERROR,
                                         Message::LEVEL_SEVERE};

// --- the fields of a message as text
// -----------------------------------------------------------------------------------

std::string rendered(const Message& message) {
  UnicodeString line;
  return utf8(message.toString(line));
}

std::string shown(const UnicodeString& text) {
  return text.isBogus() ? "(bogus)" : "\"" + utf8(text) + "\"";
}

// All fields that callers can read. A bogus string differs from an empty one.
std::string fieldsOf(const Message& message) {
  std::string all = shown(message.getMessageID()) + " " + shown(message.getMessageCode()) + " " +
                    shown(message.getFormattedMessage()) + " level " +
                    std::to_string(message.getMessageLevel()) + " " + shown(message.getFileName()) + ":" +
                    std::to_string(message.getLineNumber()) + " " +
                    std::to_string(message.getMessageArgsCount()) + " arguments";
  for (const UnicodeString& argument : message.getMessageArgs()) all += " " + shown(argument);
  return all;
}

const std::string fresh = R"("" "" "" level 4 "":0 0 arguments)";
const std::string cleared = "(bogus) (bogus) (bogus) level 4 (bogus):0 0 arguments";
const std::string filled = R"("ERR_A" "ERR_A" "text" level 8 "kelA.cpp":17 2 arguments "one" "2")";

void fill(Message& message) {
  message.setMessageID(u"ERR_A");
  message.setMessageText(u"text");
  message.setMessageLevel(Message::LEVEL_SEVERE);
  message.setFileName("kelA.cpp");
  message.setLineNumber(17);
  message.addArgument(u"one");
  message.addArgument(2);
}

// --- construction
// -------------------------------------------------------------------------------------------

TEST(Message, StartsEmptyAndNotBogus) {
  EXPECT_EQ(fieldsOf(Message()), fresh);
}

TEST(Message, StoresIdentifierTextAndLevel) {
  for (const Message::Level level : rowsOf(everyLevel)) {
    EXPECT_EQ(fieldsOf(Message(u"ERR_A", u"text", level)),
              R"("ERR_A" "ERR_A" "text" level )" + std::to_string(level) + R"( "":0 0 arguments)");
  }
}

TEST(Message, StoresIdentifierLevelFileAndLine) {
  for (const Message::Level level : rowsOf(everyLevel)) {
    EXPECT_EQ(fieldsOf(Message(u"ERR_A", level, "kelA.cpp", 17)),
              R"("ERR_A" "ERR_A" "" level )" + std::to_string(level) + R"( "kelA.cpp":17 0 arguments)");
  }
}

TEST(Message, TreatsANullFileNameAsEmpty) {
  const Message message(u"ERR_A", Message::LEVEL_INFO, nullptr, 3);
  EXPECT_EQ(fieldsOf(message), R"("ERR_A" "ERR_A" "" level 1 "":3 0 arguments)");
}

TEST(Message, CopiesEveryField) {
  Message message;
  fill(message);
  const Message copy(message);
  EXPECT_EQ(fieldsOf(copy), filled);
}

TEST(Message, CopiesBogusAsBogusAndEmptyAsEmpty) {
  Message message;
  EXPECT_EQ(fieldsOf(Message(message)), fresh);
  message.clear();
  EXPECT_EQ(fieldsOf(Message(message)), cleared);
}

TEST(Message, SharesNothingWithItsCopy) {
  Message message;
  fill(message);
  Message copy(message);
  copy.setMessageID(u"ERR_B");
  copy.addArgument(u"three");
  EXPECT_EQ(fieldsOf(message), filled);
  message.clear();
  EXPECT_EQ(fieldsOf(copy), R"("ERR_B" "ERR_B" "text" level 8 "kelA.cpp":17 3 arguments "one" "2" "three")");
}

// A move is a copy, so the message that was moved from keeps its fields.
TEST(Message, KeepsItsFieldsWhenMovedFrom) {
  Message message;
  fill(message);
  const Message moved(std::move(message));
  EXPECT_EQ(fieldsOf(moved), filled);
  EXPECT_EQ(fieldsOf(message), filled);  // NOLINT(bugprone-use-after-move): the test reads it
}

TEST(Message, OwnsItsTexts) {
  std::u16string lent = u"lent text, much longer than what a string keeps inside itself";
  char fileName[] = "kelA.cpp";
  Message message;
  {
    const UnicodeString alias(true, lent.c_str(), static_cast<std::int32_t>(lent.size()));
    message.setMessage(alias, Message::LEVEL_ERROR, fileName, 1);
    message.setMessageText(alias);
    message.addArgument(alias);
  }
  lent.assign(lent.size(), u'#');
  fileName[0] = '#';
  const std::string text = "lent text, much longer than what a string keeps inside itself";
  EXPECT_EQ(rendered(message), text + ": [" + text + "] - [" + text + "]");
  EXPECT_EQ(utf8(message.getFileName()), "kelA.cpp");
}

// --- fields
// -------------------------------------------------------------------------------------------------

TEST(Message, SetterChangesOnlyItsField) {
  struct Row {
    const char* what;
    void (*change)(Message&);
    std::string after;
  };
  const Row rows[] = {
      {"id", [](Message& m) { m.setMessageID(u"ERR_B"); },
       R"("ERR_B" "ERR_B" "text" level 8 "kelA.cpp":17 2 arguments "one" "2")"},
      {"text", [](Message& m) { m.setMessageText(u"other"); },
       R"("ERR_A" "ERR_A" "other" level 8 "kelA.cpp":17 2 arguments "one" "2")"},
      {"level", [](Message& m) { m.setMessageLevel(Message::LEVEL_WARNING); },
       R"("ERR_A" "ERR_A" "text" level 2 "kelA.cpp":17 2 arguments "one" "2")"},
      {"file", [](Message& m) { m.setFileName("kelB.hpp"); },
       R"("ERR_A" "ERR_A" "text" level 8 "kelB.hpp":17 2 arguments "one" "2")"},
      {"null file", [](Message& m) { m.setFileName(nullptr); },
       R"("ERR_A" "ERR_A" "text" level 8 "":17 2 arguments "one" "2")"},
      {"line", [](Message& m) { m.setLineNumber(4294967295U); },
       R"("ERR_A" "ERR_A" "text" level 8 "kelA.cpp":4294967295 2 arguments "one" "2")"},
      {"argument", [](Message& m) { m.addArgument(u"three"); },
       R"("ERR_A" "ERR_A" "text" level 8 "kelA.cpp":17 3 arguments "one" "2" "three")"},
      {"empty id", [](Message& m) { m.setMessageID(UnicodeString()); },
       R"("" "" "text" level 8 "kelA.cpp":17 2 arguments "one" "2")"},
      {"empty text", [](Message& m) { m.setMessageText(UnicodeString()); },
       R"("ERR_A" "ERR_A" "" level 8 "kelA.cpp":17 2 arguments "one" "2")"},
  };
  for (const Row& row : rowsOf(rows)) {
    Message message;
    fill(message);
    row.change(message);
    EXPECT_EQ(fieldsOf(message), row.after) << row.what;
  }
}

TEST(Message, StoresIdentifierAndCodeInOneField) {
  Message message;
  message.setMessageID(u"ERR_A");
  EXPECT_EQ(&message.getMessageID(), &message.getMessageCode());
}

TEST(Message, ReturnsTheTextUnchanged) {
  Message message;
  const UnicodeString text = UnicodeString(u"{0} %s %1 \U0001F600 \xD800 end");
  message.setMessageText(text);
  message.addArgument(u"not filled in");
  EXPECT_EQ(message.getFormattedMessage(), text);
  EXPECT_EQ(message.getMessageArgsCount(), 1);
}

TEST(Message, AcceptsEveryAsciiCharacterInAFileName) {
  std::string name;
  for (char c = ' '; c < 127; ++c) name += c;
  Message message;
  message.setFileName(name.c_str());
  EXPECT_EQ(utf8(message.getFileName()), name);
}

// --- arguments: integers
// ------------------------------------------------------------------------------------

enum Unscoped { unscopedValue = 70000 };
enum SmallUnscoped : unsigned char { smallUnscopedValue = 200 };

template <class Value>
std::string added(Value value) {
  Message message;
  message.addArgument(value);
  EXPECT_EQ(message.getMessageArgsCount(), 1);
  return utf8(message.getMessageArgs().back());
}

TEST(Message, AddsIntegersOfEveryWidth) {
  EXPECT_EQ(added<unsigned char>(255), "255");
  EXPECT_EQ(added<unsigned short>(65535), "65535");
  EXPECT_EQ(added<unsigned int>(2147483647U), "2147483647");
  EXPECT_EQ(added<unsigned int>(2147483648U), "-2147483648");
  EXPECT_EQ(added<unsigned int>(4294967295U), "-1");
  EXPECT_EQ(added<unsigned long long>(5000000000ULL), "705032704");
  EXPECT_EQ(added<unsigned long long>(18446744073709551615ULL), "-1");
  EXPECT_EQ(added<unsigned long long>(4294967296ULL), "0");
  EXPECT_EQ(added<signed char>(-1), "-1");
  EXPECT_EQ(added<signed char>(-128), "-128");
  EXPECT_EQ(added<short>(-5), "-5");
  EXPECT_EQ(added<short>(-32768), "-32768");
  EXPECT_EQ(added<int>(-2147483647 - 1), "-2147483648");
  EXPECT_EQ(added<int>(2147483647), "2147483647");
  EXPECT_EQ(added<long long>(-1), "-1");
  EXPECT_EQ(added<long long>(9223372036854775807LL), "-1");
  EXPECT_EQ(added<long long>(-9223372036854775807LL - 1), "0");
  EXPECT_EQ(added<long long>(-5000000000LL), "-705032704");
  EXPECT_EQ(added<long long>(0x123456789ABCDEF0LL), "-1698898192");
}

// Overload resolution is unambiguous for every name of an integer type, on every platform.
TEST(Message, AddsNumbersOfEveryNamedIntegerType) {
  EXPECT_EQ(added<long>(-7), "-7");
  EXPECT_EQ(added<unsigned long>(4294967295UL), "-1");
  EXPECT_EQ(added(static_cast<std::size_t>(5000000000U)), "705032704");
  EXPECT_EQ(added<std::ptrdiff_t>(-9), "-9");
  EXPECT_EQ(added<std::int8_t>(-8), "-8");
  EXPECT_EQ(added<std::uint8_t>(200), "200");
  EXPECT_EQ(added<std::int16_t>(-300), "-300");
  EXPECT_EQ(added<std::uint16_t>(40000), "40000");
  EXPECT_EQ(added<std::int32_t>(-70000), "-70000");
  EXPECT_EQ(added<std::uint32_t>(3000000000U), "-1294967296");
  EXPECT_EQ(added<std::int64_t>(-5000000000LL), "-705032704");
  EXPECT_EQ(added<std::uint64_t>(5000000000ULL), "705032704");
  EXPECT_EQ(added<std::intmax_t>(-1), "-1");
  EXPECT_EQ(added<std::uintptr_t>(12), "12");
  EXPECT_EQ(added<std::time_t>(1000000000), "1000000000");
  EXPECT_EQ(added(true), "1");
  EXPECT_EQ(added(false), "0");
  EXPECT_EQ(added('A'), "65");
  EXPECT_EQ(added(L'A'), "65");
  EXPECT_EQ(added(u'A'), "65");
  EXPECT_EQ(added(U'A'), "65");
  EXPECT_EQ(added(unscopedValue), "70000");
  EXPECT_EQ(added(smallUnscopedValue), "200");
  EXPECT_EQ(added(Message::LEVEL_SEVERE), "8");
  EXPECT_EQ(added(sizeof(char)), "1");
  EXPECT_EQ(added(0), "0");
}

template <class Value>
concept Addable = requires(Message& message, Value value) {
  message.addArgument(value);
};

TEST(Message, DoesNotAcceptFloatingPointArguments) {
  EXPECT_TRUE(Addable<int>);
  EXPECT_FALSE(Addable<double>);
  EXPECT_FALSE(Addable<float>);
}

// A model of the low 32 bits as a signed number: the remainder of the division by 2^32, minus 2^32 if it is
// at least 2^31.
std::string lowHalf(std::uint64_t bits) {
  const std::uint64_t rest = bits % 4294967296ULL;
  return rest < 2147483648ULL ? std::to_string(rest) : "-" + std::to_string(4294967296ULL - rest);
}

TEST(LowHalfModel, GivesTheExpectedNumbers) {
  EXPECT_EQ(lowHalf(0), "0");
  EXPECT_EQ(lowHalf(2147483647ULL), "2147483647");
  EXPECT_EQ(lowHalf(2147483648ULL), "-2147483648");
  EXPECT_EQ(lowHalf(4294967295ULL), "-1");
  EXPECT_EQ(lowHalf(5000000000ULL), "705032704");
}

void expectLowHalf(std::uint64_t bits) {
  ROW("bits", bits);
  EXPECT_EQ(added<unsigned long long>(bits), lowHalf(bits));
  EXPECT_EQ(added(static_cast<long long>(bits)), lowHalf(bits));
  EXPECT_EQ(added(static_cast<unsigned int>(bits)), lowHalf(bits));
  EXPECT_EQ(added(static_cast<int>(static_cast<unsigned int>(bits))), lowHalf(bits));
}

TEST(Message, AddsTheLow32BitsOfNumbersNextToPowersOfTwo) {
  for (unsigned int power = 0; power < 64; ++power) {
    ROW("power", power);
    const std::uint64_t bits = std::uint64_t{1} << power;
    for (const std::uint64_t value : rowsOf({bits - 1, bits, bits + 1, ~bits})) expectLowHalf(value);
  }
}

TEST(Message, AddsTheLow32BitsOfRandomNumbers) {
  std::mt19937_64 random(seeded(20240611));
  ROW("seed 20240611");
  for (int i = 0; i < 2000; ++i) {
    ROW("i", i);
    expectLowHalf(random());
  }
}

// --- arguments: text
// ----------------------------------------------------------------------------------------

TEST(Message, AddsTextUnchanged) {
  Message message;
  UnicodeString withNul(u"a");
  withNul.append(u'\0').append(u'b');
  const UnicodeString halfPair(static_cast<char16_t>(0xD800));
  UnicodeString tenThousand;
  for (int i = 0; i < 10000; ++i) tenThousand.append(u'x');
  const UnicodeString texts[] = {u"",         u" ",  u"\u00E4\u4E2D\U0001F600", withNul, halfPair,
                                 tenThousand, u"[x]"};
  for (const UnicodeString& text : texts) message.addArgument(text);
  ASSERT_EQ(message.getMessageArgsCount(), 7);
  std::size_t row = 0;
  for (const UnicodeString& argument : rowsOf(message.getMessageArgs())) {
    EXPECT_EQ(argument, texts[row]) << "text " << row;
    EXPECT_FALSE(argument.isBogus()) << "text " << row;
    ++row;
  }
}

TEST(Message, CountsABogusTextAsOneArgumentAndRendersItEmpty) {
  UnicodeString bogus;
  bogus.setToBogus();
  Message message;
  message.setMessageID(u"X");
  message.addArgument(bogus);
  message.addArgument(UnicodeString(u"b"));
  ASSERT_EQ(message.getMessageArgsCount(), 2);
  EXPECT_TRUE(message.getMessageArgs().front().isBogus());
  EXPECT_EQ(rendered(message), "X: [] - [] [b]");
}

TEST(Message, AddsNarrowTextInItsCodePage) {
  struct Row {
    const char* bytes;
    const char* codePage;
    UnicodeString text;
  };
  const Row rows[] = {
      {"plain", "", u"plain"},
      {"50% $5 @home [x] {y} ~`^|\\#", "", u"50% $5 @home [x] {y} ~`^|\\#"},
      {"\xC3\xA4\xF0\x9F\x98\x80", "UTF-8", u"\u00E4\U0001F600"},
      {"\xE4", "ISO-8859-1", u"\u00E4"},
      {"\x80", "windows-1252", u"\u20AC"},
      {"\x84", "ibm-437", u"\u00E4"},
      {"\x93\xFA\x96\x7B", "Shift_JIS", u"\u65E5\u672C"},
      {"a\xFF"
       "b",
       "UTF-8", u"a\uFFFDb"},
  };
  for (const Row& row : rowsOf(rows)) {
    Message message;
    message.addArgument(row.bytes, row.codePage);
    ASSERT_EQ(message.getMessageArgsCount(), 1) << row.codePage;
    EXPECT_EQ(message.getMessageArgs().front(), row.text) << row.codePage << ": " << row.bytes;
  }
}

TEST(Message, AddsNarrowTextInTheDefaultCodePage) {
  constexpr const char* bytes = "\xC3\xA4";
  Message message;
  message.addArgument(bytes, nullptr);
  ASSERT_EQ(message.getMessageArgsCount(), 1);
  EXPECT_EQ(message.getMessageArgs().front(), UnicodeString(bytes, ucnv_getDefaultName()));
}

TEST(Message, AddsNothingForNullOrEmptyNarrowText) {
  Message message;
  fill(message);
  for (const char* codePage : rowsOf({"", "UTF-8", "no-such-code-page", static_cast<const char*>(nullptr)})) {
    for (const char* value : rowsOf({"", "\0behind", static_cast<const char*>(nullptr)})) {
      message.addArgument(value, codePage);
      EXPECT_EQ(fieldsOf(message), filled) << (codePage == nullptr ? "(null)" : codePage);
    }
  }
}

TEST(Message, AddsOneEmptyArgumentForAnUnknownCodePage) {
  Message message;
  message.setMessageID(u"X");
  message.addArgument("text", "no-such-code-page");
  ASSERT_EQ(message.getMessageArgsCount(), 1);
  EXPECT_TRUE(message.getMessageArgs().front().isEmpty());
  EXPECT_FALSE(message.getMessageArgs().front().isBogus());
  message.addArgument(u"next");
  EXPECT_EQ(rendered(message), "X: [] - [] [next]");
}

TEST(Message, KeepsArgumentsInTheOrderAdded) {
  Message message;
  message.addArgument(u"first");
  message.addArgument(2);
  message.addArgument("third", "");
  message.addArgument(4ULL);
  EXPECT_THAT(argumentsOf(message), ElementsAre("first", "2", "third", "4"));
  EXPECT_EQ(message.getMessageArgsCount(), 4);
}

TEST(Message, HoldsManyArguments) {
  Message message;
  std::string expected = ": [] -";
  for (int i = 0; i < 1000; ++i) {
    message.addArgument(i);
    expected += " [" + std::to_string(i) + "]";
  }
  EXPECT_EQ(message.getMessageArgsCount(), 1000);
  EXPECT_EQ(rendered(message), expected);
}

TEST(Message, CanAddItsOwnFieldsAsArguments) {
  Message message;
  fill(message);
  message.addArgument(message.getMessageID());
  message.addArgument(message.getMessageArgs().front());
  message.addArgument(message.getMessageArgs().back());
  message.addArgument(message.getFileName());
  EXPECT_THAT(argumentsOf(message), ElementsAre("one", "2", "ERR_A", "one", "one", "kelA.cpp"));
}

// --- reset
// --------------------------------------------------------------------------------------------------

TEST(Message, IsBogusAfterClear) {
  Message message;
  fill(message);
  message.clear();
  EXPECT_EQ(fieldsOf(message), cleared);
  EXPECT_EQ(rendered(message), ": []");
}

TEST(Message, ClearedAgainStaysCleared) {
  Message message;
  message.clear();
  message.clear();
  EXPECT_EQ(fieldsOf(message), cleared);
}

TEST(Message, CanBeFilledAfterClear) {
  Message message;
  message.clear();
  fill(message);
  EXPECT_EQ(fieldsOf(message), filled);
}

TEST(Message, TreatsANullFileNameAsEmptyAfterClear) {
  Message message;
  message.clear();
  message.setFileName(nullptr);
  EXPECT_FALSE(message.getFileName().isBogus());
  EXPECT_TRUE(message.getFileName().isEmpty());
}

// --- setMessage
// ---------------------------------------------------------------------------------------------

TEST(SetMessage, FromAnotherMessageCopiesEveryField) {
  Message other;
  fill(other);
  Message message(u"ERR_B", u"old", Message::LEVEL_INFO);
  message.addArgument(u"old argument");
  message.setMessage(other);
  EXPECT_EQ(fieldsOf(message), filled);
  EXPECT_EQ(fieldsOf(other), filled);
  other.clear();
  EXPECT_EQ(fieldsOf(message), filled);
}

TEST(SetMessage, FromAnotherMessageCopiesBogusAndEmptyStrings) {
  Message message;
  fill(message);
  message.setMessage(Message());
  EXPECT_EQ(fieldsOf(message), fresh);
  Message other;
  other.clear();
  message.setMessage(other);
  EXPECT_EQ(fieldsOf(message), cleared);
}

TEST(SetMessage, FromItselfChangesNothing) {
  Message message;
  fill(message);
  message.setMessage(message);
  EXPECT_EQ(fieldsOf(message), filled);
}

TEST(SetMessage, WithTextResetsFileLineAndArguments) {
  Message message;
  fill(message);
  message.setMessage(u"ERR_B", u"other", Message::LEVEL_INFO);
  EXPECT_EQ(fieldsOf(message), R"("ERR_B" "ERR_B" "other" level 1 (bogus):0 0 arguments)");
}

TEST(SetMessage, WithFileResetsTextAndArguments) {
  Message message;
  fill(message);
  message.setMessage(u"ERR_B", Message::LEVEL_WARNING, "kelB.cpp", 99);
  EXPECT_EQ(fieldsOf(message), R"("ERR_B" "ERR_B" (bogus) level 2 "kelB.cpp":99 0 arguments)");
}

TEST(SetMessage, WithANullFileMakesItEmpty) {
  Message message;
  fill(message);
  message.setMessage(u"ERR_B", Message::LEVEL_WARNING, nullptr, 99);
  EXPECT_EQ(fieldsOf(message), R"("ERR_B" "ERR_B" (bogus) level 2 "":99 0 arguments)");
}

// setMessage resets the message before it stores its arguments, which may be parts of the same message.
TEST(SetMessage, AcceptsItsOwnFieldsAsArguments) {
  struct Row {
    const char* what;
    void (*change)(Message&);
    std::string after;
  };
  const Row rows[] = {
      {"id and text exchanged",
       [](Message& m) { m.setMessage(m.getFormattedMessage(), m.getMessageID(), m.getMessageLevel()); },
       R"("text" "text" "ERR_A" level 8 (bogus):0 0 arguments)"},
      {"id and text kept",
       [](Message& m) { m.setMessage(m.getMessageID(), m.getFormattedMessage(), m.getMessageLevel()); },
       R"("ERR_A" "ERR_A" "text" level 8 (bogus):0 0 arguments)"},
      {"from file and argument",
       [](Message& m) { m.setMessage(m.getFileName(), m.getMessageArgs().front(), Message::LEVEL_INFO); },
       R"("kelA.cpp" "kelA.cpp" "one" level 1 (bogus):0 0 arguments)"},
      {"one argument twice",
       [](Message& m) {
         const UnicodeString& last = m.getMessageArgs().back();
         m.setMessage(last, last, Message::LEVEL_INFO);
       },
       R"("2" "2" "2" level 1 (bogus):0 0 arguments)"},
      {"id from an argument, with file",
       [](Message& m) {
         m.setMessage(m.getMessageArgs().front(), m.getMessageLevel(), "kelB.cpp", m.getLineNumber());
       },
       R"("one" "one" (bogus) level 8 "kelB.cpp":17 0 arguments)"},
      {"own id, with file", [](Message& m) { m.setMessage(m.getMessageID(), Message::LEVEL_INFO, "f", 1); },
       R"("ERR_A" "ERR_A" (bogus) level 1 "f":1 0 arguments)"},
      {"the field setters",
       [](Message& m) {
         m.setMessageID(m.getFormattedMessage());
         m.setMessageText(m.getFormattedMessage());
       },
       R"("text" "text" "text" level 8 "kelA.cpp":17 2 arguments "one" "2")"},
  };
  for (const Row& row : rowsOf(rows)) {
    Message message;
    fill(message);
    row.change(message);
    EXPECT_EQ(fieldsOf(message), row.after) << row.what;
  }
}

TEST(SetMessage, StoresBogusStringsAsBogus) {
  UnicodeString bogus;
  bogus.setToBogus();
  Message message;
  message.setMessage(bogus, u"text", Message::LEVEL_INFO);
  EXPECT_EQ(fieldsOf(message), R"((bogus) (bogus) "text" level 1 (bogus):0 0 arguments)");
}

// --- rendering
// ----------------------------------------------------------------------------------------------

TEST(Message, RendersOnOneLine) {
  struct Row {
    std::string id;
    std::string text;
    std::vector<std::string> arguments;
    std::string line;
  };
  const Row rows[] = {
      {"", "", {}, ": []"},
      {"ERR_MSGLIST_EMPTY", "", {}, "ERR_MSGLIST_EMPTY: []"},
      {"ERR_BUFFER_SIZE_TOO_SMALL", "", {"10", "12"}, "ERR_BUFFER_SIZE_TOO_SMALL: [] - [10] [12]"},
      {"X", "bad", {"a"}, "X: [bad] - [a]"},
      {"X", "bad", {}, "X: [bad]"},
      {"", "bad", {}, ": [bad]"},
      {"X", "", {""}, "X: [] - []"},
      {"X", "", {"", "", "b"}, "X: [] - [] [] [b]"},
      {"X: [", "] -", {"] [", " "}, "X: [: [] -] - [] [] [ ]"},
      {"\u4E2D", "\u00E4", {"\U0001F600"}, "\u4E2D: [\u00E4] - [\U0001F600]"},
  };
  for (const Row& row : rowsOf(rows)) {
    Message message;
    message.setMessageID(UnicodeString::fromUTF8(row.id));
    message.setMessageText(UnicodeString::fromUTF8(row.text));
    for (const std::string& argument : row.arguments) message.addArgument(UnicodeString::fromUTF8(argument));
    EXPECT_EQ(rendered(message), row.line);
  }
}

TEST(Message, RendersNeitherFileNorLineNorLevel) {
  Message message;
  fill(message);
  EXPECT_EQ(rendered(message), "ERR_A: [text] - [one] [2]");
}

TEST(Message, RendersIntoTheStringGivenAndReturnsIt) {
  Message message;
  fill(message);
  UnicodeString out(u"former contents that are longer than what is written now");
  EXPECT_EQ(&message.toString(out), &out);
  EXPECT_EQ(utf8(out), "ERR_A: [text] - [one] [2]");
  message.toString(out);
  EXPECT_EQ(utf8(out), "ERR_A: [text] - [one] [2]");
}

TEST(Message, RendersIntoABogusStringAndMakesItValid) {
  for (const bool afterClear : rowsOf({false, true})) {
    Message message;
    if (afterClear) message.clear();
    UnicodeString out;
    out.setToBogus();
    message.toString(out);
    EXPECT_FALSE(out.isBogus());
    EXPECT_EQ(utf8(out), ": []");
  }
}

TEST(Message, DoesNotChangeAStringWhoseBufferIsHeldOpen) {
  for (const std::int32_t length : rowsOf({0, 20, 5000})) {
    const UnicodeString id(length, u'x', length);
    UnicodeString out(u"xy");
    const char16_t* const buffer = out.getBuffer(20);
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(&Message(id, UnicodeString(), Message::LEVEL_ERROR).toString(out), &out);
    out.releaseBuffer(2);
    EXPECT_EQ(out, u"xy") << "identifier of " << length << " units";
    EXPECT_EQ(out.getBuffer(), buffer) << "identifier of " << length << " units";
  }
}

TEST(Message, RendersArgumentsAddedAfterClear) {
  Message message;
  fill(message);
  message.clear();
  message.addArgument(u"a");
  EXPECT_EQ(rendered(message), ": [] - [a]");
}

TEST(Message, IsNotChangedByRendering) {
  Message message;
  fill(message);
  rendered(message);
  EXPECT_EQ(fieldsOf(message), filled);
}

}  // namespace
}  // namespace tarvo::test
