#include "infra/oss/kelMessageList.hpp"
#include "infra/oss/kelNLSException.hpp"
#include "infra/trace/kelTraceFacility.hpp"

#include "support/kelReporting.hpp"
#include "support/kelRows.hpp"
#include "support/kelTraceRecorder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace tarvo::test {
namespace {

using oss::Message;
using oss::MessageList;
using oss::NLSException;
using testing::ElementsAre;
using testing::IsEmpty;
using Calls = std::vector<std::string>;

static_assert(trace::componentIndex == 155);
static_assert(noexcept(trace::install(trace::Facility())) && noexcept(trace::uninstall()));
static_assert(std::is_same_v<decltype(trace::Facility::componentTraceFlags), const volatile std::uint32_t*>);

// --- a model of the calls
// --------------------------------------------------------------------------------

void appendEntry(Calls& calls, const std::string& number, std::uint32_t word) {
  if ((word & 0x40000) != 0) calls.push_back("diagDispatchEntry " + number);
  if ((word & 0x20001) != 0) calls.push_back("traceEntry " + number);
}

void appendExit(Calls& calls, const std::string& number, std::uint32_t word) {
  if ((word & 0x40000) != 0) calls.push_back("diagDispatchExit " + number);
  if ((word & 0x20002) != 0) calls.push_back("traceExit " + number + " 0");
  if ((word & 0x80) != 0) calls.push_back("traceFlightRecord " + number + " 0 0 0");
}

// The hook calls that are expected with constant trace flags. `events` lists entries ('>') and exits ('<') of
// functions.
Calls expected(const std::string& events, std::uint32_t word) {
  Calls calls;
  std::istringstream words(events);
  for (std::string event; words >> event;) {
    if (event.front() == '>')
      appendEntry(calls, event.substr(1), word);
    else
      appendExit(calls, event.substr(1), word);
  }
  return calls;
}

TEST(TraceModel, GivesTheExpectedCalls) {
  EXPECT_THAT(expected(">638 <638", 0), IsEmpty());
  EXPECT_THAT(expected(">638 <638", 0x1), ElementsAre("traceEntry 638"));
  EXPECT_THAT(expected(">638 <638", 0x2), ElementsAre("traceExit 638 0"));
  EXPECT_THAT(expected(">638 <638", 0x20000), ElementsAre("traceEntry 638", "traceExit 638 0"));
  EXPECT_THAT(expected(">638 <638", 0x80), ElementsAre("traceFlightRecord 638 0 0 0"));
  EXPECT_THAT(expected(">638 <638", 0x40000), ElementsAre("diagDispatchEntry 638", "diagDispatchExit 638"));
  EXPECT_THAT(expected(">638 <638", 0x60080),
              ElementsAre("diagDispatchEntry 638", "traceEntry 638", "diagDispatchExit 638",
                          "traceExit 638 0", "traceFlightRecord 638 0 0 0"));
}

// --- every traced operation of the lists, under every flag
// --------------------------------------------------

struct Operation {
  const char* what;
  const char* events;
  Calls (*run)(TraceRecorder&);  // returns only the calls of the operation
};

const Operation operations[] = {
    {"an empty list is built", "<636",
     [](TraceRecorder& trace) {
       const MessageList list;
       return trace.take();
     }},
    {"a list of one is built", ">638 <638 <636",
     [](TraceRecorder& trace) {
       const MessageList list((Message()));
       return trace.take();
     }},
    {"an empty list is copied", ">63A <63A <636",
     [](TraceRecorder& trace) {
       const MessageList list;
       trace.forget();
       const MessageList copy(list);
       return trace.take();
     }},
    {"a list of two is copied", ">63A >638 <638 >638 <638 <63A <636",
     [](TraceRecorder& trace) {
       MessageList list((Message()));
       list.addMessage(Message());
       trace.forget();
       const MessageList copy(list);
       return trace.take();
     }},
    {"an empty list is destroyed", ">63E <63E",
     [](TraceRecorder& trace) {
       {
         const MessageList list;
         trace.forget();
       }
       return trace.take();
     }},
    {"a list of one is destroyed", ">63E <63E",
     [](TraceRecorder& trace) {
       {
         const MessageList list((Message()));
         trace.forget();
       }
       return trace.take();
     }},
    {"a message is added", ">638 <638 >638 <638",
     [](TraceRecorder& trace) {
       MessageList list;
       trace.forget();
       list.addMessage(Message());
       list.addMessage(Message());
       return trace.take();
     }},
    {"a message is inserted", ">639 <639 >639 <639",
     [](TraceRecorder& trace) {
       MessageList list;
       trace.forget();
       list.insertMessage(Message());
       list.insertMessage(Message());
       return trace.take();
     }},
    {"nothing is joined", ">63A <63A",
     [](TraceRecorder& trace) {
       MessageList list((Message()));
       const MessageList other;
       trace.forget();
       list.join(other);
       return trace.take();
     }},
    {"two messages are joined", ">63A >638 <638 >638 <638 <63A",
     [](TraceRecorder& trace) {
       MessageList other((Message()));
       other.addMessage(Message());
       MessageList list;
       trace.forget();
       list.join(other);
       return trace.take();
     }},
    {"a list of one is joined onto itself", ">63A >638 <638 <63A",
     [](TraceRecorder& trace) {
       MessageList list((Message()));
       trace.forget();
       list.join(list);
       return trace.take();
     }},
    {"an empty list is cleared", ">63E <63E",
     [](TraceRecorder& trace) {
       MessageList list;
       trace.forget();
       list.clear();
       return trace.take();
     }},
    {"a list of two is cleared", ">63E <63E",
     [](TraceRecorder& trace) {
       MessageList list((Message()));
       list.addMessage(Message());
       trace.forget();
       list.clear();
       return trace.take();
     }},
    {"the cursor of an empty list is asked", "",
     [](TraceRecorder& trace) {
       MessageList list;
       trace.forget();
       list.getFirstMsg();
       list.getNextMsg();
       return trace.take();
     }},
    {"the cursor walks a list of two", "<63C <63D",
     [](TraceRecorder& trace) {
       MessageList list((Message()));
       list.addMessage(Message());
       trace.forget();
       list.getFirstMsg();
       list.getNextMsg();
       list.getNextMsg();  // after the end
       return trace.take();
     }},
    {"the members of a list that read it", "",
     [](TraceRecorder& trace) {
       MessageList list((Message()));
       trace.forget();
       EXPECT_EQ(list.count(), 1);
       EXPECT_FALSE(list.isEmpty());
       EXPECT_FALSE(list.hasMoreMsgs());
       EXPECT_EQ(&list.getFirstMessage(), &std::as_const(list).getFirstMessage());
       return trace.take();
     }},
    {"a message is used", "",
     [](TraceRecorder& trace) {
       Message message(u"A", u"text", Message::LEVEL_ERROR);
       message.addArgument(1);
       message.setMessage(Message(message));
       message.clear();
       icu::UnicodeString line;
       message.toString(line);
       return trace.take();
     }},
    {"an exception is built", "<636 >638 <638",
     [](TraceRecorder& trace) {
       const NLSException error(u"ERR_A", "kelA.cpp", 1);
       return trace.take();
     }},
    {"an exception is copied", "<636 >63A >638 <638 <63A",
     [](TraceRecorder& trace) {
       const NLSException error(u"ERR_A", "kelA.cpp", 1);
       trace.forget();
       const NLSException copy(error);
       return trace.take();
     }},
    {"a message is added to an exception", ">638 <638",
     [](TraceRecorder& trace) {
       NLSException error(u"ERR_A", "kelA.cpp", 1);
       Message message;
       trace.forget();
       error.addMessage(message);
       return trace.take();
     }},
    {"an exception is asked", "",
     [](TraceRecorder& trace) {
       NLSException error(u"ERR_A", "kelA.cpp", 1);
       trace.forget();
       EXPECT_EQ(&error.getErrorMessage(), &error.getMessages().getFirstMessage());
       EXPECT_STREQ(error.what(), error.name());
       return trace.take();
     }},
    {"an exception is destroyed", ">63E <63E",
     [](TraceRecorder& trace) {
       {
         const NLSException error(u"ERR_A", "kelA.cpp", 1);
         trace.forget();
       }
       return trace.take();
     }},
};

class EveryTracedOperation : public testing::TestWithParam<Operation> {};

INSTANTIATE_TEST_SUITE_P(When, EveryTracedOperation, testing::ValuesIn(operations), [](const auto& row) {
  std::string name = row.param.what;
  for (char& c : name) c = c == ' ' ? '_' : c;
  return name;
});

constexpr std::uint32_t meaningful[] = {0x40000, 0x20000, 0x80, 0x2, 0x1};
constexpr std::uint32_t meaningless = ~std::uint32_t{0x60083};

TEST_P(EveryTracedOperation, ReportsInOrderUnderEverySetOfFlags) {
  for (unsigned int choice = 0; choice < 32; ++choice) {
    ROW("choice", choice);
    std::uint32_t word = 0;
    for (unsigned int i = 0; i < 5; ++i) word |= (choice >> i & 1U) != 0 ? meaningful[i] : 0;
    for (const std::uint32_t flags : rowsOf({word, word | meaningless})) {
      TraceRecorder trace(flags);
      EXPECT_EQ(GetParam().run(trace), expected(GetParam().events, flags)) << "flags " << std::hex << flags;
    }
  }
}

TEST_P(EveryTracedOperation, ReportsNothingUnderBitsWithoutMeaning) {
  for (unsigned int bit = 0; bit < 32; ++bit) {
    ROW("bit", bit);
    const std::uint32_t flags = (std::uint32_t{1} << bit) & meaningless;
    TraceRecorder trace(flags);
    EXPECT_THAT(GetParam().run(trace), IsEmpty()) << "flags " << std::hex << flags;
  }
}

// --- errors
// -------------------------------------------------------------------------------------------------

// The function that raises has no probe. The calls come from the construction and destruction of the
// exception's list.
TEST(TraceFacility, ReportsOnlyTheExceptionsListForAnErrorOfAnEmptyList) {
  TraceRecorder trace(0x20000);
  MessageList list;
  trace.forget();
  try {
    list.getFirstMessage();
  } catch (const NLSException&) {
    const Calls calls = trace.take();
    ASSERT_GE(calls.size(), 3U);
    EXPECT_THAT(Calls(calls.begin(), calls.begin() + 3),
                ElementsAre("traceExit 636 0", "traceEntry 638", "traceExit 638 0"));
  }
  EXPECT_THAT(trace.take(), ElementsAre("traceEntry 63E", "traceExit 63E 0"));
}

// --- flags that change half-way
// -----------------------------------------------------------------------------

struct Switch {
  std::uint32_t before;
  const char* at;
  std::uint32_t after;
  Calls calls;
};

// A message is added, and the trace flags change during the given hook call. The next probe uses the new
// flags.
const Switch switches[] = {
    {0x40000, "diagDispatchEntry 638", 0, {"diagDispatchEntry 638"}},
    {0x40001, "diagDispatchEntry 638", 0x40000, {"diagDispatchEntry 638", "diagDispatchExit 638"}},
    {0x40000, "diagDispatchEntry 638", 0x1, {"diagDispatchEntry 638", "traceEntry 638"}},
    {0x40000,
     "diagDispatchEntry 638",
     0x20000,
     {"diagDispatchEntry 638", "traceEntry 638", "traceExit 638 0"}},
    {0x1, "traceEntry 638", 0x2, {"traceEntry 638", "traceExit 638 0"}},
    {0x20000, "traceEntry 638", 0, {"traceEntry 638"}},
    {0x20000, "traceEntry 638", 0x1, {"traceEntry 638"}},
    {0x20000, "traceEntry 638", 0x40000, {"traceEntry 638", "diagDispatchExit 638"}},
    {0x1, "traceEntry 638", 0x80, {"traceEntry 638", "traceFlightRecord 638 0 0 0"}},
    {0x40082, "diagDispatchExit 638", 0x40000, {"diagDispatchEntry 638", "diagDispatchExit 638"}},
    {0x40000,
     "diagDispatchExit 638",
     0x2,
     {"diagDispatchEntry 638", "diagDispatchExit 638", "traceExit 638 0"}},
    {0x40002,
     "diagDispatchExit 638",
     0x80,
     {"diagDispatchEntry 638", "diagDispatchExit 638", "traceFlightRecord 638 0 0 0"}},
    {0x82, "traceExit 638 0", 0x2, {"traceExit 638 0"}},
    {0x82, "traceExit 638 0", 0, {"traceExit 638 0"}},
    {0x2, "traceExit 638 0", 0x80, {"traceExit 638 0", "traceFlightRecord 638 0 0 0"}},
    {0x20000, "traceExit 638 0", 0x80, {"traceEntry 638", "traceExit 638 0", "traceFlightRecord 638 0 0 0"}},
    {0x80, "traceFlightRecord 638 0 0 0", 0x60083, {"traceFlightRecord 638 0 0 0"}},
};

TEST(TraceFacility, UsesFlagsChangedByAHookAtTheNextProbe) {
  for (const Switch& row : rowsOf(switches)) {
    TraceRecorder trace(0);
    MessageList list;
    const Message message;
    trace.setFlags(row.before);
    trace.switchFlagsAt(row.at, row.after);
    list.addMessage(message);
    const Calls calls = trace.take();
    trace.setFlags(0);
    EXPECT_EQ(calls, row.calls) << std::hex << row.before << " to " << row.after << " at " << row.at;
  }
}

TEST(TraceFacility, UsesFlagsChangedInsideANestedCall) {
  TraceRecorder trace(0);
  const MessageList other((Message()));
  MessageList list;
  trace.setFlags(0x20000);
  trace.switchFlagsAt("traceEntry 638", 0x40000);
  list.join(other);
  const Calls calls = trace.take();
  trace.setFlags(0);
  EXPECT_THAT(
      calls, ElementsAre("traceEntry 63A", "traceEntry 638", "diagDispatchExit 638", "diagDispatchExit 63A"));
}

TEST(TraceFacility, UsesFlagsChangedBetweenCalls) {
  TraceRecorder trace(0);
  MessageList list;
  list.addMessage(Message());
  trace.setFlags(0x1);
  list.addMessage(Message());
  trace.setFlags(0);
  list.addMessage(Message());
  EXPECT_THAT(trace.take(), ElementsAre("traceEntry 638"));
}

// --- the record
// ---------------------------------------------------------------------------------------------

// A trace facility without TraceRecorder. For each hook it stores the last arguments and the number of calls.
struct Host {
  std::array<std::uint32_t, 256> flags = {};
  trace::Facility facility;

  static inline thread_local int called = 0;
  static inline thread_local std::uint32_t probe = 0;

  Host() {
    facility.componentTraceFlags = flags.data();
    facility.diagDispatchEntry = note;
    facility.diagDispatchExit = note;
    facility.traceEntry = note;
    facility.traceExit = [](std::uint32_t p, int) { note(p); };
    facility.traceFlightRecord = [](std::uint32_t p, int, int, int) { note(p); };
    called = 0;
    probe = 0;
  }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;
  ~Host() { trace::uninstall(); }

  static void note(std::uint32_t number) {
    ++called;
    probe = number;
  }
};

int callsOfOneAdd() {
  MessageList list;
  const Message message;
  Host::called = 0;
  list.addMessage(message);
  return std::exchange(Host::called, 0);
}

constexpr std::uint32_t everything = 0x60083;

TEST(TraceFacility, ReadsOnlyElement155OfTheFlags) {
  Host host;
  trace::install(host.facility);
  host.flags[155] = everything;
  EXPECT_EQ(callsOfOneAdd(), 5);
  host.flags.fill(everything);
  host.flags[155] = 0;
  EXPECT_EQ(callsOfOneAdd(), 0);
}

TEST(TraceFacility, ReceivesTheWholeProbeNumber) {
  Host host;
  trace::install(host.facility);
  host.flags[155] = 0x80;
  const auto last = [] { return std::exchange(Host::probe, 0); };
  {
    MessageList list;
    EXPECT_EQ(last(), 483919414U) << "constructor";
    list.addMessage(Message());
    EXPECT_EQ(last(), 483919416U) << "addMessage";
    list.insertMessage(Message());
    EXPECT_EQ(last(), 483919417U) << "insertMessage";
    const MessageList other;
    list.join(other);
    EXPECT_EQ(last(), 483919418U) << "join";
    list.getFirstMsg();
    EXPECT_EQ(last(), 483919420U) << "getFirstMsg";
    list.getNextMsg();
    EXPECT_EQ(last(), 483919421U) << "getNextMsg";
    list.clear();
    EXPECT_EQ(last(), 483919422U) << "clear";
  }
  EXPECT_EQ(last(), 483919422U) << "destructor";
}

TEST(TraceFacility, IgnoresANullFunction) {
  struct Row {
    const char* what;
    void (*drop)(trace::Facility&);
    int callsLeft;
  };
  const Row rows[] = {
      {"none", [](trace::Facility&) {}, 5},
      {"diagDispatchEntry", [](trace::Facility& f) { f.diagDispatchEntry = nullptr; }, 4},
      {"diagDispatchExit", [](trace::Facility& f) { f.diagDispatchExit = nullptr; }, 4},
      {"traceEntry", [](trace::Facility& f) { f.traceEntry = nullptr; }, 4},
      {"traceExit", [](trace::Facility& f) { f.traceExit = nullptr; }, 4},
      {"traceFlightRecord", [](trace::Facility& f) { f.traceFlightRecord = nullptr; }, 4},
      {"all",
       [](trace::Facility& f) {
         const volatile std::uint32_t* flags = f.componentTraceFlags;
         f = trace::Facility();
         f.componentTraceFlags = flags;
       },
       0},
  };
  for (const Row& row : rowsOf(rows)) {
    Host host;
    host.flags[155] = everything;
    row.drop(host.facility);
    trace::install(host.facility);
    EXPECT_EQ(callsOfOneAdd(), row.callsLeft) << row.what;
  }
}

TEST(TraceFacility, TreatsANullArrayAsAllZero) {
  Host host;
  host.facility.componentTraceFlags = nullptr;
  trace::install(host.facility);
  EXPECT_EQ(callsOfOneAdd(), 0);
}

TEST(TraceFacility, CopiesTheRecord) {
  Host host;
  host.flags[155] = everything;
  {
    auto record = std::make_unique<trace::Facility>(host.facility);
    trace::install(*record);
    record->traceEntry = nullptr;
    record->componentTraceFlags = nullptr;
  }
  EXPECT_EQ(callsOfOneAdd(), 5);
}

TEST(TraceFacility, IsReplacedCompletely) {
  Host host;
  host.flags[155] = everything;
  trace::install(host.facility);
  trace::Facility another;
  std::array<std::uint32_t, 156> flags = {};
  flags[155] = everything;
  another.componentTraceFlags = flags.data();
  another.traceEntry = Host::note;
  trace::install(another);
  EXPECT_EQ(callsOfOneAdd(), 1);
  trace::install(host.facility);
  EXPECT_EQ(callsOfOneAdd(), 5);
}

TEST(TraceFacility, IsNotCalledAfterUninstall) {
  Host host;
  host.flags[155] = everything;
  trace::install(host.facility);
  trace::uninstall();
  EXPECT_EQ(callsOfOneAdd(), 0);
  trace::uninstall();
  EXPECT_EQ(callsOfOneAdd(), 0);
  trace::install(host.facility);
  EXPECT_EQ(callsOfOneAdd(), 5);
}

TEST(TraceFacility, CanBeUninstalledByItsOwnHook) {
  Host host;
  host.flags[155] = everything;
  host.facility.traceEntry = [](std::uint32_t probe) {
    Host::note(probe);
    trace::uninstall();
  };
  trace::install(host.facility);
  EXPECT_EQ(callsOfOneAdd(), 2);
}

TEST(TraceFacility, IsCalledFromTheThreadThatRunsTheFunction) {
  Host host;
  host.flags[155] = everything;
  trace::install(host.facility);
  int inThread = 0;
  std::thread(reporting([&] { inThread = callsOfOneAdd(); })).join();
  EXPECT_EQ(inThread, 5);
  EXPECT_EQ(Host::called, 0);
}

// The host changes the flags while two threads work. The thread sanitizer must report no race, and both
// results must be correct.
TEST(TraceFacility, FlagsMayChangeWhileThreadsWork) {
  TraceRecorder trace(0);
  const auto work = [] {
    MessageList list;
    for (int i = 0; i < 2000; ++i) list.addMessage(Message());
    EXPECT_EQ(list.count(), 2000);
  };
  std::thread one(work);
  std::thread two(work);
  for (int i = 0; i < 2000; ++i) trace.setFlags(i % 2 == 0 ? 0x80 : 0);
  one.join();
  two.join();
  trace.setFlags(0);
  trace.forget();
  work();
  EXPECT_THAT(trace.take(), IsEmpty());
}

}  // namespace
}  // namespace tarvo::test
