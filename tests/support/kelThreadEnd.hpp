#pragma once

#include <functional>

namespace tarvo::test {

/// Calls `action` when the calling thread ends, as the last of what is called then if this is the first that the thread
/// has asked for. Once a thread.
void atThreadEnd(std::function<void()> action);

}  // namespace tarvo::test
