#pragma once

namespace tarvo::test {

/// How often a test repeats code that starts threads: `wished` times, or fewer where starting a thread is
/// slow.
int roundsWithThreads(int wished);

}  // namespace tarvo::test
