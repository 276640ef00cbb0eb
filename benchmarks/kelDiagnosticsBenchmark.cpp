// Measures throwing and rendering of errors, and calls with a trace facility whose flags are clear. Names are
// "class/task/candidate"; the candidate KELINFRA is compared with the others of its task.
#include "infra/oss/kelMessage.hpp"
#include "infra/oss/kelMessageList.hpp"
#include "infra/oss/kelSocketException.hpp"

#include "kelDiagnosticsTasks.hpp"

#include <benchmark/benchmark.h>
#include <unicode/fmtable.h>
#include <unicode/msgfmt.h>

#include <cstdio>
#include <stdexcept>
#include <string>

namespace {

using namespace tarvo::benchmarks::diagnostics;
using tarvo::benchmarks::hidden;
using tarvo::benchmarks::timed;
using tarvo::oss::BaseException;
using tarvo::oss::Message;
using tarvo::oss::MessageList;
using tarvo::oss::SocketException;

SocketException makeOurs(unsigned int portOf, int codeOf) {
  SocketException error(icu::UnicodeString(identifier, -1, US_INV), "kelSocket.cpp", 120);
  Message& message = error.getErrorMessage();
  message.addArgument(codeOf);
  message.addArgument(host);
  message.addArgument(portOf);
  return error;
}

[[noreturn]] void throwOurs(unsigned int portOf, int codeOf) {
  throw makeOurs(portOf,
                 codeOf);  // NOLINT(cert-err60-cpp): copying allocates, which is part of the measurement
}

[[noreturn]] void throwStandard(unsigned int portOf, int codeOf) {
  std::string bytes;
  throw std::runtime_error("QN_ERR_SOCKET_ERROR: [] - [" + std::to_string(codeOf) + "] [" +
                           host.toUTF8String(bytes) + "] [" + std::to_string(portOf) + "]");
}

std::string utf8(const icu::UnicodeString& text) {
  std::string bytes;
  return text.toUTF8String(bytes);
}

void throwAndCatchOurs(benchmark::State& state) {
  throwsAndCatches<BaseException>(state, &throwOurs, [](const BaseException& error) {
    icu::UnicodeString text;
    return utf8(error.getErrorMessage().toString(text));
  });
}

void throwAndCatchStandard(benchmark::State& state) {
  throwsAndCatches<std::exception>(state, &throwStandard,
                                   [](const std::exception& error) { return std::string(error.what()); });
}

using Thrower = void (*)();

[[gnu::noinline]] int throughFrames(int depth, Thrower thrower) {
  const std::string kept(static_cast<std::size_t>(depth), 'x');
  if (depth == 0) {
    thrower();
    return 0;
  }
  const int below = throughFrames(depth - 1, thrower);
  return below + static_cast<int>(kept.size());
}

template <class Caught>
void throwThroughFrames(benchmark::State& state, Thrower thrower) {
  timed(state, [thrower = hidden(thrower)] {
    try {
      benchmark::DoNotOptimize(throughFrames(8, thrower));
    } catch (const Caught& error) {
      benchmark::DoNotOptimize(&error);
    }
  });
}

void framesOurs(benchmark::State& state) {
  throwThroughFrames<BaseException>(state, [] { throwOurs(port, code); });
}

void framesStandard(benchmark::State& state) {
  throwThroughFrames<std::exception>(state, [] { throwStandard(port, code); });
}

void framesInt(benchmark::State& state) {
  throwThroughFrames<int>(state, [] { throw 1; });
}

Message sample() {
  Message message(icu::UnicodeString(identifier, -1, US_INV), Message::LEVEL_ERROR, "kelSocket.cpp", 120);
  message.addArgument(code);
  message.addArgument(host);
  message.addArgument(port);
  return message;
}

void renderOurs(benchmark::State& state) {
  const Message message = sample();
  renders(state, [&] {
    icu::UnicodeString text;
    message.toString(text);
    return text;
  });
}

void renderStandard(benchmark::State& state) {
  const std::string id = identifier;
  const std::string text;
  const std::string arguments[] = {"10022", "db.example", "4711"};
  renders(state, [&] {
    std::string rendered(id);
    rendered.append(": [").append(text).append("] -");
    for (const std::string& argument : arguments) rendered.append(" [").append(argument).append("]");
    return rendered;
  });
}

/// The pattern has been parsed before.
void renderIcu(benchmark::State& state) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::MessageFormat format(u"{0}: [{1}] - [{2}] [{3}] [{4}]", icu::Locale::getUS(), status);
  const icu::Formattable arguments[] = {icu::UnicodeString(identifier, -1, US_INV), icu::UnicodeString(),
                                        icu::UnicodeString(u"10022"), host, icu::UnicodeString(u"4711")};
  renders(state, [&] {
    icu::UnicodeString text;
    icu::FieldPosition position;
    format.format(arguments, 5, text, position, status);
    return text;
  });
}

void listOurs(benchmark::State& state) {
  const Message message = sample();
  timed(state, [&] {
    MessageList list;
    for (int i = 0; i < 8; ++i) list.addMessage(message);
    benchmark::DoNotOptimize(list.count());
  });
}

void listStandard(benchmark::State& state) {
  const Message message = sample();
  timed(state, [&] {
    std::list<Message> list;
    for (int i = 0; i < 8; ++i) list.push_back(message);
    benchmark::DoNotOptimize(list.size());
  });
}

// A step of the cursor reports only its exit, with one test of the flag word.
void tracedStep(benchmark::State& state) {
  MessageList list;
  list.addMessage(Message());
  list.addMessage(Message());
  timed(state, [&] { benchmark::DoNotOptimize(list.getFirstMsg()); });
}

[[gnu::noinline]] const int* bareStep(const Node* first, const Node** cursor) {
  *cursor = first->next;
  return &first->message;
}

void untracedStep(benchmark::State& state) {
  steps(state, &bareStep);
}

BENCHMARK(throwAndCatchOurs)->Name("Diagnostics/throw and catch, three arguments/KELINFRA");
BENCHMARK(throwAndCatchStandard)->Name("Diagnostics/throw and catch, three arguments/std::runtime_error");
BENCHMARK(framesOurs)->Name("Diagnostics/throw through 8 frames/KELINFRA");
BENCHMARK(framesStandard)->Name("Diagnostics/throw through 8 frames/std::runtime_error");
BENCHMARK(framesInt)->Name("Diagnostics/throw through 8 frames/an int");
BENCHMARK(renderOurs)->Name("Diagnostics/render one line/KELINFRA");
BENCHMARK(renderStandard)->Name("Diagnostics/render one line/std::string");
BENCHMARK(renderIcu)->Name("Diagnostics/render one line/ICU MessageFormat");
BENCHMARK(listOurs)->Name("Diagnostics/list of 8 messages/KELINFRA");
BENCHMARK(listStandard)->Name("Diagnostics/list of 8 messages/std::list");
BENCHMARK(tracedStep)->Name("Diagnostics/cursor step, trace off/KELINFRA");
BENCHMARK(untracedStep)->Name("Diagnostics/cursor step, trace off/a bare call");

}  // namespace
