#include "infra/oss/kelFormatter.hpp"
#include "infra/oss/kelNLSException.hpp"

#include "support/kelCommaLocale.hpp"
#include "support/kelReporting.hpp"
#include "support/kelRows.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

/// On POSIX the library switches the locale only for the calling thread, so other threads must not see the
/// switch.
namespace tarvo::test {
namespace {

using oss::Formatter;
using oss::NLSException;

/// Whether the C runtime prints and parses numbers with a comma in the calling thread.
bool seesComma() {
  char text[16];
  std::snprintf(text, sizeof text, "%.1f", 0.5);
  return text == std::string("0,5") && std::strtod("1,5", nullptr) == 1.5 &&
         *std::localeconv()->decimal_point == ',';
}

class OthersUnderAComma : public testing::TestWithParam<CommaLocale::For> {};

TEST_P(OthersUnderAComma, DoNotSeeTheLocaleSwitchWhileNumbersAreRead) {
  const CommaLocale comma(GetParam());
  std::atomic<bool> started{false};
  std::atomic<bool> done{false};
  std::thread reader(reporting([&] {
    started = true;
    for (int i = 0; i < 20'000; ++i) {
      ROW("i", i);
      Formatter::stringToDouble("+1.5");
      if (i % 20 == 0) {
        EXPECT_THROW(Formatter::stringToDouble("1,5"), NLSException);
      }
    }
    done = true;
  }));
  while (!started) std::this_thread::yield();
  int looks = 0;
  int points = 0;
  do {
    ++looks;
    points += seesComma() ? 0 : 1;
  } while (!done);
  reader.join();
  EXPECT_EQ(points, 0) << "of " << looks;
}

INSTANTIATE_TEST_SUITE_P(Locale, OthersUnderAComma,
                         testing::Values(CommaLocale::For::process, CommaLocale::For::thread),
                         [](const auto& row) {
                           return row.param == CommaLocale::For::process ? "OfTheProcess" : "OfTheThread";
                         });

/// Several threads parse numbers with a point while others print numbers with a comma.
TEST(FormatterThreads, ReadNumbersWhileOthersPrintWithAComma) {
  constexpr int readers = 3;
  constexpr int printers = 3;
  const CommaLocale comma(CommaLocale::For::process);
  std::atomic<int> reading{readers};
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int reader = 0; reader < readers; ++reader) {
    threads.emplace_back(reporting([&, reader] {
      const std::string text = std::to_string(reader) + ".25";
      for (int i = 0; i < 5'000; ++i)
        wrong += Formatter::stringToDouble(text.c_str()) == reader + 0.25 ? 0 : 1;
      --reading;
    }));
  }
  for (int printer = 0; printer < printers; ++printer) {
    threads.emplace_back(reporting([&] {
      do {
        wrong += seesComma() ? 0 : 1;
      } while (reading > 0);
    }));
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_TRUE(seesComma());
}

}  // namespace
}  // namespace tarvo::test
