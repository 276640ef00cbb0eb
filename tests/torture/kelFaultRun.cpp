#include "torture/kelFaultRun.hpp"

#include "support/kelHandles.hpp"
#include "support/kelRows.hpp"

#include <unicode/ucnv.h>

#include <cstdio>
#include <thread>
#include <typeinfo>
#include <utility>
#include <vector>

namespace tarvo::test {
namespace {

std::vector<std::pair<std::string, std::size_t>> reported;

class Report : public testing::Environment {
 public:
  void TearDown() override {
    std::size_t all = 0;
    std::puts("faults injected:");
    for (const auto& [name, faults] : reported) {
      std::printf("%8zu  %s\n", faults, name.c_str());
      all += faults;
    }
    std::printf("%8zu  in all\n", all);
  }
};

const testing::Environment* const registered = testing::AddGlobalTestEnvironment(new Report);

enum class Icu { fresh, atWork };

/// Runs the scenario in a separate thread. Returns whether an allocation was refused.
bool runOnce(const std::function<void(FaultRun&)>& scenario, std::size_t nth, Shortage shortage) {
  bool struck = false;
  std::thread([&] {
    // If its first allocation failed, ICU would choose another default name for the rest of the process.
    ucnv_getDefaultName();
    FaultRun run(nth, shortage);
    try {
      scenario(run);
    } catch (const std::bad_alloc&) {
      EXPECT_TRUE(FaultRun::icuIsLost());
    }
    struck = run.struck();
  }).join();
  return struck;
}

constexpr std::size_t never = 1'000'000;

/// The number of blocks that a run leaves allocated.
std::ptrdiff_t leftBy(const std::function<bool()>& run) {
  const std::ptrdiff_t held = blocksHeld();
  run();
  return blocksHeld() - held;
}

std::size_t sweep(const std::function<void(FaultRun&)>& scenario, Shortage shortage, Icu icu) {
  restartIcu();
  if (icu == Icu::atWork) runOnce(scenario, never, shortage);
  const std::size_t handles = openDescriptors();
  for (std::size_t nth = 1; nth < never; ++nth) {
    ROW("nth", nth);
    bool struck = false;
    const auto run = [&] {
      struck = runOnce(scenario, nth, shortage);
      if (icu == Icu::fresh) restartIcu();
      return struck;
    };
    std::ptrdiff_t left = leftBy(run);
    // The first run may load a code page that ICU or the library keeps from then on; the second one may not.
    if (left != 0) left = leftBy(run);
    if (!testing::Test::HasFailure()) {  // the text of a failure is kept, too
      EXPECT_EQ(left, 0) << "blocks are left";
      EXPECT_EQ(openDescriptors(), handles);
    }
    if (testing::Test::HasFailure()) {
      ADD_FAILURE() << "request " << nth << (shortage == Shortage::once ? "" : " and all after it")
                    << (icu == Icu::fresh ? ", ICU fresh" : ", ICU at work");
      return nth;
    }
    if (!struck) return nth - 1;
  }
  ADD_FAILURE() << "there is no end of requests";
  return never;
}

}  // namespace

bool FaultRun::icuIsLost() {
  UErrorCode status = U_ZERO_ERROR;
  ucnv_countAliases("UTF-8", &status);
  return U_FAILURE(status) != 0;
}

bool FaultRun::ranOut(const std::exception_ptr& error) const {
  try {
    std::rethrow_exception(error);
  } catch (const std::bad_alloc&) {
    EXPECT_TRUE(struckLast_ || icuIsLost()) << "no allocation was refused";
    return true;
  } catch (...) {
    return false;
  }
}

void sweepMemory(const std::string& name, const std::function<void(FaultRun&)>& scenario) {
  std::size_t faults = 0;
  for (const Shortage shortage : {Shortage::once, Shortage::fromThenOn}) {
    for (const Icu icu : {Icu::fresh, Icu::atWork}) {
      if (!testing::Test::HasFailure()) faults += sweep(scenario, shortage, icu);
    }
  }
  EXPECT_GT(faults, 0U) << "no allocation was made";
  reportFaults(name, faults);
}

void reportFaults(const std::string& name, std::size_t faults) {
  reported.emplace_back(name, faults);
}

}  // namespace tarvo::test
