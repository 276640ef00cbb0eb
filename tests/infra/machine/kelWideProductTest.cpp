#include "machine/kelWideProduct.hpp"
#include "support/kelSeed.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>
#include <random>

namespace tarvo::machine {
namespace {

constexpr std::uint64_t most = std::numeric_limits<std::uint64_t>::max();

struct Row {
  std::uint64_t left, right, upper, lower;
};

constexpr std::array<Row, 7> rows = {{{0, most, 0, 0},
                                      {1, most, 0, most},
                                      {2, most, 1, most - 1},
                                      {1ULL << 32U, 1ULL << 32U, 1, 0},
                                      {most, most, most - 1, 1},
                                      {0xFFFF'FFFF, 0xFFFF'FFFF, 0, 0xFFFF'FFFE'0000'0001},
                                      {0x1'0000'0001, 0xFFFF'FFFF'0000'0001, 0x1'0000'0000, 1}}};

TEST(WideProduct, HasBothHalves) {
  for (const auto& [left, right, upper, lower] : rows) {
    for (const WideProduct product : {multiplied(left, right), multipliedByHalves(left, right)}) {
      EXPECT_EQ(product.upper, upper) << left << " * " << right;
      EXPECT_EQ(product.lower, lower) << left << " * " << right;
    }
  }
}

TEST(WideProduct, OfHalvesEqualsTheProductOfTheCompiler) {
  std::mt19937_64 random(test::seeded(71));
  for (int i = 0; i < 10'000; ++i) {
    const std::uint64_t left = random();
    const std::uint64_t right = random();
    const WideProduct expected = multiplied(left, right);
    const WideProduct product = multipliedByHalves(left, right);
    ASSERT_EQ(product.upper, expected.upper) << left << " * " << right;
    ASSERT_EQ(product.lower, expected.lower) << left << " * " << right;
  }
}

}  // namespace
}  // namespace tarvo::machine
