#pragma once

namespace tarvo::test {

/// Returns how often a test repeats code that starts threads: `wished` times, or less often on a platform
/// where starting a thread is slow.
int roundsWithThreads(int wished);

}  // namespace tarvo::test
