#include "infra/oss/kelByteArrayOutputStream.hpp"
#include "infra/oss/kelIOException.hpp"
#include "infra/oss/kelNLSException.hpp"
#include "infra/util/kelExtendedProperties.hpp"
#include "infra/util/kelMessageCatalogue.hpp"
#include "infra/util/kelPropertiesEditor.hpp"
#include "infra/util/kelPropertiesException.hpp"
#include "infra/util/kelPropertiesReport.hpp"
#include "infra/util/kelPropertiesSchema.hpp"

#include "torture/kelFaultRun.hpp"

#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace tarvo::test {
namespace {

using util::ExtendedProperties;
using util::PropertiesException;

constexpr const char* file = "src/infra/oss/../util/kelExtendedProperties.cpp";
const std::string longWords = "more than the 27 units that ICU keeps in a string itself";

/// A string that refers to its text, so that every copy allocates.
icu::UnicodeString longText() {
  return {true, u"more than the 27 units that ICU keeps in a string itself", -1};
}

std::string shown(const ExtendedProperties& properties) {
  std::string text;
  for (const auto& [key, value] : properties) text += utf8(key) + "=" + utf8(value) + ";";
  return text;
}

void fill(ExtendedProperties& properties) {
  properties.putProperty(u"a", u"1");
  properties.putProperty(u"b", longText());
  properties.addInclude(longText());
}

const std::string filled = "a=1;b=" + longWords + ";";

TEST(MemoryTorture, ChangingPropertiesSurvivesEachRefusedAllocation) {
  sweepMemory("ExtendedProperties: changes", [](FaultRun& run) {
    ExtendedProperties properties;
    fill(properties);
    std::string wanted = filled;
    if (run.completes([&] { properties.putProperty(u"c", longText()); })) {
      wanted += "c=" + longWords + ";";
    }
    EXPECT_EQ(shown(properties), wanted);
    if (run.completes([&] { properties.putPropertyAsInt64(u"d", -7); })) {
      wanted += "d=-7;";
    }
    EXPECT_EQ(shown(properties), wanted);
    if (run.completes([&] { properties.putProperty(longText(), u"e"); })) {
      wanted += longWords + "=e;";
    }
    EXPECT_EQ(shown(properties), wanted);
    if (run.completes([&] { properties.putProperty(u"a", longText()); })) {
      wanted.replace(0, 4, "a=" + longWords + ";");
    }
    EXPECT_EQ(shown(properties), wanted);
    std::optional<ExtendedProperties> copy;
    if (run.completes([&] { copy.emplace(properties); })) {
      EXPECT_EQ(shown(*copy), wanted);
    }
    ExtendedProperties assigned;
    assigned.putProperty(u"was", u"there");
    const bool done = run.completes([&] { assigned = properties; });
    EXPECT_EQ(shown(assigned), done ? wanted : "was=there;");
    run.completes([&] { properties.addInclude(longText()); });
    EXPECT_TRUE(run.completes([&] { properties.removeProperty(u"b"); }));
    EXPECT_EQ(shown(properties).find("b="), std::string::npos);
  });
}

TEST(MemoryTorture, ReadingPropertiesSurvivesEachRefusedAllocation) {
  sweepMemory("ExtendedProperties: values", [](FaultRun& run) {
    ExtendedProperties properties;
    fill(properties);
    properties.putProperty(u"n", u"  -12 \t");
    properties.putProperty(u"d", u"    0.50000000000000000000000000000000  ");
    EXPECT_TRUE(run.completes([&] { properties.getProperty(u"a", u""); }));
    int number = 0;
    if (run.completes([&] { number = properties.requirePropertyAsInt32(u"n"); })) {
      EXPECT_EQ(number, -12);
    }
    double fraction = 0;
    if (run.completes([&] { fraction = properties.getPropertyAsDouble(u"d", 7); })) {
      EXPECT_EQ(fraction, 0.5);
    }
    bool yes = false;
    if (run.completes([&] { yes = properties.getPropertyAsBoolean(u"a", false); })) {
      EXPECT_TRUE(yes);
    }
    run.raises([&] { properties.requireProperty(longText()); },
               Raises<PropertiesException>("ERR_PROPERTY_MISSING", longWords).from(file));
    run.raises([&] { properties.getPropertyAsInt64(u"b", 1); },
               Raises<PropertiesException>("ERR_PROPERTY_WRONG_TYPE", "b", longWords, "int64").from(file));
    run.raises([&] { properties.getPropertyAsUInt32(u"n", 1); },
               Raises<PropertiesException>("ERR_PROPERTY_WRONG_TYPE", "n", "-12", "uint32").from(file));
    run.raises([&] { properties.getPropertyAsBoolean(u"d", true); },
               Raises<PropertiesException>("ERR_PROPERTY_WRONG_TYPE", "d",
                                           "0.50000000000000000000000000000000", "boolean")
                   .from(file));
    EXPECT_EQ(shown(properties), filled + "d=    0.50000000000000000000000000000000  ;n=  -12 \t;");
  });
}

TEST(MemoryTorture, LoadingPropertiesSurvivesEachRefusedAllocation) {
  sweepMemory("ExtendedProperties: load", [](FaultRun& run) {
    const std::string lines = "k = " + longWords + "\nr: %k%, %s%\ns=%k%\\\n  more\n#comment\n";
    const std::string raw = "k=" + longWords + ";r=%k%, %s%;s=%k%more;";
    const std::string resolved =
        "k=" + longWords + ";r=" + longWords + ", " + longWords + "more;s=" + longWords + "more;";
    ExtendedProperties properties;
    if (run.completes([&] { properties.load(lines.data(), lines.size(), false); })) {
      EXPECT_EQ(shown(properties), raw);
    } else {
      EXPECT_EQ(raw.find(shown(properties)), 0U) << "whole lines";
      properties.load(lines.data(), lines.size(), false);
    }
    if (run.completes([&] { properties.resolveReferences(); })) {
      EXPECT_EQ(shown(properties), resolved);
    } else {
      // Values whose references were replaced keep their new text; the second call replaces the references of
      // the others.
      properties.resolveReferences();
      EXPECT_EQ(shown(properties), resolved);
    }
    ExtendedProperties byText;
    const icu::UnicodeString text = icu::UnicodeString::fromUTF8(lines + std::string(600, '\n'));
    const auto noMemory = Raises<oss::NLSException>("QN_ERR_OUT_OF_MEMORY", "Converter::convertToBytes()")
                              .from("kelConverter.cpp");
    if (run.completes([&] { byText.load(text); }, noMemory, FaultRun::Saying::inPart)) {
      EXPECT_EQ(shown(byText), resolved);
    }
    std::size_t position = 0;
    ExtendedProperties byLine;
    if (run.completes([&] { byLine.parseLine(position, lines.data(), lines.size()); })) {
      EXPECT_EQ(shown(byLine), "k=" + longWords + ";");
      EXPECT_GT(position, 0U);
    } else {
      EXPECT_EQ(shown(byLine), "");
      EXPECT_EQ(position, 0U);
    }
    ExtendedProperties tails;
    tails.putProperty(u"p", u"%" + longText());
    tails.putProperty(longText() + u"x", u"1");
    tails.putProperty(u"a", u"%p%x%, %p%x%, %p%");
    if (!run.completes([&] { tails.resolveReferences(); })) tails.resolveReferences();
    EXPECT_EQ(utf8(tails.requireProperty(u"a")), "1, 1, %" + longWords);
    ExtendedProperties cyclic;
    cyclic.putProperty(longText(), u"%b%");
    cyclic.putProperty(u"b", u"%" + longText() + u"%");
    run.raises([&] { cyclic.resolveReferences(); },
               Raises<PropertiesException>("ERR_PROPERTIES_CYCLIC_REFERENCE", "b").from(file));
    ExtendedProperties bad;
    bad.putProperty(u"a", u"%" + longText() + u"%");
    run.raises([&] { bad.resolveReferences(); },
               Raises<PropertiesException>("ERR_PROPERTIES_BAD_REFERENCE", "a", longWords).from(file));
  });
}

TEST(MemoryTorture, SavingPropertiesSurvivesEachRefusedAllocation) {
  sweepMemory("ExtendedProperties: save", [](FaultRun& run) {
    ExtendedProperties properties;
    fill(properties);
    std::string bytes(1000, '\0');
    oss::ByteArrayOutputStream stream(bytes.data(), bytes.size());
    if (run.completes([&] { properties.save(stream); })) {
      EXPECT_NE(bytes.find("\r\nb=" + longWords + "\r\n"), std::string::npos);
    }
    oss::ByteArrayOutputStream small(bytes.data(), 40);
    run.raises(
        [&] { properties.save(small); },
        Raises<oss::IOException>("ERR_BUFFER_SIZE_TOO_SMALL", 40).from("kelByteArrayOutputStream.cpp"));
    EXPECT_EQ(shown(properties), filled);
  });
}

const std::string settings = "# a text\nport : 80\nhost=" + longWords + "\nport = 8080\nurl=%host%/%prot%\n";

TEST(MemoryTorture, EditingATextSurvivesEachRefusedAllocation) {
  sweepMemory("PropertiesEditor", [](FaultRun& run) {
    std::optional<util::PropertiesEditor> editor;
    if (!run.completes([&] { editor.emplace(settings.data(), settings.size()); })) return;
    std::string wanted = settings;
    const auto change = [&](const auto& operation, const std::string& former, const std::string& changed) {
      if (run.completes(operation)) wanted.replace(wanted.find(former), former.size(), changed);
      EXPECT_EQ(editor->bytes(), wanted);
    };
    change([&] { editor->set(u"port", longText()); }, "port = 8080", "port = " + longWords);
    change([&] { editor->set(u"host", u""); }, "host=" + longWords, "host=");
    const std::string end = wanted.substr(wanted.find("url"));
    change([&] { editor->set(longText(), u"1"); }, end,
           end + "more\\ than\\ the\\ 27\\ units\\ that\\ ICU\\ keeps\\ in\\ a\\ string\\ itself=1\n");
    util::PropertiesEditor::Place place{};
    if (run.completes([&] { editor->find(u"port", place); })) {
      EXPECT_EQ(place.overriddenLines, std::vector<std::size_t>{2});
    }
    change([&] { editor->remove(u"url"); }, "url=%host%/%prot%\n", "");
    std::string bytes;
    if (run.completes([&] { bytes = editor->bytes(); })) {
      EXPECT_EQ(bytes, wanted);
    }
  });
}

std::string shown(const std::vector<util::PropertyFinding>& findings) {
  std::string text;
  for (const util::PropertyFinding& finding : findings) {
    text += finding.rule;
    for (const icu::UnicodeString& argument : finding.arguments) text += " " + utf8(argument);
    text += ";";
  }
  return text;
}

TEST(MemoryTorture, CheckingATextSurvivesEachRefusedAllocation) {
  const std::string schemaText = "port@type=uint32\nport@range=1..1024\n" + std::string("host@meaning=") +
                                 longWords + "\nurl.*@default=" + longWords + "\nport@typ=text\n";
  sweepMemory("PropertiesReport and PropertiesSchema", [&](FaultRun& run) {
    std::optional<util::PropertiesReport> report;
    if (!run.completes([&] { report.emplace(settings.data(), settings.size()); })) return;
    EXPECT_EQ(shown(report->findings()), "duplicate-key port 4 1;reference-missing url prot;");
    std::optional<util::PropertiesReport> copy;
    if (run.completes([&] { copy.emplace(*report); })) {
      EXPECT_EQ(copy->properties().size(), 4U);
    }
    std::optional<util::PropertiesSchema> schema;
    if (!run.completes([&] { schema.emplace(schemaText.data(), schemaText.size()); })) return;
    EXPECT_EQ(shown(schema->faults()), "schema-facet-unknown port@typ;");
    std::vector<util::PropertyFinding> findings;
    if (run.completes([&] { findings = schema->check(*report); })) {
      EXPECT_EQ(shown(findings), "out-of-range port 8080 1..1024;unknown-key url;");
    }
    icu::UnicodeString text;
    if (run.completes([&] { text = schema->suggest(u"prot"); })) {
      EXPECT_EQ(utf8(text), "port");
    }
    std::string sample;
    if (run.completes([&] { sample = schema->sample(); })) {
      EXPECT_NE(sample.find("# " + longWords + "\n"), std::string::npos);
    }
    if (run.completes([&] { text = schema->markdown(); })) {
      EXPECT_GE(text.indexOf(longText()), 0);
    }
  });
}

// Only texts without types: without memory, ICU's formats dereference null pointers.
TEST(MemoryTorture, ACatalogueSurvivesEachRefusedAllocation) {
  const std::string texts = "LONG={0} " + longWords + "\nSHORT=two: {0}\n";
  sweepMemory("MessageCatalogue", [&](FaultRun& run) {
    std::optional<util::MessageCatalogue> catalogue;
    if (!run.completes([&] { catalogue.emplace(); })) return;
    const bool loaded = run.completes([&] { catalogue->load("en", texts.data(), texts.size()); });
    oss::Message message("SHORT", oss::Message::LEVEL_ERROR, "store.cpp", 7);
    message.addArgument(2);
    icu::UnicodeString out;
    if (run.completes([&] { catalogue->render(message, "en", out); }) && loaded) {
      EXPECT_EQ(utf8(out), "two: 2");
    }
    message.setMessageID("LONG");
    if (run.completes([&] { catalogue->render(oss::MessageList(message), "en", out); }) && loaded) {
      EXPECT_EQ(utf8(out), "2 " + longWords);
    }
  });
}

}  // namespace
}  // namespace tarvo::test
