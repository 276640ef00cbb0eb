#include "platform/kelRuntimeLocale.hpp"
#include "support/kelCommaLocale.hpp"
#include "support/kelReporting.hpp"
#include "support/kelSignals.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <clocale>
#include <cstdlib>
#include <future>
#include <optional>
#include <string>
#include <thread>

/// On Windows the locale, and each switch of it, applies to the whole process.
namespace tarvo::test {
namespace {

using platform::EnglishRuntimeLocale;
using platform::RuntimeLocaleLock;

std::string currentLocale() {
  return std::setlocale(LC_ALL, nullptr);
}

/// The system's name for the English locale.
std::string english() {
  const std::string former = currentLocale();
  const char* const name = std::setlocale(LC_ALL, "English_USA.1252");
  EXPECT_NE(name, nullptr);
  const std::string copied = name == nullptr ? "" : name;
  std::setlocale(LC_ALL, former.c_str());
  return copied;
}

TEST(RuntimeLocale, IsSwitchedForAllThreadsAndRestored) {
  const std::string expected = english();
  const CommaLocale comma(CommaLocale::For::process);
  const std::string before = currentLocale();
  ASSERT_NE(before, expected);
  std::string seen;
  {
    const EnglishRuntimeLocale switched;
    EXPECT_EQ(currentLocale(), expected);
    EXPECT_EQ(std::strtod("1.5", nullptr), 1.5);
    std::thread(reporting([&] { seen = currentLocale(); })).join();
  }
  EXPECT_EQ(seen, expected);
  EXPECT_EQ(currentLocale(), before);
}

/// Whether a `Second` in another thread waits for the end of a `First`.
template <class First, class Second>
bool waits() {
  std::atomic<bool> over{false};
  bool waited = false;
  std::optional<First> first(std::in_place);
  std::promise<ThreadView> started;
  std::thread other(reporting([&] {
    started.set_value(ThreadView());
    const Second second;
    waited = over;
  }));
  started.get_future().get().awaitWaiting();
  over = true;
  first.reset();
  other.join();
  return waited;
}

TEST(RuntimeLocale, IsSwitchedByOneThreadAtATime) {
  EXPECT_TRUE((waits<EnglishRuntimeLocale, EnglishRuntimeLocale>()));
  EXPECT_TRUE((waits<EnglishRuntimeLocale, RuntimeLocaleLock>()));
  EXPECT_TRUE((waits<RuntimeLocaleLock, EnglishRuntimeLocale>()));
}

TEST(RuntimeLocale, CanBeSwitchedByAThreadThatHoldsTheLock) {
  const std::string before = currentLocale();
  {
    const RuntimeLocaleLock lock;
    const RuntimeLocaleLock again;
    const EnglishRuntimeLocale switched;
    EXPECT_EQ(currentLocale(), english());
  }
  EXPECT_EQ(currentLocale(), before);
  EXPECT_TRUE((waits<EnglishRuntimeLocale, EnglishRuntimeLocale>())) << "each switch was undone";
}

}  // namespace
}  // namespace tarvo::test
