#pragma once

#include <functional>

namespace tarvo::test {

/// Calls `action` when the calling thread ends; at most one action per thread. The action runs after the end
/// of the library's thread block, provided that some thread used such a block before the first call of this
/// function.
void atThreadEnd(std::function<void()> action);

}  // namespace tarvo::test
