#include "infra/oss/kelBaseException.hpp"
#include "infra/oss/kelBuildVersion.hpp"
#include "infra/oss/kelByteArrayOutputStream.hpp"
#include "infra/oss/kelByteBuffer.hpp"
#include "infra/oss/kelConverter.hpp"
#include "infra/oss/kelDataBuffer.hpp"
#include "infra/oss/kelFormatter.hpp"
#include "infra/oss/kelIOException.hpp"
#include "infra/oss/kelNLSException.hpp"
#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketException.hpp"
#include "infra/oss/kelSocketServer.hpp"
#include "infra/oss/kelStringTokenizer.hpp"
#include "infra/oss/kelUTF8Iterator.hpp"
#include "infra/oss/kelUTF8String.hpp"
#include "infra/trace/kelTraceFacility.hpp"
#include "infra/util/kelBase64.hpp"
#include "infra/util/kelExtendedProperties.hpp"

#include "support/kelAwaited.hpp"
#include "support/kelPeer.hpp"
#include "support/kelRaises.hpp"
#include "support/kelReporting.hpp"
#include "support/kelRows.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <future>
#include <limits>
#include <list>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

/// Several threads use the library at the same time, in every way that is documented as safe. Each result
/// must equal that of a single thread. The thread sanitizer checks these tests for data races.
namespace tarvo::test {
namespace {

using namespace oss;  // NOLINT(google-build-using-namespace): nearly all of it
using util::Base64;
using util::ExtendedProperties;

/// An error as its identifier and arguments.
template <class Call>
std::string errorOf(const Call& call) {
  try {
    call();
  } catch (const BaseException& error) {
    std::string text = utf8(error.getErrorMessage().getMessageID());
    for (const std::string& argument : argumentsOf(error.getErrorMessage())) text += " " + argument;
    return text;
  }
  return "no error";
}

// --- a function for each class --------------------------------------------------------------------------
// Each function creates objects from a number, uses them, and returns the results as text.

std::string messages(unsigned int number) {
  Message message(u"ERR_TRIED", Message::LEVEL_WARNING, "kelHere.cpp", number);
  message.addArgument(number);
  message.addArgument("\xE9", "ISO-8859-1");
  MessageList list(message);
  list.addMessage(message);
  list.insertMessage(Message(u"FIRST", u"text", Message::LEVEL_INFO));
  MessageList joined(list);
  joined.join(list);
  std::string text;
  icu::UnicodeString out;
  for (const Message* each = joined.getFirstMsg(); each != nullptr; each = joined.getNextMsg()) {
    text += utf8(each->toString(out)) + "\n";
  }
  return text;
}

std::string exceptions(unsigned int number) {
  IOException error(u"ERR_TRIED", "kelHere.cpp", number);
  error.getErrorMessage().addArgument(number);
  const BaseException copy(error);
  return errorOf([&] { throw IOException(error); }) + error.what() + copy.what() + error.name() +
         errorOf([] { MessageList().getFirstMessage(); });
}

std::string dataBuffers(unsigned int number) {
  DataBuffer buffer(0);
  buffer.appendNumber(number);
  buffer.appendNumber(0.5);
  buffer.appendString(u"gr\u00FC\u00DFe", "ISO-8859-1");
  buffer.insertString(0, buffer);
  buffer.appendBinary("\x01\xFE", 2, true);
  return DataBuffer(buffer).getString();
}

std::string byteBuffers(unsigned int number) {
  ByteBuffer buffer(u"\u00E9", "ISO-8859-1");
  const std::string bytes = pattern(number, 100 + number % 50);
  for (int i = 0; i < 5; ++i) buffer.append(bytes.data(), bytes.size());
  ByteBuffer copy(buffer);
  copy.append(buffer.get(), buffer.length());
  return {copy.get(), static_cast<std::size_t>(copy.length())};
}

std::string utf8Texts(unsigned int number) {
  UTF8String text(u"\u00E9\u20AC\U0001F600");
  for (unsigned int i = 0; i < number % 8; ++i) text.appendString(u"\u00DF");
  std::string all = std::to_string(text.numChars());
  UTF8Iterator characters(text);
  while (characters.hasMoreChars()) all += std::string("|") + characters.getNextChar();
  std::array<char, 64> latin{};
  text.getString(latin.data(), 64, "ISO-8859-1");
  return all + latin.data() + errorOf([] { UTF8Iterator("\xFF"); });
}

std::string tokens(unsigned int number) {
  const std::string text = "x, y," + std::to_string(number) + ";\xE9";
  StringTokenizer words(text.c_str(), "ISO-8859-1", ", ;");
  std::string all = std::to_string(words.countTokens());
  while (words.hasMoreTokens()) all += std::string("|") + words.getNextToken();
  return all;
}

constexpr std::array codePages = {"ISO-8859-1", "UTF-8",  "UTF-16BE", "windows-1252", "KOI8-R",
                                  "ibm-850",    "EUC-JP", "UTF-32LE", "Shift_JIS",    "ISO-8859-15"};

std::string conversions(unsigned int number) {
  const char* const to = codePages.at(number % codePages.size());
  const char* const from = codePages.at(number / 3 % codePages.size());
  std::array<char, 64> there{};
  const int size = Converter::convert(there.data(), 64, from, u"Gr\u00FC\u00DFe");
  std::array<char, 64> further{};
  const int further_size = Converter::convert(further.data(), 64, from, there.data(), size - 1, to);
  SizeableBuffer<char, 4> bytes;
  const std::size_t count = Converter::convertToBytes(u"Gr\u00FC\u00DFe", to, bytes);
  return std::string(further.data(), static_cast<std::size_t>(further_size)) +
         std::string(bytes.data(), count) +
         errorOf([&] { Converter::convert(further.data(), 64, "no such page", "a", to); });
}

std::string numbers(unsigned int number) {
  icu::UnicodeString text;
  Formatter::int64ToString(text, -static_cast<std::int64_t>(number) * 1'000'003);
  std::string all = utf8(text) + std::to_string(Formatter::stringToInt64(text));
  Formatter::int64ToHexLiteral(text, number, true);
  all += utf8(text);
  const std::string decimal = std::to_string(number) + ".25e-3";
  all += std::to_string(Formatter::stringToDouble(decimal.c_str()) * 1e6);
  all += errorOf([] { Formatter::stringToDouble("1,5"); });
  all += std::string(Formatter::localeCode()) + Formatter::consoleCodePageName();
  return all + Formatter::supportedLocaleCodes()[number % Formatter::supportedLocaleCodes().size()];
}

std::string properties(unsigned int number) {
  ExtendedProperties settings;
  const std::string text =
      "host=db" + std::to_string(number) + "\nport=4711\nratio=0.5\nurl=tcp:%host%:%port%\n";
  settings.load(text.data(), text.size());
  const ExtendedProperties copy(settings);
  std::array<char, 512> saved{};
  ByteArrayOutputStream out(saved.data(), saved.size());
  copy.save(out);
  std::ostringstream listed;
  settings.list(listed);
  return saved.data() + listed.str() + std::to_string(copy.getPropertyAsDouble(u"ratio", 0.0)) +
         errorOf([&] { settings.requirePropertyAsInt32(u"host"); }) +
         errorOf([&] { settings.requireProperty(u"none"); });
}

/// All threads read one shared object.
std::string sharedProperties(unsigned int number) {
  static const ExtendedProperties& shared = []() -> const ExtendedProperties& {
    static ExtendedProperties made;
    const std::string text = "a=1\nb=0.5\nc=%a%2\nd=text\n";
    made.load(text.data(), text.size());
    return made;
  }();
  std::string all;
  for (const auto& [key, value] : shared) all += utf8(key) + "=" + utf8(value) + " ";
  return all + std::to_string(shared.getPropertyAsInt32(u"c", 0)) +
         std::to_string(shared.getPropertyAsDouble(u"b", 0.0)) +
         std::to_string(shared.getPropertyAsInt32(u"none", static_cast<int>(number))) +
         errorOf([&] { shared.requirePropertyAsInt32(u"d"); });
}

std::string base64(unsigned int number) {
  const std::string bytes = pattern(number, 90 + number % 7);
  std::vector<unsigned short> units(Base64::encodeSize(bytes.size()));
  Base64::encode(units.data(), units.size(), bytes.data(), bytes.size());
  std::string back(bytes.size() + 3, '\0');
  back.resize(Base64::decode(back.data(), back.size(), units.data(), units.size()));
  units.front() = '!';
  return back + errorOf([&] { Base64::decode(back.data(), back.size(), units.data(), units.size()); });
}

std::string versions(unsigned int number) {
  const BuildVersion own;
  BuildVersion given(u"6.0-2.0-10");
  BuildVersion copy(given);
  copy = given;
  return utf8(own.getBuildVersion()) + utf8(copy.getProductVersion()) + std::to_string(number);
}

std::string connections(unsigned int number) {
  SocketServer server;
  server.listen(0, 4, false);
  Socket near;
  const unsigned long long patience = 60'000;
  near.connect("127.0.0.1", server.getPort(), Socket::NullAddrInfoExternal, &patience);
  Socket far;
  server.accept(far, &patience);
  const std::string sent = pattern(number, 500);
  near.writeMessage(sent.data(), 0, sent.size());
  std::list<Socket> readable(1, far);
  std::list<Socket> nothing;
  const unsigned long long ready = Socket::select(readable, nothing, nothing, nullptr);
  std::string received(500, '\0');
  far.readMessage(received.data(), nullptr, 0, received.size(), false);
  near.close();
  return received + std::to_string(ready) + errorOf([&] { far.readMessage(nullptr, nullptr, 0, 0, false); }) +
         errorOf([&] { near.readOnce(nullptr, 0, 0); });
}

/// Each error contains the system's text, even if many lookups fail at the same time.
std::string unknownNames(unsigned int number) {
  Socket socket;
  const icu::UnicodeString name(u"no\0name", 7);
  return errorOf([&] { socket.connect(name, number, Socket::NullAddrInfoExternal, nullptr); });
}

struct Work {
  const char* name;
  std::string (*run)(unsigned int number);
  unsigned int rounds;
};

constexpr Work works[] = {
    {"Messages", messages, 40},       {"Exceptions", exceptions, 40},
    {"DataBuffers", dataBuffers, 80}, {"ByteBuffers", byteBuffers, 80},
    {"Utf8Texts", utf8Texts, 40},     {"Tokens", tokens, 40},
    {"Conversions", conversions, 60}, {"Numbers", numbers, 60},
    {"Properties", properties, 30},   {"SharedProperties", sharedProperties, 60},
    {"Base64", base64, 80},           {"Versions", versions, 40},
    {"Connections", connections, 15}, {"UnknownNames", unknownNames, 15},
};

constexpr std::size_t threadCount = 4;

/// Runs `work(thread)` in `count` threads that start together. Rethrows the exception of the first thread
/// that failed.
template <class ThreadWork>
void inThreads(std::size_t count, const ThreadWork& work) {
  Awaited together;
  std::vector<std::future<void>> threads;
  for (std::size_t thread = 0; thread < count; ++thread) {
    threads.push_back(std::async(std::launch::async, [&, thread] {
      together.increment();
      together.awaitAtLeast(static_cast<unsigned int>(count));
      work(thread);
    }));
  }
  for (const std::future<void>& thread : threads) thread.wait();
  for (std::future<void>& thread : threads) thread.get();
}

unsigned int numberOf(std::size_t thread, unsigned int round) {
  return static_cast<unsigned int>(thread) * 1000 + round;
}

class EveryClass : public testing::TestWithParam<Work> {};

/// The threads run before the single-threaded comparison, so that they race for everything that is created on
/// first use.
TEST_P(EveryClass, GivesTheSameResultsInManyThreadsAsInOne) {
  const Work& work = GetParam();
  std::array<std::vector<std::string>, threadCount> results;
  inThreads(threadCount, [&](std::size_t thread) {
    for (unsigned int round = 0; round < work.rounds; ++round) {
      results.at(thread).push_back(work.run(numberOf(thread, round)));
    }
  });
  for (std::size_t thread = 0; thread < threadCount; ++thread) {
    ROW("thread", thread);
    for (unsigned int round = 0; round < work.rounds; ++round) {
      ROW("round", round);
      ASSERT_EQ(results.at(thread).at(round), work.run(numberOf(thread, round))) << thread << " " << round;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Concurrency, EveryClass, testing::ValuesIn(works),
                         [](const auto& row) { return row.param.name; });

/// Runs all classes at the same time, each in a separate thread.
void workAll(std::array<std::string, std::size(works)>& results, unsigned int round) {
  inThreads(std::size(works), [&](std::size_t thread) { results.at(thread) = works[thread].run(round); });
}

TEST(Concurrency, DifferentClassesWorkAtTheSameTime) {
  std::array<std::string, std::size(works)> results;
  for (unsigned int round = 0; round < 10; ++round) {
    ROW("round", round);
    workAll(results, round);
    for (std::size_t i = 0; i < std::size(works); ++i) {
      ROW("i", i);
      EXPECT_EQ(results.at(i), works[i].run(round)) << works[i].name;
    }
  }
}

// --- the host's trace facility --------------------------------------------------------------------------

/// One thread keeps changing the trace flags until the others have finished. The hooks count their calls.
TEST(Concurrency, TheTraceFlagsMayChangeWhileEveryClassWorks) {
  requireLoopback();
  static std::atomic<unsigned long> calls;
  calls = 0;
  std::uint32_t flags[trace::componentIndex + 1] = {};
  trace::Facility facility;
  facility.componentTraceFlags = flags;
  facility.diagDispatchEntry = [](std::uint32_t) { ++calls; };
  facility.diagDispatchExit = [](std::uint32_t) { ++calls; };
  facility.traceEntry = [](std::uint32_t) { ++calls; };
  facility.traceExit = [](std::uint32_t, int) { ++calls; };
  facility.traceFlightRecord = [](std::uint32_t, int, int, int) { ++calls; };
  trace::install(facility);
  std::uint32_t& word = flags[trace::componentIndex];
  std::atomic<bool> done{false};
  std::thread host(reporting([&] {
    for (std::uint32_t step = 0; !done; ++step) {
      constexpr std::uint32_t bits[] = {0x40000, 0x20001, 0x20002, 0x80, 0, 0x60083, 1, 2};
      __atomic_store_n(&word, bits[step % std::size(bits)], __ATOMIC_RELAXED);
    }
    __atomic_store_n(&word, 0U, __ATOMIC_SEQ_CST);
  }));
  std::array<std::string, std::size(works)> results;
  for (unsigned int round = 0; round < 10; ++round) {
    ROW("round", round);
    workAll(results, round);
    for (std::size_t i = 0; i < std::size(works); ++i) {
      ROW("i", i);
      EXPECT_EQ(results.at(i), works[i].run(round)) << works[i].name;
    }
  }
  done = true;
  host.join();
  trace::uninstall();
  EXPECT_GT(calls, 0U);
}

// --- exceptions -----------------------------------------------------------------------------------------

/// A queue that passes exceptions from one thread to another.
class Queue {
 public:
  void put(std::exception_ptr error) {
    const std::lock_guard<std::mutex> lock(mutex_);
    errors_.push_back(std::move(error));
    changed_.notify_one();
  }
  std::exception_ptr take() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return !errors_.empty(); });
    std::exception_ptr error = std::move(errors_.front());
    errors_.pop_front();
    return error;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::exception_ptr> errors_;
};

/// Each thread raises an error and gives a copy to its neighbour. It keeps using the original while the
/// neighbour changes the copy.
TEST(Concurrency, ACopyOfAnExceptionCanBeChangedInAnotherThread) {
  constexpr int rounds = 100;
  std::array<Queue, threadCount> queues;
  inThreads(threadCount, [&](std::size_t thread) {
    for (int round = 0; round < rounds; ++round) {
      ROW("round", round);
      try {
        Formatter::stringToInt32(u"x1");
      } catch (NLSException& mine) {
        queues.at((thread + 1) % threadCount).put(std::make_exception_ptr(NLSException(mine)));
        for (int i = 0; i < 5; ++i) mine.getErrorMessage().addArgument(static_cast<int>(thread));
        EXPECT_EQ(argumentsOf(mine.getErrorMessage()).size(), 7U);
      }
      try {
        std::rethrow_exception(queues.at(thread).take());
      } catch (NLSException& theirs) {
        EXPECT_THAT(argumentsOf(theirs.getErrorMessage()), testing::ElementsAre("int32_t", "x1"));
        Message further(u"FURTHER", u"", Message::LEVEL_INFO);
        theirs.addMessage(further);
        theirs.getErrorMessage().setMessageID(u"CHANGED");
        EXPECT_EQ(theirs.getMessages().count(), 2);
      }
    }
  });
}

/// Many threads copy the same exception.
TEST(Concurrency, AnExceptionIsCopiedByManyThreadsAtOnce) {
  std::exception_ptr raised;
  try {
    Formatter::stringToInt32(u"x1");
  } catch (const NLSException&) {
    raised = std::current_exception();
  }
  ASSERT_NE(raised, nullptr);
  inThreads(threadCount, [&](std::size_t) {
    for (int round = 0; round < 100; ++round) {
      ROW("round", round);
      try {
        std::rethrow_exception(raised);
      } catch (const NLSException& shared) {
        NLSException own(shared);
        own.getErrorMessage().addArgument(round);
        EXPECT_EQ(argumentsOf(own.getErrorMessage()).size(), 3U);
        EXPECT_STREQ(shared.what(), own.what());
      }
    }
  });
}

// --- converters -----------------------------------------------------------------------------------------

/// Threads start and end. Each opens converters, which are closed when the thread ends.
TEST(Concurrency, ConvertersAreClosedWhenTheirThreadEnds) {
  constexpr unsigned int generations = 40;
  std::array<std::string, threadCount> results;
  for (unsigned int generation = 0; generation < generations; ++generation) {
    ROW("generation", generation);
    inThreads(threadCount, [&](std::size_t thread) {
      results.at(thread).clear();
      for (unsigned int i = 0; i < codePages.size(); ++i) results.at(thread) += conversions(generation + i);
    });
    std::string alone;
    for (unsigned int i = 0; i < codePages.size(); ++i) alone += conversions(generation + i);
    EXPECT_THAT(results, testing::Each(alone));
  }
}

// --- connections ----------------------------------------------------------------------------------------

/// On both ends of a connection, one thread reads and another writes.
TEST(Concurrency, FramesAreSentInBothDirectionsAtTheSameTime) {
  constexpr std::size_t frames = 200;
  const auto length = [](std::size_t i) { return i * 37 % 9000; };
  SocketServer server;
  server.listen(0, 1, false);
  std::array<Socket, 2> ends;
  ends[0].connect("127.0.0.1", server.getPort(), Socket::NullAddrInfoExternal, nullptr);
  server.accept(ends[1], nullptr);
  inThreads(4, [&](std::size_t thread) {
    Socket& end = ends.at(thread % 2);
    std::string buffer(9000, '\0');
    for (std::size_t i = 0; i < frames; ++i) {
      ROW("i", i);
      const std::string payload = pattern(i, length(i));
      if (thread < 2) {
        end.writeMessage(payload.data(), 0, payload.size());
      } else {
        const unsigned long long got = end.readMessage(buffer.data(), nullptr, 0, buffer.size(), false);
        EXPECT_EQ(buffer.substr(0, static_cast<std::size_t>(got)), payload);
      }
    }
  });
}

/// Each thread waits in `accept` of its server while other threads close the server.
TEST(Concurrency, ServersAreClosedWhileTheyAccept) {
  inThreads(threadCount, [&](std::size_t) {
    for (int round = 0; round < 20; ++round) {
      ROW("round", round);
      SocketServer server;
      server.listen(0, 4, false);
      const std::string port = std::to_string(server.getPort());
      std::thread closer(reporting([&] { server.close(); }));
      Socket client;
      const std::string outcome = errorOf([&] { server.accept(client, nullptr); });
      closer.join();
      EXPECT_THAT(outcome, testing::AnyOf("QN_ERR_SOCKET_ERROR 10022 localhost " + port,
                                          "ERR_SOCKET_NOT_LISTENING localhost " + port,
                                          "ERR_SOCKET_NOT_LISTENING localhost 0"));
    }
  });
}

}  // namespace
}  // namespace tarvo::test
