#include "simd/kelKernelChoice.hpp"

#include <cpuid.h>

#include <cstddef>

namespace tarvo::simd {

namespace {

/// The processor's description of its features. The compiler's __builtin_cpu_supports would add code that
/// runs when the library is loaded.
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

/// The sets of registers that the system saves for a thread, one bit each.
unsigned savedRegisters(const Leaf& first) {
  if (!holds(first.c, {27})) return 0;  // OSXSAVE
  unsigned low = 0;
  unsigned high = 0;
  __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return low;
}

/// How many kernels of `all` can run here; they are the first ones of the list.
std::size_t countAvailable() {
  const Leaf first(1);
  const Leaf seventh(7);
  const unsigned saved = savedRegisters(first);
  if (!holds(first.c, {9})) return 1;                             // SSSE3
  if (!holds(saved, {1, 2}) || !holds(seventh.b, {5})) return 2;  // XMM, YMM; AVX2
  if (!holds(saved, {5, 6, 7}) || !holds(seventh.b, {16, 17, 28, 30, 31}))
    return 3;                            // ZMM; AVX-512 F, DQ, CD, BW, VL
  return holds(seventh.c, {1}) ? 4 : 3;  // VBMI
}

constexpr const Kernels* all[] = {&plainKernels, &ssse3Kernels, &avx2Kernels, &avx512Kernels};

}  // namespace

std::span<const Kernels* const> availableKernels() {
  return std::span(all).first(countAvailable());
}

}  // namespace tarvo::simd
