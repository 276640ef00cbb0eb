#include "infra/oss/kelDataBuffer.hpp"

#include <benchmark/benchmark.h>
#include <unicode/ucnv.h>
#include <unicode/unistr.h>

#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>

/// DataBuffer beside std::string, std::ostringstream and ICU used by hand. Every case first checks that its
/// rival builds the same text.
namespace {

using tarvo::oss::DataBuffer;

constexpr const char* tenBytes = "0123456789";

// --- builders: one vocabulary for all

class Kelinfra {
 public:
  void addText(const char* text) { buffer_.appendString(text); }
  template <class Number>
  void addNumber(Number number) {
    buffer_.appendNumber(number);
  }
  void addBinary(const std::string& bytes) {
    buffer_.appendBinary(bytes.data(), static_cast<int>(bytes.size()), false);
  }
  void addUnicode(const icu::UnicodeString& text, const char* page) { buffer_.appendString(text, page); }
  void clear() { buffer_.clear(false); }
  std::string text() const { return buffer_.getString(); }
  const void* data() const { return buffer_.getString(); }

 private:
  DataBuffer buffer_{0};
};

class StdString {
 public:
  void addText(const char* text) { text_ += text; }
  void addNumber(int number) { text_ += std::to_string(number); }
  void addNumber(double number) { addToChars(number, std::chars_format::fixed, 6); }
  void addBinary(const std::string& bytes) {
    const char* const digits = "0123456789abcdef";
    text_ += "X'";
    for (const char byte : bytes) {
      text_ += digits[static_cast<unsigned char>(byte) >> 4U];
      text_ += digits[static_cast<unsigned char>(byte) & 15U];
    }
    text_ += '\'';
  }
  /// ICU by name: ask for the size, then convert, as one does without a library.
  void addUnicode(const icu::UnicodeString& text, const char* page) {
    const std::int32_t size = text.extract(0, text.length(), nullptr, 0U, page);
    const std::size_t before = text_.size();
    text_.resize(before + static_cast<std::size_t>(size));
    text.extract(0, text.length(), text_.data() + before, static_cast<std::uint32_t>(size), page);
  }
  void clear() { text_.clear(); }
  std::string text() const { return text_; }
  const void* data() const { return text_.data(); }

 protected:
  template <class... Arguments>
  void addToChars(Arguments... arguments) {
    std::array<char, 400> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), arguments...).ptr;
    text_.append(digits.data(), end);
  }
  std::string& held() { return text_; }

 private:
  std::string text_;
};

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

// --- the cases

template <class Builder, class Step>
void fill(Builder& builder, std::int64_t steps, Step step) {
  for (std::int64_t i = 0; i < steps; ++i) step(builder, i);
}

/// Builds a text of `steps` steps again and again; says so when the text is not the library's.
template <class Builder, class Step>
void build(benchmark::State& state, std::int64_t steps, Step step) {
  {
    Kelinfra own;
    Builder rival;
    fill(own, steps, step);
    fill(rival, steps, step);
    if (own.text() != rival.text()) return state.SkipWithError("the texts differ");
  }
  for (auto _ : state) {
    Builder builder;
    fill(builder, steps, step);
    benchmark::DoNotOptimize(builder.data());
  }
  state.SetItemsProcessed(state.iterations() * steps);
}

template <class Builder>
void appendText(benchmark::State& state) {
  build<Builder>(state, state.range(0) / 10, [](auto& builder, std::int64_t) {
    const char* text = tenBytes;
    benchmark::DoNotOptimize(text);  // its length is not known beforehand
    builder.addText(text);
  });
}

template <class Builder>
void appendInteger(benchmark::State& state) {
  build<Builder>(state, 100'000, [](auto& builder, std::int64_t i) {
    builder.addNumber(static_cast<int>(static_cast<std::uint32_t>(i) * 2654435761U));
  });
}

template <class Builder>
void appendDouble(benchmark::State& state) {
  build<Builder>(state, 10'000,
                 [](auto& builder, std::int64_t i) { builder.addNumber(static_cast<double>(i) * 1.37); });
}

template <class Builder>
void appendBinary(benchmark::State& state) {
  const std::string bytes(static_cast<std::size_t>(state.range(0)), '\x9A');
  build<Builder>(state, 1, [&](auto& builder, std::int64_t) { builder.addBinary(bytes); });
}

constexpr std::array<const char*, 4> pages = {"windows-1252", "UTF-8", "Shift_JIS", "GB18030"};

template <class Builder>
void appendUnicode(benchmark::State& state) {
  const char* const page = pages.at(static_cast<std::size_t>(state.range(0)));
  icu::UnicodeString text;
  while (text.length() < state.range(1)) text.append(u"sixteen units x ");
  build<Builder>(state, 100, [&](auto& builder, std::int64_t) { builder.addUnicode(text, page); });
  state.SetLabel(page);
}

void appendArguments(benchmark::internal::Benchmark* cases) {
  cases->Arg(1 << 10)->Arg(1 << 20)->Arg(1 << 24);
}

void unicodeArguments(benchmark::internal::Benchmark* cases) {
  for (std::size_t page = 0; page < pages.size(); ++page) {
    for (const int units : {16, 512}) cases->Args({static_cast<std::int64_t>(page), units});
  }
}

BENCHMARK(appendText<Kelinfra>)
    ->Name("DataBuffer/append 10-byte strings/KELINFRA")
    ->ArgName("bytes")
    ->Apply(appendArguments);
BENCHMARK(appendText<StdString>)
    ->Name("DataBuffer/append 10-byte strings/std::string")
    ->ArgName("bytes")
    ->Apply(appendArguments);
BENCHMARK(appendText<Stream>)
    ->Name("DataBuffer/append 10-byte strings/std::ostringstream")
    ->ArgName("bytes")
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
    ->ArgName("bytes")
    ->Arg(64)
    ->Arg(4096);
BENCHMARK(appendBinary<StdString>)
    ->Name("DataBuffer/append a binary literal/std::string")
    ->ArgName("bytes")
    ->Arg(64)
    ->Arg(4096);
BENCHMARK(appendUnicode<Kelinfra>)
    ->Name("DataBuffer/100 converted texts/KELINFRA")
    ->ArgNames({"page", "units"})
    ->Apply(unicodeArguments);
BENCHMARK(appendUnicode<StdString>)
    ->Name("DataBuffer/100 converted texts/std::string")
    ->ArgNames({"page", "units"})
    ->Apply(unicodeArguments);
BENCHMARK(appendUnicode<CachedIcu>)
    ->Name("DataBuffer/100 converted texts/an open ICU converter")
    ->ArgNames({"page", "units"})
    ->Apply(unicodeArguments);

// --- short lives and clears

void makeShort(benchmark::State& state) {
  for (auto _ : state) {
    DataBuffer buffer(tenBytes);
    benchmark::DoNotOptimize(buffer.getString());
  }
}

/// What a store of that size costs when it is zeroed and nothing else.
void makeShortZeroedStore(benchmark::State& state) {
  for (auto _ : state) {
    std::array<char, 4097> store{};
    std::memcpy(store.data(), tenBytes, 11);
    benchmark::DoNotOptimize(store.data());
    benchmark::ClobberMemory();
  }
}

void makeShortStdString(benchmark::State& state) {
  for (auto _ : state) {
    std::string text(tenBytes);
    benchmark::DoNotOptimize(text.data());
  }
}

BENCHMARK(makeShort)->Name("DataBuffer/construct, append 10, destroy/KELINFRA");
BENCHMARK(makeShortZeroedStore)->Name("DataBuffer/construct, append 10, destroy/a zeroed 4 KiB store");
BENCHMARK(makeShortStdString)->Name("DataBuffer/construct, append 10, destroy/std::string");

template <class Builder>
void clearAndAppend(benchmark::State& state) {
  const std::string text(static_cast<std::size_t>(state.range(0)), 'x');
  Builder builder;
  for (auto _ : state) {
    builder.clear();
    builder.addText(text.c_str());
    benchmark::DoNotOptimize(builder.data());
  }
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

}  // namespace
