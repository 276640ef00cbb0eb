#include "simd/kelKernelChoice.hpp"
#include "support/kelRows.hpp"

#include <gtest/gtest.h>

#include <cpuid.h>

#include <array>
#include <cstdint>
#include <functional>
#include <string>

// If a function leaves the upper halves of vector registers in use, all SSE code that the thread runs
// afterwards is several times slower. The processor can report whether they are in use.

namespace tarvo::test {
namespace {

using simd::Kernels;

/// Whether more than the low 16 bytes of any vector register are in use.
bool upperHalvesAreInUse() {
  std::uint32_t low = 0;
  std::uint32_t high = 0;
  __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(1));
  return (low & ((1U << 2U) | (1U << 6U))) != 0;
}

void useUpperHalves() {
  __asm__ volatile("vpcmpeqd %%ymm1, %%ymm1, %%ymm1" ::: "xmm1");
}

void clearUpperHalves() {
  __asm__ volatile("vzeroupper" ::: "memory");
}

bool processorTells() {
  unsigned a = 0;
  unsigned b = 0;
  unsigned c = 0;
  unsigned d = 0;
  if (simd::availableKernels().back() == &simd::ssse3Kernels) return false;
  if (__get_cpuid_count(0xD, 1, &a, &b, &c, &d) == 0 || (a & (1U << 2U)) == 0) return false;
  useUpperHalves();
  const bool seen = upperHalvesAreInUse();
  clearUpperHalves();
  return seen && !upperHalvesAreInUse();
}

class UpperHalves : public testing::TestWithParam<const Kernels*> {
 protected:
  void SetUp() override {
    if (!processorTells()) GTEST_SKIP() << "the processor does not tell which registers are in use";
  }

  template <class Kernel, class... Arguments>
  void expectClearAfter(Kernel kernel, Arguments... arguments) {
    clearUpperHalves();
    kernel(arguments...);
    const bool inUse = upperHalvesAreInUse();
    clearUpperHalves();
    EXPECT_FALSE(inUse) << "length " << length_;
  }

  std::size_t length_ = 0;
};

INSTANTIATE_TEST_SUITE_P(Simd, UpperHalves, testing::ValuesIn(simd::availableKernels()),
                         [](const auto& tested) { return std::string(tested.param->name); });

TEST_P(UpperHalves, AreClearAfterEveryKernel) {
  const Kernels& kernels = *GetParam();
  std::array<unsigned short, 1200> units{};
  std::array<char, 1200> bytes{};
  std::array<std::uint64_t, 160> characters{};
  for (length_ = 0; length_ < 300; ++length_) {
    const std::string ascii(length_, 'a');
    std::string mixed;
    while (mixed.size() < length_) mixed += "\xC3\xA9x";
    for (const simd::Base64Alphabet alphabet : rowsOf({simd::standardAlphabet, simd::safeAlphabet})) {
      expectClearAfter(kernels.encodeGroups[alphabet], units.data(), mixed.data(), mixed.size() / 3);
      expectClearAfter(kernels.decodeGroups[alphabet], bytes.data(), units.data(), mixed.size() / 3);
      units[length_] = u'*';
      expectClearAfter(kernels.decodeGroups[alphabet], bytes.data(), units.data(), mixed.size() / 3);
    }
    for (const char16_t unit : rowsOf({u'a', char16_t{0xE9}, char16_t{0x65E5}, char16_t{0xD83D}})) {
      units.fill(unit);
      expectClearAfter(kernels.utf8FromUtf16, bytes.data(), units.data(), length_);
    }
    for (const std::string& text : rowsOf({ascii, mixed, mixed + "\xFF" + ascii, ascii + "\xFF"})) {
      expectClearAfter(kernels.countWellFormed, text.data(), text.size());
      expectClearAfter(kernels.copyWellFormed, bytes.data(), text.data(), text.size());
      expectClearAfter(kernels.spreadCharacters, characters.data(), bytes.data(), length_ / 2);
      expectClearAfter(kernels.utf16FromUtf8, units.data(), text.data(), text.size());
    }
  }
}

}  // namespace
}  // namespace tarvo::test
