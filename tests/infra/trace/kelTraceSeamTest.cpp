#include "infra/oss/kelMessageList.hpp"

#include "support/kelAllocationsSeam.hpp"
#include "support/kelRows.hpp"
#include "support/kelTraceRecorder.hpp"
#include "trace/kelTrace.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <type_traits>
#include <vector>

namespace tarvo::test {
namespace {

using oss::Message;
using oss::MessageList;
using testing::ElementsAre;
using testing::IsEmpty;
using trace::probe;
using trace::traced;
using trace::tracedExit;

constexpr std::uint32_t everything = 0x60083;

// --- the wrapper
// --------------------------------------------------------------------------------------------

TEST(Traced, ReportsAroundItsBody) {
  TraceRecorder trace(everything);
  traced<probe("MessageList::join")>(
      [&] { EXPECT_THAT(trace.take(), ElementsAre("diagDispatchEntry 63A", "traceEntry 63A")); });
  EXPECT_THAT(trace.take(),
              ElementsAre("diagDispatchExit 63A", "traceExit 63A 0", "traceFlightRecord 63A 0 0 0"));
}

TEST(Traced, ExitReportsOnlyAfterItsBody) {
  TraceRecorder trace(everything);
  tracedExit<probe("MessageList::getNextMsg")>([&] { EXPECT_THAT(trace.take(), IsEmpty()); });
  EXPECT_THAT(trace.take(),
              ElementsAre("diagDispatchExit 63D", "traceExit 63D 0", "traceFlightRecord 63D 0 0 0"));
}

TEST(Traced, NestsAsItsBodiesDo) {
  TraceRecorder trace(0x20000);
  traced<probe("Socket::connect")>([] {
    traced<probe("Socket::select")>([] {});
    tracedExit<probe("Socket::~Socket")>([] {});
  });
  EXPECT_THAT(trace.take(), ElementsAre("traceEntry 616", "traceEntry 618", "traceExit 618 0",
                                        "traceExit 615 0", "traceExit 616 0"));
}

TEST(Traced, ReportsNoExitIfItsBodyThrows) {
  TraceRecorder trace(everything);
  EXPECT_THROW(traced<probe("MessageList::clear")>([] { throw std::runtime_error("x"); }),
               std::runtime_error);
  EXPECT_THAT(trace.take(), ElementsAre("diagDispatchEntry 63E", "traceEntry 63E"));
  EXPECT_THROW(tracedExit<probe("MessageList::clear")>([]() -> int { throw std::runtime_error("x"); }),
               std::runtime_error);
  EXPECT_THAT(trace.take(), IsEmpty());
}

TEST(Traced, ReportsNeitherExitIfANestedBodyThrows) {
  TraceRecorder trace(0x20000);
  EXPECT_THROW(traced<probe("Socket::connect")>(
                   [] { traced<probe("Socket::select")>([] { throw std::runtime_error("x"); }); }),
               std::runtime_error);
  EXPECT_THAT(trace.take(), ElementsAre("traceEntry 616", "traceEntry 618"));
}

TEST(Traced, ReturnsWhatItsBodyReturns) {
  TraceRecorder trace(everything);
  int variable = 7;
  const auto value = [&] { return variable; };
  const auto reference = [&]() -> int& { return variable; };
  EXPECT_EQ((traced<probe("MessageList::join")>(value)), 7);
  EXPECT_EQ((&traced<probe("MessageList::join")>(reference)), &variable);
  EXPECT_EQ((&tracedExit<probe("MessageList::join")>(reference)), &variable);
  static_assert(std::is_same_v<decltype(traced<probe("MessageList::join")>(value)), int>);
  static_assert(std::is_same_v<decltype(traced<probe("MessageList::join")>(reference)), int&>);
  static_assert(std::is_void_v<decltype(traced<probe("MessageList::join")>([] {}))>);
}

// --- the cost of disabled tracing
// -----------------------------------------------------------------------

TEST(TracingOff, AllocatesNothing) {
  MessageList list((Message()));
  list.addMessage(Message());
  const MessageList none;
  for (const bool installed : rowsOf({false, true})) {
    std::uint32_t flags[trace::componentIndex + 1] = {};
    trace::Facility facility;
    facility.componentTraceFlags = flags;
    if (installed) trace::install(facility);
    std::size_t made = 0;
    {
      const AllocationCount count;
      traced<probe("Socket::connect")>([] {});
      tracedExit<probe("Socket::~Socket")>([] {});
      list.getFirstMsg();
      list.getNextMsg();
      list.getNextMsg();
      list.join(none);
      MessageList local(none);
      local.clear();
      made = count.made();
    }
    trace::uninstall();
    EXPECT_EQ(made, 0U) << (installed ? "flags clear" : "nothing installed");
  }
}

TEST(TracingOff, AddsNoAllocationToThoseOfAMessage) {
  const Message message;
  const auto allocationsOfOneAdd = [&] {
    MessageList list;
    const AllocationCount count;
    list.addMessage(message);
    return count.made();
  };
  EXPECT_EQ(allocationsOfOneAdd(), 1U) << "the node";
}

TEST(TracingOff, InstallingAllocatesNothing) {
  const AllocationCount count;
  trace::install(trace::Facility());
  trace::uninstall();
  EXPECT_EQ(count.made(), 0U);
}

// --- an error inside a traced function
// ----------------------------------------------------------------------

// Hooks that allocate nothing, because allocations fail in this test.
struct Numbers {
  static inline std::uint32_t seen[8] = {};
  static inline int count = 0;
  static void entered(std::uint32_t number) { seen[count++] = number; }
  static void left(std::uint32_t number, int) { seen[count++] = number | 0x80000000U; }
};

TEST(Traced, ReportsNoExitIfAnAllocationFails) {
  std::uint32_t flags[trace::componentIndex + 1] = {};
  trace::Facility facility;
  facility.componentTraceFlags = flags;
  facility.traceEntry = Numbers::entered;
  facility.traceExit = Numbers::left;
  trace::install(facility);
  const Message message;
  MessageList list(message);
  const MessageList other(message);
  const auto numbersOf = [&](auto operation) {
    Numbers::count = 0;
    flags[trace::componentIndex] = 0x20000;
    try {
      const FailingAllocation first(1);
      operation();
    } catch (const std::bad_alloc&) {
      flags[trace::componentIndex] = 0;
      return std::vector<std::uint32_t>(Numbers::seen, Numbers::seen + Numbers::count);
    }
    flags[trace::componentIndex] = 0;
    return std::vector<std::uint32_t>{0};
  };
  EXPECT_THAT(numbersOf([&] { list.addMessage(message); }), ElementsAre(probe("MessageList::addMessage")));
  EXPECT_THAT(numbersOf([&] { list.insertMessage(message); }),
              ElementsAre(probe("MessageList::insertMessage")));
  EXPECT_THAT(numbersOf([&] { list.join(other); }),
              ElementsAre(probe("MessageList::join"), probe("MessageList::addMessage")));
  trace::uninstall();
}

}  // namespace
}  // namespace tarvo::test
