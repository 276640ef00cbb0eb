#pragma once

#include <functional>

namespace tarvo::test {

/// Calls `action` when the calling thread ends, once a thread. It is called after the library's block of that
/// thread has ended if any thread has used such a block before the first call of this function.
void atThreadEnd(std::function<void()> action);

}  // namespace tarvo::test
