#include "infra/oss/kelDataBuffer.hpp"

#include "kelDataBufferTasks.hpp"

#include <benchmark/benchmark.h>
#include <unicode/ucnv.h>
#include <unicode/unistr.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>

/// DataBuffer compared with std::string, std::ostringstream and direct use of ICU. Each case first checks
/// that the candidate builds the same text.
namespace {

using namespace tarvo::benchmarks::databuffer;
using tarvo::benchmarks::refuse;
using tarvo::benchmarks::timed;
using tarvo::oss::DataBuffer;

// --- builders with the same interface

class Printf : public StdString {
 public:
  void addNumber(int number) {
    held().append(digits_.data(), written(std::snprintf(room(), size, "%d", number)));
  }
  void addNumber(double number) {
    held().append(digits_.data(), written(std::snprintf(room(), size, "%f", number)));
  }

 private:
  static constexpr std::size_t size = 400;

  char* room() { return digits_.data(); }
  static std::size_t written(int count) { return static_cast<std::size_t>(count); }

  std::array<char, size> digits_;
};

/// One open ICU converter.
class CachedIcu : public StdString {
 public:
  void addUnicode(const icu::UnicodeString& text, const char* page) {
    UErrorCode status = U_ZERO_ERROR;
    if (converter_ == nullptr) converter_.reset(ucnv_open(page, &status));
    std::array<char, 4096> bytes;
    const std::int32_t size =
        text.extract(bytes.data(), static_cast<std::int32_t>(bytes.size()), converter_.get(), status);
    held().append(bytes.data(), static_cast<std::size_t>(size));
  }

 private:
  struct Close {
    void operator()(UConverter* converter) const { ucnv_close(converter); }
  };
  std::unique_ptr<UConverter, Close> converter_;
};

class Stream {
 public:
  Stream() { stream_.setf(std::ios::fixed); }
  void addText(const char* text) { stream_ << text; }
  template <class Number>
  void addNumber(Number number) {
    stream_ << number;
  }
  std::string text() const { return stream_.str(); }
  const void* data() const { return &stream_; }

 private:
  std::ostringstream stream_;
};

BENCHMARK(appendText<Kelinfra>)->Name("DataBuffer/append 10-byte strings/KELINFRA")->Apply(appendArguments);
BENCHMARK(appendText<StdString>)
    ->Name("DataBuffer/append 10-byte strings/std::string")
    ->Apply(appendArguments);
BENCHMARK(appendText<Stream>)
    ->Name("DataBuffer/append 10-byte strings/std::ostringstream")
    ->Apply(appendArguments);
BENCHMARK(appendInteger<Kelinfra>)->Name("DataBuffer/append 100,000 integers/KELINFRA");
BENCHMARK(appendInteger<StdString>)->Name("DataBuffer/append 100,000 integers/std::string");
BENCHMARK(appendInteger<Printf>)->Name("DataBuffer/append 100,000 integers/snprintf");
BENCHMARK(appendInteger<Stream>)->Name("DataBuffer/append 100,000 integers/std::ostringstream");
BENCHMARK(appendDouble<Kelinfra>)->Name("DataBuffer/append 10,000 doubles/KELINFRA");
BENCHMARK(appendDouble<StdString>)->Name("DataBuffer/append 10,000 doubles/std::string");
BENCHMARK(appendDouble<Printf>)->Name("DataBuffer/append 10,000 doubles/snprintf");
BENCHMARK(appendDouble<Stream>)->Name("DataBuffer/append 10,000 doubles/std::ostringstream");
BENCHMARK(appendBinary<Kelinfra>)
    ->Name("DataBuffer/append a binary literal/KELINFRA")
    ->Apply(binaryArguments);
BENCHMARK(appendBinary<StdString>)
    ->Name("DataBuffer/append a binary literal/std::string")
    ->Apply(binaryArguments);
BENCHMARK(appendUnicode<Kelinfra>)->Name("DataBuffer/100 converted texts/KELINFRA")->Apply(unicodeArguments);
BENCHMARK(appendUnicode<StdString>)
    ->Name("DataBuffer/100 converted texts/std::string")
    ->Apply(unicodeArguments);
BENCHMARK(appendUnicode<CachedIcu>)
    ->Name("DataBuffer/100 converted texts/an open ICU converter")
    ->Apply(unicodeArguments);

// --- buffers with short lifetimes, and clears

void makeShort(benchmark::State& state) {
  timed(state, [&] {
    DataBuffer buffer(tenBytes);
    benchmark::DoNotOptimize(buffer.getString());
  });
}

/// This candidate only zeroes a block of that size, which is the least work that such an object needs.
void makeShortZeroedStore(benchmark::State& state) {
  timed(state, [&] {
    std::array<char, 4097> store{};
    std::memcpy(store.data(), tenBytes, 11);
    benchmark::DoNotOptimize(store.data());
    benchmark::ClobberMemory();
  });
}

void makeShortStdString(benchmark::State& state) {
  timed(state, [&] {
    std::string text(tenBytes);
    benchmark::DoNotOptimize(text.data());
  });
}

BENCHMARK(makeShort)->Name("DataBuffer/construct, append 10, destroy/KELINFRA");
BENCHMARK(makeShortZeroedStore)->Name("DataBuffer/construct, append 10, destroy/a zeroed 4 KiB store");
BENCHMARK(makeShortStdString)->Name("DataBuffer/construct, append 10, destroy/std::string");

template <class Builder>
void clearAndAppend(benchmark::State& state) {
  const std::string text(static_cast<std::size_t>(state.range(0)), 'x');
  Builder builder;
  for (int i = 0; i < 2; ++i) {
    builder.clear();
    builder.addText(text.c_str());
    if (builder.text() != text) return refuse(state, "the texts differ");
  }
  timed(state, [&] {
    builder.clear();
    builder.addText(text.c_str());
    benchmark::DoNotOptimize(builder.data());
  });
}

BENCHMARK(clearAndAppend<Kelinfra>)
    ->Name("DataBuffer/clear and append/KELINFRA")
    ->ArgName("bytes")
    ->Arg(5)
    ->Arg(100)
    ->Arg(4096);
BENCHMARK(clearAndAppend<StdString>)
    ->Name("DataBuffer/clear and append/std::string")
    ->ArgName("bytes")
    ->Arg(5)
    ->Arg(100)
    ->Arg(4096);

/// The text before a clear is as short as possible: a few bytes, whose number is known.
void clearShort(benchmark::State& state) {
  DataBuffer buffer(0);
  const auto putAndClear = [&] {
    buffer.appendString(tenBytes, 5);
    buffer.clear(false);
  };
  putAndClear();
  const std::string store(buffer.getString(), static_cast<std::size_t>(buffer.capacity()));
  if (store != std::string(store.size(), '\0')) return refuse(state, "old bytes stay");
  timed(state, putAndClear);
}

void clearShortZeroedStore(benchmark::State& state) {
  std::array<char, 4097> store{};
  timed(state, [&] {
    std::memcpy(store.data(), tenBytes, 5);
    benchmark::DoNotOptimize(store.data());
    benchmark::ClobberMemory();
    store.fill('\0');
    benchmark::ClobberMemory();
  });
}

BENCHMARK(clearShort)->Name("DataBuffer/put 5 bytes and clear/KELINFRA");
BENCHMARK(clearShortZeroedStore)->Name("DataBuffer/put 5 bytes and clear/a zeroed 4 KiB store");

}  // namespace
