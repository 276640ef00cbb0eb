// MessageCatalogue compared with ICU's MessageFormat.
// Names are "class/task/candidate"; the candidate KELINFRA is compared with the others of its task.
#include "infra/oss/kelMessage.hpp"
#include "infra/util/kelMessageCatalogue.hpp"

#include "kelRegister.hpp"

#include <benchmark/benchmark.h>
#include <unicode/fmtable.h>
#include <unicode/locid.h>
#include <unicode/msgfmt.h>
#include <unicode/unistr.h>

#include <functional>
#include <memory>
#include <string>

namespace tarvo::benchmarks {
namespace {

using oss::Message;
using util::MessageCatalogue;

/// A text, the number in its second argument, and the argument for ICU.
struct Case {
  const char* name;
  const char* pattern;
  int number;
  icu::Formattable argument;
};

const Case& plainText() {
  // Without a type ICU would format a number by the rules of the language, so ICU gets its digits.
  static const Case text{"a text with two arguments", "The host {0} refused port {1}.", 4711,
                         icu::Formattable(icu::UnicodeString(u"4711"))};
  return text;
}

const Case& pluralText() {
  static const Case text{"a text with a plural",
                         "{1, plural, one {# page does} other {# pages do}} not fit on {0}.", 512,
                         icu::Formattable(512)};
  return text;
}

Message messageOf(const Case& text) {
  Message message("ERR_SAMPLE", Message::LEVEL_ERROR, "kelSample.cpp", 120);
  message.addArgument(icu::UnicodeString(u"db.example"));
  message.addArgument(text.number);
  return message;
}

const char* const language = "de";

using Render = std::function<void(icu::UnicodeString& out)>;

Render byCatalogue(const Case& text) {
  const auto catalogue = std::make_shared<MessageCatalogue>();
  const std::string line = std::string("ERR_SAMPLE = ") + text.pattern + "\n";
  catalogue->load(language, line.data(), line.size());
  return [catalogue, message = messageOf(text)](icu::UnicodeString& out) {
    catalogue->render(message, language, out);
  };
}

void format(const icu::MessageFormat& pattern, const Case& text, icu::UnicodeString& out) {
  const icu::Formattable arguments[] = {icu::UnicodeString(u"db.example"), text.argument};
  UErrorCode status = U_ZERO_ERROR;
  icu::FieldPosition ignored(icu::FieldPosition::DONT_CARE);
  out.remove();
  pattern.format(arguments, 2, out, ignored, status);
}

Render byParsedPattern(const Case& text) {
  UErrorCode status = U_ZERO_ERROR;
  const auto pattern = std::make_shared<icu::MessageFormat>(icu::UnicodeString::fromUTF8(text.pattern),
                                                            icu::Locale(language), status);
  return [pattern, &text](icu::UnicodeString& out) { format(*pattern, text, out); };
}

Render byPattern(const Case& text) {
  return [units = icu::UnicodeString::fromUTF8(text.pattern), &text](icu::UnicodeString& out) {
    UErrorCode status = U_ZERO_ERROR;
    format(icu::MessageFormat(units, icu::Locale(language), status), text, out);
  };
}

void renders(benchmark::State& state, const Render& render, const Render& own) {
  icu::UnicodeString out;
  icu::UnicodeString expected;
  render(out);
  own(expected);
  if (out != expected || out.isEmpty()) return refuse(state, "the texts differ");
  timed(state, [&] {
    render(out);
    benchmark::DoNotOptimize(out.getBuffer());
  });
}

const bool registered = [] {
  for (const Case* const text : {&plainText(), &pluralText()}) {
    const Render own = byCatalogue(*text);
    const auto add = [&](const char* name, const Render& render) {
      registerBenchmark("MessageCatalogue/" + std::string(text->name) + "/" + name,
                        [=](benchmark::State& state) { renders(state, render, own); });
    };
    add("KELINFRA", own);
    add("MessageFormat kept", byParsedPattern(*text));
    add("MessageFormat each time", byPattern(*text));
  }
  return true;
}();

}  // namespace
}  // namespace tarvo::benchmarks
