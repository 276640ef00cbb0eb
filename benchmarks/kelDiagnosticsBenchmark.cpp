// Throwing, rendering, and calls under a facility whose flags are clear.
// Names are "class/task/candidate"; the candidate KELINFRA is compared with the others of its task.
#include "infra/oss/kelMessage.hpp"
#include "infra/oss/kelMessageList.hpp"
#include "infra/oss/kelSocketException.hpp"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <stdexcept>
#include <string>

namespace {

using tarvo::oss::BaseException;
using tarvo::oss::Message;
using tarvo::oss::MessageList;
using tarvo::oss::SocketException;

const icu::UnicodeString host(u"db.example");

SocketException makeOurs(unsigned int port, int code) {
  SocketException error(icu::UnicodeString("QN_ERR_SOCKET_ERROR", -1, US_INV), "kelSocket.cpp", 120);
  Message& message = error.getErrorMessage();
  message.addArgument(code);
  message.addArgument(host);
  message.addArgument(port);
  return error;
}

[[noreturn]] void throwOurs(unsigned int port, int code) {
  throw makeOurs(port,
                 code);  // NOLINT(cert-err60-cpp): a copy takes memory, and messages are what is measured
}

[[noreturn]] void throwStandard(unsigned int port, int code) {
  std::string bytes;
  throw std::runtime_error("QN_ERR_SOCKET_ERROR: [] - [" + std::to_string(code) + "] [" +
                           host.toUTF8String(bytes) + "] [" + std::to_string(port) + "]");
}

void throwAndCatchOurs(benchmark::State& state) {
  for (auto _ : state) {
    try {
      throwOurs(4711, 10022);
    } catch (const BaseException& error) {
      benchmark::DoNotOptimize(&error);
    }
  }
}

void throwAndCatchStandard(benchmark::State& state) {
  for (auto _ : state) {
    try {
      throwStandard(4711, 10022);
    } catch (const std::exception& error) {
      benchmark::DoNotOptimize(&error);
    }
  }
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
  benchmark::DoNotOptimize(thrower);
  for (auto _ : state) {
    try {
      benchmark::DoNotOptimize(throughFrames(8, thrower));
    } catch (const Caught& error) {
      benchmark::DoNotOptimize(&error);
    }
  }
}

void framesOurs(benchmark::State& state) {
  throwThroughFrames<BaseException>(state, [] { throwOurs(4711, 10022); });
}

void framesStandard(benchmark::State& state) {
  throwThroughFrames<std::exception>(state, [] { throwStandard(4711, 10022); });
}

void framesInt(benchmark::State& state) {
  throwThroughFrames<int>(state, [] { throw 1; });
}

Message sample() {
  Message message(u"QN_ERR_SOCKET_ERROR", Message::LEVEL_ERROR, "kelSocket.cpp", 120);
  message.addArgument(10022);
  message.addArgument(host);
  message.addArgument(4711);
  return message;
}

void renderOurs(benchmark::State& state) {
  const Message message = sample();
  for (auto _ : state) {
    icu::UnicodeString line;
    benchmark::DoNotOptimize(&message.toString(line));
  }
}

void renderStandard(benchmark::State& state) {
  const std::string id = "QN_ERR_SOCKET_ERROR";
  const std::string text;
  const std::string arguments[] = {"10022", "db.example", "4711"};
  for (auto _ : state) {
    std::string line(id);
    line.append(": [").append(text).append("] -");
    for (const std::string& argument : arguments) line.append(" [").append(argument).append("]");
    benchmark::DoNotOptimize(line.data());
  }
}

void listOurs(benchmark::State& state) {
  const Message message = sample();
  for (auto _ : state) {
    MessageList list;
    for (int i = 0; i < 8; ++i) list.addMessage(message);
    benchmark::DoNotOptimize(list.count());
  }
}

void listStandard(benchmark::State& state) {
  const Message message = sample();
  for (auto _ : state) {
    std::list<Message> list;
    for (int i = 0; i < 8; ++i) list.push_back(message);
    benchmark::DoNotOptimize(list.size());
  }
}

// A cursor step reports its exit only: two tests of the flag word.
void tracedStep(benchmark::State& state) {
  MessageList list;
  list.addMessage(Message());
  list.addMessage(Message());
  for (auto _ : state) benchmark::DoNotOptimize(list.getFirstMsg());
}

struct Node {
  int message;
  const Node* next;
};

[[gnu::noinline]] const int* bareStep(const Node* first, const Node** cursor) {
  *cursor = first->next;
  return &first->message;
}

void untracedStep(benchmark::State& state) {
  const Node last{2, nullptr};
  const Node first{1, &last};
  const Node* cursor = nullptr;
  for (auto _ : state) {
    benchmark::DoNotOptimize(bareStep(&first, &cursor));
    benchmark::ClobberMemory();
  }
}

BENCHMARK(throwAndCatchOurs)->Name("Diagnostics/throw and catch, three arguments/KELINFRA");
BENCHMARK(throwAndCatchStandard)->Name("Diagnostics/throw and catch, three arguments/std::runtime_error");
BENCHMARK(framesOurs)->Name("Diagnostics/throw through 8 frames/KELINFRA");
BENCHMARK(framesStandard)->Name("Diagnostics/throw through 8 frames/std::runtime_error");
BENCHMARK(framesInt)->Name("Diagnostics/throw through 8 frames/an int");
BENCHMARK(renderOurs)->Name("Diagnostics/render one line/KELINFRA");
BENCHMARK(renderStandard)->Name("Diagnostics/render one line/std::string");
BENCHMARK(listOurs)->Name("Diagnostics/list of 8 messages/KELINFRA");
BENCHMARK(listStandard)->Name("Diagnostics/list of 8 messages/std::list");
BENCHMARK(tracedStep)->Name("Diagnostics/cursor step, trace off/KELINFRA");
BENCHMARK(untracedStep)->Name("Diagnostics/cursor step, trace off/a bare call");

}  // namespace
