#include "simd/kelKernelChoice.hpp"

#include <cpuid.h>

#include <cstddef>

namespace tarvo::simd {

namespace {

// The bits of the features in the words by which the processor describes itself. The bits have the names of
// the compilers' macros. Compilers that may use AVX2 also use all earlier features. If Clang may use AVX-512,
// it also uses FMA and F16C.
namespace first_c {
enum : unsigned { SSE3 = 0, SSSE3 = 9, FMA = 12, SSE4_1 = 19, SSE4_2 = 20, POPCNT = 23, XSAVE = 26 };
enum : unsigned { OSXSAVE = 27, AVX = 28, F16C = 29 };
}  // namespace first_c
namespace seventh_b {
enum : unsigned { AVX2 = 5, AVX512F = 16, AVX512DQ = 17, AVX512CD = 28, AVX512BW = 30, AVX512VL = 31 };
}  // namespace seventh_b
namespace seventh_c {
enum : unsigned { AVX512VBMI = 1 };
}  // namespace seventh_c
namespace saved {
enum : unsigned { XMM = 1, YMM = 2, MASKS = 5, ZMM = 6, ZMM16 = 7 };
}  // namespace saved

/// One of the parts in which the cpuid instruction describes the features of the processor. The compiler's
/// __builtin_cpu_supports is not used, because it would add code that runs when the library is loaded.
struct Leaf {
  unsigned a = 0;
  unsigned b = 0;
  unsigned c = 0;
  unsigned d = 0;

  explicit Leaf(unsigned number) { __get_cpuid_count(number, 0, &a, &b, &c, &d); }
};

bool holds(unsigned word, std::initializer_list<unsigned> bits) {
  for (const unsigned bit : bits) {
    if ((word >> bit & 1U) == 0) return false;
  }
  return true;
}

/// Returns a number with one bit for each set of registers that the system saves for a thread.
unsigned savedRegisters(const Leaf& first) {
  if (!holds(first.c, {first_c::OSXSAVE})) return 0;
  unsigned low = 0;
  unsigned high = 0;
  __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return low;
}

bool hasAvx2(const Leaf& first, const Leaf& seventh) {
  using namespace first_c;
  return holds(savedRegisters(first), {saved::XMM, saved::YMM}) &&
         holds(first.c, {SSE4_1, SSE4_2, POPCNT, XSAVE, AVX}) && holds(seventh.b, {seventh_b::AVX2});
}

bool hasAvx512(const Leaf& first, const Leaf& seventh) {
  using namespace seventh_b;
  return holds(savedRegisters(first), {saved::MASKS, saved::ZMM, saved::ZMM16}) &&
         holds(first.c, {first_c::FMA, first_c::F16C}) &&
         holds(seventh.b, {AVX512F, AVX512DQ, AVX512CD, AVX512BW, AVX512VL}) &&
         holds(seventh.c, {seventh_c::AVX512VBMI});
}

/// Returns the number of kernels at the beginning of the list `all` that this processor can run.
std::size_t countAvailable() {
  const Leaf first(1);
  const Leaf seventh(7);
  if (!holds(first.c, {first_c::SSE3, first_c::SSSE3})) return 1;
  if (!hasAvx2(first, seventh)) return 2;
  return hasAvx512(first, seventh) ? 4 : 3;
}

constexpr const Kernels* all[] = {&plainKernels, &ssse3Kernels, &avx2Kernels, &avx512Kernels};

}  // namespace

std::span<const Kernels* const> availableKernels() {
  return std::span(all).first(countAvailable());
}

}  // namespace tarvo::simd
