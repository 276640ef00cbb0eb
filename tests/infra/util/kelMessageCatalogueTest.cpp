#include "infra/util/kelMessageCatalogue.hpp"

#include "support/kelDefaultLocale.hpp"
#include "support/kelRendered.hpp"
#include "support/kelReporting.hpp"
#include "support/kelRows.hpp"

#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <thread>
#include <vector>

namespace tarvo::test {
namespace {

using oss::Message;
using oss::MessageList;
using util::MessageCatalogue;

Message messageOf(const char* id, const std::vector<const char*>& arguments) {
  Message message(icu::UnicodeString::fromUTF8(id), Message::LEVEL_ERROR, "store.cpp", 7);
  for (const char* argument : arguments) message.addArgument(icu::UnicodeString::fromUTF8(argument));
  return message;
}

void load(MessageCatalogue& catalogue, const char* language, const std::string& text) {
  catalogue.load(language, text.data(), text.size());
}

std::string rendered(const MessageCatalogue& catalogue, const Message& message, const char* language = "") {
  icu::UnicodeString out = u"former";
  EXPECT_EQ(&catalogue.render(message, language, out), &out);
  return utf8(out);
}

/// Renders a message with these arguments by the pattern, in a catalogue of that language.
std::string formatted(const std::string& pattern, const std::vector<const char*>& arguments,
                      const char* language = "en") {
  MessageCatalogue catalogue;
  load(catalogue, language, "ERR_X=" + pattern + "\n");
  return rendered(catalogue, messageOf("ERR_X", arguments), language);
}

// --- arguments

struct PatternRow {
  const char* why;
  const char* pattern;
  std::vector<const char*> arguments;
  const char* expected;
};

TEST(MessageCatalogueArguments, AppearWhereThePatternHasTheirNumbers) {
  for (const auto& row : rowsOf<PatternRow>({
           {"none", "disk full", {}, "disk full"},
           {"in another order, one of them twice", "{1} of {0}, {1}", {"a", "b"}, "b of a, b"},
           {"an argument that is not shown", "only {1}", {"a", "b"}, "only b"},
           {"an empty one", "<{0}>", {""}, "<>"},
           {"a port is no number", "port {0}", {"4711"}, "port 4711"},
           {"text that looks like a pattern", "{0}", {"{1} 'x'"}, "{1} 'x'"},
           {"two apostrophes are one", "it''s {0}", {"a"}, "it's a"},
           {"one apostrophe before another character", "it's {0}", {"a"}, "it's a"},
           {"quoted", "'{0}'", {"a"}, "{0}"},
           {"quoted up to the end", "{0} '{x", {"a"}, "a {x"},
           {"a quoted apostrophe", "'{it''s}' {0}", {"a"}, "{it's} a"},
           {"blanks inside the braces", "<{ 0 }>", {"a"}, "<a>"},
           {"more than 9", "{10}", {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j", "k"}, "k"},
       })) {
    EXPECT_EQ(formatted(row.pattern, row.arguments), row.expected);
  }
}

TEST(MessageCatalogueArguments, AreNumbersWhereThePatternHasATypeOtherThanSelect) {
  constexpr const char* files = "{0,plural,one{# file}other{# files}}";
  for (const auto& row : rowsOf<PatternRow>({
           {"grouped", "{0,number}", {"4711"}, "4,711"},
           {"beside the recorded text", "{0} is {0,number}", {"4711"}, "4711 is 4,711"},
           {"negative", "{0,number}", {"-4711"}, "-4,711"},
           {"the largest of 64 bits", "{0,number}", {"9223372036854775807"}, "9,223,372,036,854,775,807"},
           {"above 63 bits", "{0,number}", {"18446744073709551615"}, "18,446,744,073,709,551,615"},
           {"below -2^63", "{0,number}", {"-9223372036854775809"}, "-9,223,372,036,854,775,809"},
           {"100 digits",
            "{0,number,0}",
            {"12345678901234567890123456789012345678901234567890123456789012345678901234567890123456789012345"
             "67890"},
            "123456789012345678901234567890123456789012345678901234567890123456789012345678901234567890123456"
            "7890"},
           {"many above 63 bits", files, {"18446744073709551615"}, "18,446,744,073,709,551,615 files"},
           {"with decimals", "{0,number}", {"1.5"}, "1.5"},
           {"with more digits than a double holds",
            "{0,number}",
            {"9007199254740993.5"},
            "9,007,199,254,740,993.5"},
           {"one", files, {"1"}, "1 file"},
           {"several", files, {"4711"}, "4,711 files"},
           {"an exact number", "{0,plural,=0{none}other{#}}", {"0"}, "none"},
           {"with an offset", "{0,plural,offset:1 one{{1} and # more}other{#}}", {"2", "a"}, "a and 1 more"},
           {"an ordinal", "{0,selectordinal,two{#nd}other{#th}}", {"2"}, "2nd"},
           {"a choice", "{0,choice,0#none|1#one|1<many}", {"5"}, "many"},
           {"in words", "{0,spellout}", {"12"}, "twelve"},
           {"a selection takes the text", "{0,select,1{one}other{{0}}}", {"1"}, "one"},
           {"a date is a text",
            "{0,date} {0, date, short} {0,DATE}",
            {"0.123456789"},
            "0.123456789 0.123456789 0.123456789"},
           {"a time is a text", "{0,time} {1,time}", {"4711", "noon"}, "4711 noon"},
       })) {
    EXPECT_EQ(formatted(row.pattern, row.arguments), row.expected);
  }
}

TEST(MessageCatalogueArguments, AreNumbersInTheRulesOfTheTextsLanguage) {
  const DefaultLocale french("fr_FR");
  EXPECT_EQ(formatted("{0,number}", {"4711.5"}, "de"), "4.711,5");
  EXPECT_EQ(formatted("{0,plural,few{# few}other{#}}", {"3"}, "pl"), "3 few");
}

/// Renders the error of a refused connection, whose arguments are a host and a port.
std::string refused(const std::string& pattern, const char* port) {
  MessageCatalogue catalogue;
  load(catalogue, "en", "QN_ERR_SOCKET_CONNECTION_REFUSED=" + pattern + "\n");
  return rendered(catalogue, messageOf("QN_ERR_SOCKET_CONNECTION_REFUSED", {"db1", port}), "en");
}

TEST(MessageCatalogueKinds, KeepTheTextOfAnArgumentThatIsNoNumberWhateverThePatternAsksFor) {
  constexpr const char* nested = "{1,plural,one{x}other{{1,plural,other{#}} {0,plural,other{#}} {1,number}}}";
  for (const auto& row : rowsOf<PatternRow>({
           {"a number", "port {1,number}", {"4711"}, "port 4711"},
           {"a number with a style", "port {1,number,#,##0.00}", {"4711"}, "port 4711"},
           {"beside the text", "{0}:{1} {1,number}", {"4711"}, "db1:4711 4711"},
           {"a date", "port {1,date,short}", {"4711"}, "port 4711"},
           {"in words", "port {1,spellout}", {"12"}, "port 12"},
           {"a choice", "port {1,choice,0#none|1<many {1}}!", {"4711"}, "port 4711!"},
           {"a plural", "{1,plural,=0{no port}one{# port}other{# ports}}", {"4711"}, "4711 ports"},
           {"the form is other", "{1,plural,=0{no port}one{# port}other{# ports}}", {"1"}, "1 ports"},
           {"zero is other", "{1,plural,=0{no port}other{# ports}}", {"0"}, "0 ports"},
           {"an offset", "{1,plural,offset:1 one{{0} and #}other{{0} to #}}", {"4711"}, "db1 to 4711"},
           {"a quoted sign", "{1,plural,other{'#' #}}", {"4711"}, "# 4711"},
           {"forms in forms", nested, {"4711"}, "4711 db1 4711"},
           {"an ordinal", "{1,selectordinal,one{#st}other{#th}}", {"4711"}, "4711th"},
           {"a host as a number", "{0,number}", {"4711"}, "db1"},
           {"a selection takes the text", "{1,select,4711{ours}other{{1}}}", {"4711"}, "ours"},
           {"a text that is no number", "{1,number}", {"http"}, "http"},
       })) {
    EXPECT_EQ(refused(row.pattern, row.arguments.front()), row.expected);
  }
}

TEST(MessageCatalogueKinds, LetASizeBeANumber) {
  MessageCatalogue catalogue;
  load(catalogue, "en",
       "ERR_DEST_BUFFER_TOO_SMALL={0,number} of {1,plural,one{# byte}other{# bytes}}, {2,number}\n");
  EXPECT_EQ(rendered(catalogue, messageOf("ERR_DEST_BUFFER_TOO_SMALL", {"4096", "8192", "4096"}), "en"),
            "4,096 of 8,192 bytes, 4096");
}

TEST(MessageCatalogueKinds, LeaveAnUnknownTypeAFault) {
  EXPECT_EQ(refused("{1,nunber}", "4711"), "QN_ERR_SOCKET_CONNECTION_REFUSED: [] - [db1] [4711]");
}

// --- texts that cannot be formatted

TEST(MessageCatalogueFallback, ShowsTheMessageOnOneLineIfItsTextCannotBeFormatted) {
  for (const auto& row : rowsOf<PatternRow>({
           {"an open brace", "{0", {"a"}, "ERR_X: [] - [a]"},
           {"an unknown type", "{0,nunber}", {"1"}, "ERR_X: [] - [1]"},
           {"a plural without other", "{0,plural,one{#}}", {"1"}, "ERR_X: [] - [1]"},
           {"a name", "{host}", {"a"}, "ERR_X: [] - [a]"},
           {"a name beside a number", "{0} {host}", {"a"}, "ERR_X: [] - [a]"},
           {"more arguments than the message has", "{0} {1}", {"a"}, "ERR_X: [] - [a]"},
           {"a number that no message can have", "{4711000000}", {"a"}, "ERR_X: [] - [a]"},
           {"no number", "{0,number}", {"one"}, "ERR_X: [] - [one]"},
           {"an empty number", "{0,number}", {""}, "ERR_X: [] - []"},
           {"half a number", "{0,number}", {"1.2.3"}, "ERR_X: [] - [1.2.3]"},
           {"infinity", "{0,number}", {"Infinity"}, "ERR_X: [] - [Infinity]"},
           {"an unknown style of date", "{0,dates}", {"1"}, "ERR_X: [] - [1]"},
       })) {
    EXPECT_EQ(formatted(row.pattern, row.arguments), row.expected);
  }
}

std::string nested(const std::string& form, int levels) {
  std::string pattern;
  for (int level = 0; level < levels; ++level) pattern += form;
  const auto braces = std::count(form.begin(), form.end(), '{');
  return pattern + "x" + std::string(static_cast<std::size_t>(levels * braces), '}');
}

TEST(MessageCatalogueFallback, ShowsTheMessageIfItsPatternNestsMoreThan16Forms) {
  struct Row {
    const char* why;
    const char* form;
  };
  for (const auto& row : rowsOf<Row>({
           {"selections", "{0,select,other{"},
           {"plurals", "{0,plural,other{"},
           {"ordinals", "{0,selectordinal,other{"},
           {"choices", "{0,choice,0#"},
       })) {
    EXPECT_EQ(formatted(nested(row.form, 16), {"1"}), "x");
    EXPECT_EQ(formatted(nested(row.form, 17), {"1"}), "ERR_X: [] - [1]");
    EXPECT_EQ(formatted(nested(row.form, 499), {"1"}), "ERR_X: [] - [1]");
    EXPECT_EQ(formatted(nested(row.form, 100'000), {"1"}), "ERR_X: [] - [1]");
  }
}

TEST(MessageCatalogueFallback, ShowsTheMessageIfItsPatternHasMoreThan1000Braces) {
  std::string pattern;
  std::string expected;
  for (int i = 0; i < 1000; ++i) {
    pattern += "{0}";
    expected += "a";
  }
  EXPECT_EQ(formatted(pattern, {"a"}), expected);
  EXPECT_EQ(formatted(pattern + "{0}", {"a"}), "ERR_X: [] - [a]");
}

TEST(MessageCatalogueFallback, ShowsTheMessageOnOneLineIfItHasNoText) {
  const MessageCatalogue empty;
  Message message = messageOf("ERR_X", {"a", "b"});
  EXPECT_EQ(rendered(empty, message), "ERR_X: [] - [a] [b]");
  message.clear();
  EXPECT_EQ(rendered(empty, message), ": []");
}

TEST(MessageCatalogueFallback, RendersABogusArgumentAsAnEmptyText) {
  MessageCatalogue catalogue;
  load(catalogue, "", "ERR_X=<{0}>\n");
  Message message("ERR_X", Message::LEVEL_ERROR, "store.cpp", 7);
  icu::UnicodeString bogus;
  bogus.setToBogus();
  message.addArgument(bogus);
  EXPECT_EQ(rendered(catalogue, message), "<>");
}

// --- languages

TEST(MessageCatalogueLanguages, FallBackFromTheTerritoryToTheLanguageToTheEmptyName) {
  MessageCatalogue catalogue;
  load(catalogue, "", "A=root\nB=root\nC=root\n");
  load(catalogue, "de", "A=de\nB=de\n");
  load(catalogue, "de_AT", "A=de_AT\n");
  struct Row {
    const char* name;
    const char* a;
    const char* b;
    const char* c;
  };
  for (const auto& row : rowsOf<Row>({
           {"de_AT", "de_AT", "de", "root"},
           {"de-AT", "de_AT", "de", "root"},
           {"DE_at", "de_AT", "de", "root"},
           {"de_AT.UTF-8@euro", "de_AT", "de", "root"},
           {"de_AT_VIENNA", "de_AT", "de", "root"},
           {"de__POSIX", "de", "de", "root"},
           {"de_CH", "de", "de", "root"},
           {"de", "de", "de", "root"},
           {"ja", "root", "root", "root"},
           {"", "root", "root", "root"},
           {"no language at all", "root", "root", "root"},
       })) {
    EXPECT_EQ(rendered(catalogue, messageOf("A", {}), row.name), row.a);
    EXPECT_EQ(rendered(catalogue, messageOf("B", {}), row.name), row.b);
    EXPECT_EQ(rendered(catalogue, messageOf("C", {}), row.name), row.c);
  }
}

TEST(MessageCatalogueLanguages, AreTheEmptyNameIfTheNameIsNull) {
  MessageCatalogue catalogue;
  catalogue.load(nullptr, "A=root", 6);
  EXPECT_EQ(rendered(catalogue, messageOf("A", {}), nullptr), "root");
  EXPECT_EQ(rendered(catalogue, messageOf("A", {}), ""), "root");
}

TEST(MessageCatalogueLanguages, AreIgnoredByLoadIfTheNameIsUnusable) {
  for (const std::string& name :
       {std::string("@x"), std::string(".UTF-8"), std::string(200, 'a'), std::string("_")}) {
    ROW("name", name);
    MessageCatalogue catalogue;
    load(catalogue, "", "ERR_X=former\n");
    load(catalogue, name.c_str(), "ERR_X=replaced\nERR_Y=new\n");
    EXPECT_EQ(rendered(catalogue, messageOf("ERR_X", {})), "former");
    EXPECT_EQ(rendered(catalogue, messageOf("ERR_X", {}), name.c_str()), "former");
    EXPECT_FALSE(catalogue.hasText(u"ERR_Y", ""));
  }
}

// ICU fills its whole buffer for the name with 157 characters and then writes no NUL after it.
TEST(MessageCatalogueLanguages, HaveNamesUpToTheLongestThatIcuReturns) {
  for (const std::size_t length : {150U, 151U, 152U}) {
    ROW("length", length);
    const std::string name = "de_DE_" + std::string(length, 'A');
    MessageCatalogue catalogue;
    load(catalogue, "de", "ERR_X=a\n");
    EXPECT_EQ(catalogue.hasText(u"ERR_X", name.c_str()), length < 152);
  }
}

TEST(MessageCatalogueLanguages, DoNotFallBackToTheDefaultLocale) {
  const DefaultLocale german("de_DE");
  MessageCatalogue catalogue;
  load(catalogue, "de", "A=deutsch\n");
  EXPECT_EQ(rendered(catalogue, messageOf("A", {}), "fr"), "A: []");
  EXPECT_EQ(rendered(catalogue, messageOf("A", {}), ""), "A: []");
}

TEST(MessageCatalogueLanguages, HaveATextExactlyIfHasTextReturnsTrue) {
  MessageCatalogue catalogue;
  load(catalogue, "de", "A=text\nBROKEN={0\nEMPTY=\n");
  for (const char* id : {"A", "BROKEN", "EMPTY"}) EXPECT_TRUE(catalogue.hasText(id, "de_AT")) << id;
  EXPECT_FALSE(catalogue.hasText("a", "de"));
  EXPECT_FALSE(catalogue.hasText("A", "en"));
  EXPECT_FALSE(catalogue.hasText("", "de"));
  EXPECT_EQ(rendered(catalogue, messageOf("EMPTY", {"x"}), "de"), "");
}

// --- loading

TEST(MessageCatalogueLoad, ReplacesTheTextsThatItFindsAgain) {
  MessageCatalogue catalogue;
  load(catalogue, "en", "A=first\nB=first\nA=second\n");
  EXPECT_EQ(rendered(catalogue, messageOf("A", {}), "en"), "second");
  load(catalogue, "en_", "A=third\n");
  EXPECT_EQ(rendered(catalogue, messageOf("A", {}), "en"), "third");
  EXPECT_EQ(rendered(catalogue, messageOf("B", {}), "en"), "first");
}

struct BytesRow {
  const char* why;
  std::string bytes;
  const char* expected;  // the text of "A", in UTF-8
};

TEST(MessageCatalogueLoad, ReadsUTF8IfAllOfItIsWellFormedAndOtherwiseISO88591) {
  for (const auto& row : rowsOf<BytesRow>({
           {"characters of 2, 3 and 4 bytes", "A=\xC3\xA4 \xE6\x9D\xB1 \xF0\xA0\xAE\xB7!\n",
            "\xC3\xA4 \xE6\x9D\xB1 \xF0\xA0\xAE\xB7!"},
           {"more than a block of 16", "A=0123456789abcde\xC3\xA4\xC3\xB6 0123456789abcde\xE6\x9D\xB1\n",
            "0123456789abcde\xC3\xA4\xC3\xB6 0123456789abcde\xE6\x9D\xB1"},
           {"at the end of the data", "A=\xF0\xA0\xAE\xB7", "\xF0\xA0\xAE\xB7"},
           {"a byte order mark",
            "\xEF\xBB\xBF"
            "A=x\n",
            "x"},
           {"only the first one",
            "\xEF\xBB\xBF"
            "A=\xEF\xBB\xBFx\n",
            "\xEF\xBB\xBFx"},
           {"an escape", "A=\\u00e4\xC3\xB6\\u6771\n", "\xC3\xA4\xC3\xB6\xE6\x9D\xB1"},
           {"a backslash before a character", "A=x\\\xE6\x9D\xB1y\n", "x\xE6\x9D\xB1y"},
           {"a continuation between two", "A=\xE6\x9D\xB1\\\r\n  \xE6\x9D\xB1\n", "\xE6\x9D\xB1\xE6\x9D\xB1"},
           {"one byte that is malformed", "A=\xE4 \nB=\xC3\xA4\n", "\xC3\xA4 "},
           {"malformed in a comment", "#\xFF\nA=\xC3\xA4\n", "\xC3\x83\xC2\xA4"},
           {"a byte order mark before malformed bytes", "\xEF\xBB\xBF\nA=\xE4\n", "\xC3\xA4"},
           {"a percent sign stays", "A=%B%\nB=x\n", "%B%"},
       })) {
    MessageCatalogue catalogue;
    load(catalogue, "", row.bytes);
    EXPECT_EQ(rendered(catalogue, messageOf("A", {})), row.expected);
  }
}

TEST(MessageCatalogueLoad, ReadsKeysInUTF8) {
  MessageCatalogue catalogue;
  load(catalogue, "", "\xC3\x84RGER=\xE6\x9D\xB1\n");
  EXPECT_EQ(rendered(catalogue, messageOf("\xC3\x84RGER", {})), "\xE6\x9D\xB1");
}

TEST(MessageCatalogueLoad, AcceptsNoData) {
  MessageCatalogue catalogue;
  catalogue.load("", nullptr, 0);
  catalogue.load(nullptr, nullptr, 100);
  catalogue.load("de", "", 0);
  EXPECT_FALSE(catalogue.hasText("", ""));
}

// --- rendering

TEST(MessageCatalogueRender, WritesAListOneMessageInEachLine) {
  MessageCatalogue catalogue;
  load(catalogue, "", "A=first {0}\nB=second\n");
  MessageList list(messageOf("A", {"x"}));
  list.addMessage(messageOf("C", {"y"}));
  list.addMessage(messageOf("B", {}));
  list.getFirstMsg();
  icu::UnicodeString out = u"former";
  EXPECT_EQ(&catalogue.render(list, "", out), &out);
  EXPECT_EQ(utf8(out), "first x\nC: [] - [y]\nsecond");
  EXPECT_EQ(utf8(list.getNextMsg()->getMessageID()), "C") << "the list's cursor has moved";
  EXPECT_EQ(utf8(catalogue.render(MessageList(), "", out)), "");
}

TEST(MessageCatalogueRender, DoesNotChangeAStringWhoseBufferIsHeldOpen) {
  MessageCatalogue catalogue;
  load(catalogue, "", "A=text\n");
  icu::UnicodeString out = u"former";
  char16_t* const units = out.getBuffer(10);
  ASSERT_NE(units, nullptr);
  catalogue.render(messageOf("A", {}), "", out);
  catalogue.render(MessageList(messageOf("A", {})), "", out);
  out.releaseBuffer(6);
  EXPECT_EQ(utf8(out), "former");
}

TEST(MessageCatalogueRender, MakesABogusTextValid) {
  MessageCatalogue catalogue;
  load(catalogue, "", "A=text\n");
  icu::UnicodeString out;
  out.setToBogus();
  EXPECT_EQ(utf8(catalogue.render(messageOf("A", {}), "", out)), "text");
}

TEST(MessageCatalogueRender, IsPossibleInTwoThreadsAtOnce) {
  MessageCatalogue catalogue;
  load(catalogue, "de", "A={0} hat {1,plural,one{# Seite}other{# Seiten}}\n");
  const auto work = reporting([&] {
    for (int i = 0; i < 200; ++i)
      ASSERT_EQ(rendered(catalogue, messageOf("A", {"x", "4711"}), "de"), "x hat 4.711 Seiten");
  });
  std::thread other(work);
  work();
  other.join();
}

}  // namespace
}  // namespace tarvo::test
