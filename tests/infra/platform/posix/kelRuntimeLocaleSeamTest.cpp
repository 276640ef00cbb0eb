#include "infra/oss/kelFormatter.hpp"

#include "platform/kelRuntimeLocale.hpp"

#include <gtest/gtest.h>

#include <locale.h>

#include <cstdlib>
#include <new>

namespace {

bool withoutMemory = false;

}  // namespace

// The linker redirects the library's calls to these functions.
// NOLINTBEGIN(bugprone-reserved-identifier): names that the linker requires
extern "C" {
locale_t __real_newlocale(int mask, const char* name, locale_t base);

locale_t __wrap_newlocale(int mask, const char* name, locale_t base) {
  return withoutMemory ? nullptr : __real_newlocale(mask, name, base);
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace tarvo::test {
namespace {

void convertWithAndWithoutMemory() {
  const locale_t before = uselocale(nullptr);
  withoutMemory = true;
  int failed = 0;
  for (int i = 0; i < 2; ++i) {
    try {
      oss::Formatter::stringToDouble("1.5");
    } catch (const std::bad_alloc&) {
      ++failed;
    }
  }
  const bool same = uselocale(nullptr) == before;
  withoutMemory = false;
  const bool converted = oss::Formatter::stringToDouble("1.5") == 1.5;
  std::exit(failed == 2 && same && converted && uselocale(nullptr) == before ? 0 : 1);
}

// The locale is created at the first conversion of a process, so each test runs in a separate process.
TEST(RuntimeLocale, IsCreatedLaterIfTheFirstAttemptFails) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(convertWithAndWithoutMemory(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace tarvo::test
