#include "kelBase64Tasks.hpp"

#include <benchmark/benchmark.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

/// Base64 on 16-bit units compared with loops that a user would write, and with memcpy of the larger side as
/// the limit.
namespace {

using namespace tarvo::benchmarks::base64;
using tarvo::benchmarks::timed;

constexpr std::string_view characters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// --- the plain loops: one byte or one code unit at a time, with the bits collected in a word

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

void copiesText(benchmark::State& state) {
  const Data data(static_cast<std::size_t>(state.range(0)));
  Units dest(data.units());
  timed(state, [&] {
    std::memcpy(dest.data(), data.text.data(), dest.size() * sizeof dest.front());
    benchmark::DoNotOptimize(dest.data());
    benchmark::ClobberMemory();
  });
  finish(state, data.bytes.size());
}

BENCHMARK(encodes<&Base64::encode>)->Name("Base64/encode/KELINFRA")->Apply(sizes);
BENCHMARK(encodes<&plainEncode>)->Name("Base64/encode/a plain loop")->Apply(sizes);
BENCHMARK(decodes<&Base64::decode>)->Name("Base64/decode/KELINFRA")->Apply(sizes);
BENCHMARK(decodes<&plainDecode>)->Name("Base64/decode/a plain loop")->Apply(sizes);
BENCHMARK(copiesText)->Name("Base64/encode/memcpy of the text")->Apply(sizes);
BENCHMARK(copiesText)->Name("Base64/decode/memcpy of the text")->Apply(sizes);

}  // namespace
