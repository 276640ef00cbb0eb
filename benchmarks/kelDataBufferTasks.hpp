#pragma once

#include "infra/oss/kelDataBuffer.hpp"

#include "kelTimed.hpp"

#include <benchmark/benchmark.h>
#include <unicode/unistr.h>

#include <array>
#include <charconv>
#include <cstdint>
#include <string>

/// The tasks that all benchmarks of DataBuffer share. Candidates are builders with the same interface; the
/// builders of the library and of std::string are here.
namespace tarvo::benchmarks::databuffer {

using oss::DataBuffer;

inline constexpr const char* tenBytes = "0123456789";

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
  /// ICU with a converter's name: ask for the size, then convert, as a user without a library does.
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

// --- the cases

template <class Builder, class Step>
void fill(Builder& builder, std::int64_t steps, Step step) {
  for (std::int64_t i = 0; i < steps; ++i) step(builder, i);
}

/// Builds a text of `steps` steps in each run. Reports an error if the candidate's text differs from the
/// library's text.
template <class Builder, class Step>
void build(benchmark::State& state, std::int64_t steps, Step step) {
  {
    Kelinfra own;
    Builder rival;
    fill(own, steps, step);
    fill(rival, steps, step);
    if (own.text() != rival.text()) return refuse(state, "the texts differ");
  }
  timed(state, [&] {
    Builder builder;
    fill(builder, steps, step);
    benchmark::DoNotOptimize(builder.data());
  });
  state.SetItemsProcessed(state.iterations() * steps);
}

template <class Builder>
void appendText(benchmark::State& state) {
  build<Builder>(state, state.range(0) / 10, [](auto& builder, std::int64_t) {
    builder.addText(hidden(tenBytes));  // the compiler does not know its length
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

inline constexpr std::array<const char*, 4> pages = {"windows-1252", "UTF-8", "Shift_JIS", "GB18030"};

template <class Builder>
void appendUnicode(benchmark::State& state) {
  const char* const page = pages.at(static_cast<std::size_t>(state.range(0)));
  icu::UnicodeString text;
  while (text.length() < state.range(1)) text.append(u"sixteen units x ");
  build<Builder>(state, 100, [&](auto& builder, std::int64_t) { builder.addUnicode(text, page); });
  state.SetLabel(page);
}

inline void appendArguments(benchmark::internal::Benchmark* cases) {
  cases->ArgName("bytes")->Arg(1 << 10)->Arg(1 << 20)->Arg(1 << 24);
}

inline void binaryArguments(benchmark::internal::Benchmark* cases) {
  cases->ArgName("bytes")->Arg(64)->Arg(4096);
}

inline void unicodeArguments(benchmark::internal::Benchmark* cases) {
  cases->ArgNames({"page", "units"});
  for (std::size_t page = 0; page < pages.size(); ++page) {
    for (const int units : {16, 512}) cases->Args({static_cast<std::int64_t>(page), units});
  }
}

}  // namespace tarvo::benchmarks::databuffer
