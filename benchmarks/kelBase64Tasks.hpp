#pragma once

#include "infra/util/kelBase64.hpp"

#include "kelTimed.hpp"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

/// The data and the two tasks that all benchmarks of Base64 share. Candidates have the library's signatures.
/// Sizes are in bytes of data; each byte of data is 8/3 bytes of text.
namespace tarvo::benchmarks::base64 {

using util::Base64;
using Units = std::vector<unsigned short>;

struct Data {
  explicit Data(std::size_t size) : bytes(size, '\0'), text(Base64::encodeSize(size)) {
    std::mt19937 engine(4648);
    for (char& byte : bytes) byte = static_cast<char>(engine());
    Base64::encode(text.data(), text.size(), bytes.data(), bytes.size());
    text.push_back(0);
  }

  std::size_t units() const { return text.size() - 1; }

  std::string bytes;
  Units text;
};

inline void finish(benchmark::State& state, std::size_t bytesOfData) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(bytesOfData));
}

template <auto encode>
void encodes(benchmark::State& state) {
  const Data data(static_cast<std::size_t>(state.range(0)));
  Units dest(data.units());
  if (encode(dest.data(), dest.size(), data.bytes.data(), data.bytes.size()) != data.units() ||
      !std::equal(dest.begin(), dest.end(), data.text.begin()))
    return refuse(state, "encodes differently");
  timed(state, [&] {
    benchmark::DoNotOptimize(encode(dest.data(), dest.size(), data.bytes.data(), data.bytes.size()));
    benchmark::ClobberMemory();
  });
  finish(state, data.bytes.size());
}

template <auto decode>
void decodes(benchmark::State& state) {
  const Data data(static_cast<std::size_t>(state.range(0)));
  std::string dest(data.bytes.size(), '\0');
  if (decode(dest.data(), dest.size(), data.text.data(), data.units()) != data.bytes.size() ||
      dest != data.bytes)
    return refuse(state, "decodes differently");
  timed(state, [&] {
    benchmark::DoNotOptimize(decode(dest.data(), dest.size(), data.text.data(), data.units()));
    benchmark::ClobberMemory();
  });
  finish(state, data.bytes.size());
}

/// Converts text to bytes, for libraries that take no 16-bit units. Returns false if a code unit is above
/// 255.
inline bool narrowed(const unsigned short* src, std::size_t srcUnits, std::string& text) {
  text.resize(srcUnits);
  unsigned int all = 0;
  for (std::size_t i = 0; i < srcUnits; ++i) {
    all |= src[i];
    text[i] = static_cast<char>(src[i]);
  }
  return all <= 0xFF;
}

/// Converts bytes back to 16-bit units.
inline void widen(std::string_view text, unsigned short* dest) {
  std::transform(text.begin(), text.end(), dest, [](char c) { return static_cast<unsigned char>(c); });
}

inline void sizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgName("bytes")->Arg(64)->Arg(4 << 10)->Arg(1 << 20);
}

}  // namespace tarvo::benchmarks::base64
