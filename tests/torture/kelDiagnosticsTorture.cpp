#include "infra/oss/kelBaseException.hpp"
#include "infra/oss/kelIOException.hpp"
#include "infra/oss/kelMessage.hpp"
#include "infra/oss/kelMessageList.hpp"
#include "infra/oss/kelNLSException.hpp"
#include "infra/oss/kelSocketException.hpp"
#include "infra/trace/kelTraceFacility.hpp"
#include "infra/trace/kelTraceRecorder.hpp"
#include "infra/util/kelBase64Exception.hpp"
#include "infra/util/kelPropertiesException.hpp"

#include "oss/kelRaise.hpp"
#include "support/kelTraceFile.hpp"
#include "torture/kelFaultRun.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <optional>
#include <string>
#include <vector>

namespace tarvo::test {
namespace {

using oss::Message;
using oss::MessageList;
using oss::NLSException;
using oss::raise;
using oss::errors::Classes;
using oss::errors::Entry;
using oss::errors::Kinds;
using oss::errors::Operation;
using oss::errors::Port;
using oss::errors::Text;
using testing::ElementsAre;

constexpr const char* longWords = "more than the 27 units that ICU keeps in a string itself";

/// A string that refers to its text, so that every copy allocates.
icu::UnicodeString longText() {
  return {true, u"more than the 27 units that ICU keeps in a string itself", -1};
}

std::string shown(const Message& message) {
  icu::UnicodeString line;
  return utf8(message.toString(line));
}

std::vector<std::string> shown(const MessageList& list) {
  std::vector<std::string> lines;
  MessageList copy(list);
  for (const Message* m = copy.getFirstMsg(); m != nullptr; m = copy.getNextMsg()) lines.push_back(shown(*m));
  EXPECT_EQ(static_cast<int>(lines.size()), list.count());
  return lines;
}

Message filled(const icu::UnicodeString& id) {
  Message message(id, u"text", Message::LEVEL_ERROR);
  message.addArgument(longText());
  message.addArgument(2);
  return message;
}

const std::string filledB = "B: [text] - [" + std::string(longWords) + "] [2]";

TEST(MemoryTorture, AddingMessageArgumentsSurvivesEachRefusedAllocation) {
  sweepMemory("Message: arguments", [](FaultRun& run) {
    Message message(u"A", u"text", Message::LEVEL_ERROR);
    std::vector<std::string> wanted;
    if (run.completes([&] { message.addArgument(longText()); })) wanted.emplace_back(longWords);
    EXPECT_EQ(argumentsOf(message), wanted);
    if (run.completes([&] { message.addArgument(longWords, "ISO-8859-1"); })) wanted.emplace_back(longWords);
    EXPECT_EQ(argumentsOf(message), wanted);
    if (run.completes([&] { message.addArgument(longWords, ""); })) wanted.emplace_back(longWords);
    EXPECT_EQ(argumentsOf(message), wanted);
    if (run.completes([&] { message.addArgument(longWords, nullptr); })) wanted.emplace_back(longWords);
    EXPECT_EQ(argumentsOf(message), wanted);
    if (run.completes([&] { message.addArgument(-12); })) wanted.emplace_back("-12");
    EXPECT_EQ(argumentsOf(message), wanted);
    message.addArgument("usable", "");
    EXPECT_EQ(message.getMessageArgsCount(), static_cast<int>(wanted.size()) + 1);
  });
}

TEST(MemoryTorture, SettingMessageFieldsSurvivesEachRefusedAllocation) {
  sweepMemory("Message: fields", [](FaultRun& run) {
    Message message(u"A", u"text", Message::LEVEL_ERROR);
    message.setFileName("file");
    const bool id = run.completes([&] { message.setMessageID(longText()); });
    EXPECT_EQ(utf8(message.getMessageID()), id ? longWords : "A");
    const bool text = run.completes([&] { message.setMessageText(longText()); });
    EXPECT_EQ(utf8(message.getFormattedMessage()), text ? longWords : "text");
    const bool file = run.completes([&] { message.setFileName(longWords); });
    EXPECT_EQ(utf8(message.getFileName()), file ? longWords : "file");
  });
}

TEST(MemoryTorture, BuildingAndSettingAMessageSurvivesEachRefusedAllocation) {
  sweepMemory("Message: whole", [](FaultRun& run) {
    const Message other = filled(u"B");
    std::optional<Message> built;
    if (run.completes([&] { built.emplace(other); })) {
      EXPECT_EQ(shown(*built), filledB);
    }
    if (run.completes([&] { built.emplace(longText(), longText(), Message::LEVEL_INFO); })) {
      EXPECT_EQ(shown(*built), std::string(longWords) + ": [" + longWords + "]");
    }
    if (run.completes([&] { built.emplace(longText(), Message::LEVEL_INFO, longWords, 7); })) {
      EXPECT_EQ(utf8(built->getFileName()), longWords);
    }

    Message message = filled(u"A");
    if (run.completes([&] { message.setMessage(other); })) {
      EXPECT_EQ(shown(message), filledB);
    }
    message.setMessage(other);
    EXPECT_EQ(shown(message), filledB);
    if (run.completes([&] { message.setMessage(longText(), longText(), Message::LEVEL_INFO); })) {
      EXPECT_EQ(shown(message), std::string(longWords) + ": [" + longWords + "]");
    } else {
      EXPECT_EQ(shown(message), filledB);
    }
    message.setMessage(other);
    if (run.completes([&] { message.setMessage(longText(), Message::LEVEL_INFO, longWords, 7); })) {
      EXPECT_EQ(utf8(message.getFileName()), longWords);
    } else {
      EXPECT_EQ(shown(message), filledB);
    }
    icu::UnicodeString line;
    if (run.completes([&] { other.toString(line); })) {
      EXPECT_EQ(utf8(line), filledB);
    }
    EXPECT_EQ(shown(other), filledB);
  });
}

TEST(MemoryTorture, MessageListSurvivesEachRefusedAllocation) {
  sweepMemory("MessageList", [](FaultRun& run) {
    const Message message = filled(u"B");
    MessageList two;
    two.addMessage(message);
    two.addMessage(message);
    MessageList list;
    int wanted = 0;
    const auto expectWanted = [&] {
      EXPECT_EQ(shown(list), std::vector<std::string>(static_cast<std::size_t>(wanted), filledB));
    };
    if (run.completes([&] { list.addMessage(message); })) ++wanted;
    expectWanted();
    if (run.completes([&] { list.insertMessage(message); })) ++wanted;
    expectWanted();
    if (run.completes([&] { list.join(two); })) {
      wanted += 2;
    } else {
      EXPECT_GE(list.count(), wanted);  // the messages before the failed one stay
      EXPECT_LE(list.count(), wanted + 1);
      wanted = list.count();
    }
    expectWanted();
    std::optional<MessageList> built;
    if (run.completes([&] { built.emplace(two); })) {
      EXPECT_EQ(built->count(), 2);
    }
    if (run.completes([&] { built.emplace(message); })) {
      EXPECT_EQ(built->count(), 1);
    }
    EXPECT_TRUE(run.completes([&] { list.clear(); }));
    MessageList empty;
    run.raises([&] { empty.getFirstMessage(); },
               Raises<NLSException>("ERR_MSGLIST_EMPTY").from("kelMessageList.cpp"));
    EXPECT_TRUE(list.isEmpty());
  });
}

template <class Exception>
void exceptionScenario(FaultRun& run) {
  const auto wanted = Raises<Exception>("QN_ERR_SOMETHING_LONGER_THAN_27", longWords, -1, longWords)
                          .from("kelDiagnosticsTorture.cpp");
  const auto build = [] {
    constexpr Entry<Classes<Exception>, Kinds<Text, Port, Operation>> identifier{
        "QN_ERR_SOMETHING_LONGER_THAN_27"};
    raise<Exception>(identifier, Text{longText()}, Port{4294967295U}, Operation{longWords});
  };
  run.raises(build, wanted);
  try {
    build();
  } catch (Exception& error) {
    std::optional<Exception> copy;
    if (run.completes([&] { copy.emplace(error); })) {
      EXPECT_THAT([&] { throw Exception(*copy); }, wanted);
    }
    run.raises([&] { throw Exception(error); }, wanted);
    Message more = filled(u"B");
    if (run.completes([&] { error.addMessage(more); })) {
      EXPECT_EQ(error.getMessages().count(), 2);
    } else {
      EXPECT_EQ(error.getMessages().count(), 1);
    }
    EXPECT_EQ(utf8(error.getErrorMessage().getMessageID()), "QN_ERR_SOMETHING_LONGER_THAN_27");
    error.getMessages().clear();
    run.raises([&] { error.getErrorMessage(); },
               Raises<NLSException>("ERR_MSGLIST_EMPTY").from("kelMessageList.cpp"));
  }
}

TEST(MemoryTorture, ThrowingAnExceptionSurvivesEachRefusedAllocation) {
  sweepMemory("BaseException", exceptionScenario<oss::BaseException>);
  sweepMemory("NLSException", exceptionScenario<NLSException>);
  sweepMemory("IOException", exceptionScenario<oss::IOException>);
  sweepMemory("SocketException", exceptionScenario<oss::SocketException>);
  sweepMemory("PropertiesException", exceptionScenario<util::PropertiesException>);
  sweepMemory("Base64Exception", exceptionScenario<util::Base64Exception>);
}

/// Counts the calls of hooks; counting allocates nothing.
struct Hooks {
  static inline int entries = 0;
  static inline int exits = 0;
};

TEST(MemoryTorture, TraceFacilitySurvivesEachRefusedAllocation) {
  sweepMemory("trace facility", [](FaultRun& run) {
    std::uint32_t flags[trace::componentIndex + 1] = {};
    flags[trace::componentIndex] = 0x20000;
    trace::Facility facility;
    facility.componentTraceFlags = flags;
    facility.traceEntry = [](std::uint32_t) { ++Hooks::entries; };
    facility.traceExit = [](std::uint32_t, int) { ++Hooks::exits; };
    const Message message = filled(u"B");
    MessageList list;
    Hooks::entries = Hooks::exits = 0;
    EXPECT_TRUE(run.completes([&] { trace::install(facility); }));
    const bool added = run.completes([&] { list.addMessage(message); });
    EXPECT_TRUE(run.completes([] { trace::uninstall(); }));
    EXPECT_EQ(Hooks::entries, 1);
    EXPECT_EQ(Hooks::exits, added ? 1 : 0) << "what fails reports no exit";
    EXPECT_EQ(list.count(), added ? 1 : 0);
  });
}

TEST(MemoryTorture, TraceRecorderSurvivesEachRefusedAllocation) {
  sweepMemory("TraceRecorder", [](FaultRun& run) {
    using trace::TraceRecorder;
    TraceRecorder::Settings settings;
    settings.endedThreads = 0;
    EXPECT_TRUE(run.completes([&] { TraceRecorder::start(settings); }));
    std::size_t kept = 0;
    const auto expectKept = [&](std::size_t written) {
      const TraceFile file(TraceRecorder::snapshot());
      EXPECT_EQ(file.threads.size(), kept == 0 ? 0U : 1U);
      EXPECT_EQ(kept == 0 ? 0U : file.threads.at(0).events.size(), kept);
      EXPECT_EQ(file.lost, written - kept) << "an event is kept or counted as lost";
      EXPECT_EQ(TraceRecorder::lost(), written - kept);
    };
    EXPECT_TRUE(run.completes([] { TraceRecorder::entered(1); }));
    if (!run.struckLast()) ++kept;
    expectKept(1);
    EXPECT_TRUE(run.completes([] { TraceRecorder::left(1, 0); }));
    if (!run.struckLast()) ++kept;
    expectKept(2);
    std::string file;
    if (run.completes([&] { file = TraceRecorder::snapshot(); })) {
      EXPECT_EQ(file.size(), TraceRecorder::snapshot().size());
    } else {
      EXPECT_EQ(file, "");
    }
    expectKept(2);
    EXPECT_TRUE(run.completes([] { TraceRecorder::stop(); }));
    expectKept(2);
  });
}

}  // namespace
}  // namespace tarvo::test
