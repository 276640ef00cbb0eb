#include "infra/util/kelBase64.hpp"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

/// Base64 on 16-bit units beside what a user would write by hand, and beside memcpy of the larger side, the
/// limit. Each size is bytes of data; a byte of data is 8/3 bytes of text.
namespace {

using tarvo::util::Base64;
using Units = std::vector<unsigned short>;

constexpr std::string_view characters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// --- the plain loops: one byte, one unit at a time, bits gathered in a word

std::size_t plainEncode(unsigned short* dest, std::size_t, const char* src, std::size_t srcBytes) {
  const unsigned short* const begin = dest;
  unsigned int bits = 0;
  int waiting = 0;
  for (std::size_t i = 0; i < srcBytes; ++i) {
    bits = (bits << 8U) | static_cast<unsigned char>(src[i]);
    for (waiting += 8; waiting >= 6; waiting -= 6)
      *dest++ = static_cast<unsigned char>(characters[(bits >> (waiting - 6)) & 63U]);
  }
  if (waiting > 0) *dest++ = static_cast<unsigned char>(characters[(bits << (6 - waiting)) & 63U]);
  while ((dest - begin) % 4 != 0) *dest++ = u'=';
  return static_cast<std::size_t>(dest - begin);
}

std::array<signed char, 128> plainTable() {
  std::array<signed char, 128> table{};
  table.fill(-1);
  for (std::size_t i = 0; i < characters.size(); ++i)
    table.at(static_cast<std::size_t>(characters[i])) = static_cast<signed char>(i);
  return table;
}

std::size_t plainDecode(char* dest, std::size_t destBytes, const unsigned short* src, std::size_t srcUnits) {
  static const std::array<signed char, 128> table = plainTable();
  std::size_t written = 0;
  unsigned int bits = 0;
  int waiting = 0;
  for (std::size_t i = 0; i < srcUnits && src[i] != u'='; ++i) {
    if (src[i] >= table.size() || table[src[i]] < 0) return 0;
    bits = (bits << 6U) | static_cast<unsigned char>(table[src[i]]);
    waiting += 6;
    if (waiting < 8) continue;
    waiting -= 8;
    if (written == destBytes) return 0;
    dest[written++] = static_cast<char>(bits >> static_cast<unsigned int>(waiting));
  }
  return written;
}

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

void finish(benchmark::State& state, std::size_t bytesOfData) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(bytesOfData));
}

template <auto encode>
void encodes(benchmark::State& state) {
  const Data data(static_cast<std::size_t>(state.range(0)));
  Units dest(data.units());
  if (encode(dest.data(), dest.size(), data.bytes.data(), data.bytes.size()) != data.units() ||
      !std::equal(dest.begin(), dest.end(), data.text.begin())) {
    state.SkipWithError("encodes differently");
    return;
  }
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(encode(dest.data(), dest.size(), data.bytes.data(), data.bytes.size()));
    benchmark::ClobberMemory();
  }
  finish(state, data.bytes.size());
}

template <auto decode>
void decodes(benchmark::State& state) {
  const Data data(static_cast<std::size_t>(state.range(0)));
  std::string dest(data.bytes.size(), '\0');
  if (decode(dest.data(), dest.size(), data.text.data(), data.units()) != data.bytes.size() ||
      dest != data.bytes) {
    state.SkipWithError("decodes differently");
    return;
  }
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(decode(dest.data(), dest.size(), data.text.data(), data.units()));
    benchmark::ClobberMemory();
  }
  finish(state, data.bytes.size());
}

void copiesText(benchmark::State& state) {
  const Data data(static_cast<std::size_t>(state.range(0)));
  Units dest(data.units());
  while (state.KeepRunning()) {
    std::memcpy(dest.data(), data.text.data(), dest.size() * sizeof dest.front());
    benchmark::DoNotOptimize(dest.data());
    benchmark::ClobberMemory();
  }
  finish(state, data.bytes.size());
}

void sizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgName("bytes")->Arg(64)->Arg(4 << 10)->Arg(1 << 20);
}

BENCHMARK(encodes<&Base64::encode>)->Name("Base64/encode/KELINFRA")->Apply(sizes);
BENCHMARK(encodes<&plainEncode>)->Name("Base64/encode/a plain loop")->Apply(sizes);
BENCHMARK(decodes<&Base64::decode>)->Name("Base64/decode/KELINFRA")->Apply(sizes);
BENCHMARK(decodes<&plainDecode>)->Name("Base64/decode/a plain loop")->Apply(sizes);
BENCHMARK(copiesText)->Name("Base64/encode/memcpy of the text")->Apply(sizes);
BENCHMARK(copiesText)->Name("Base64/decode/memcpy of the text")->Apply(sizes);

}  // namespace
