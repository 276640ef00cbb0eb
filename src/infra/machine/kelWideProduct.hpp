#pragma once

#include <cstdint>

/// Computes the 128-bit product of two 64-bit numbers, because not every compiler has a type of 128 bits.
namespace tarvo::machine {

struct WideProduct {
  std::uint64_t lower;
  std::uint64_t upper;
};

/// Computes the product from halves of 32 bits, for compilers without a type of 128 bits.
constexpr WideProduct multipliedByHalves(std::uint64_t left, std::uint64_t right) noexcept {
  constexpr std::uint64_t half = 0xFFFF'FFFF;
  const std::uint64_t low = (left & half) * (right & half);
  const std::uint64_t first = (left >> 32U) * (right & half) + (low >> 32U);
  const std::uint64_t second = (left & half) * (right >> 32U) + (first & half);
  return {second << 32U | (low & half), (left >> 32U) * (right >> 32U) + (first >> 32U) + (second >> 32U)};
}

#ifdef __SIZEOF_INT128__
constexpr WideProduct multiplied(std::uint64_t left, std::uint64_t right) noexcept {
  __extension__ using Product = unsigned __int128;
  const Product product = static_cast<Product>(left) * right;
  return {static_cast<std::uint64_t>(product), static_cast<std::uint64_t>(product >> 64U)};
}
#else
constexpr WideProduct multiplied(std::uint64_t left, std::uint64_t right) noexcept {
  return multipliedByHalves(left, right);
}
#endif

}  // namespace tarvo::machine
