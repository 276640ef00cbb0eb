#pragma once

namespace tarvo::test {

/// How often a test repeats what starts threads: `wished` times where a start costs next to nothing.
int roundsWithThreads(int wished);

}  // namespace tarvo::test
