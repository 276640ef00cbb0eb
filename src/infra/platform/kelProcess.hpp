#pragma once

namespace tarvo::platform {

/// Returns the number of the calling process. A forked child has another number than its parent.
unsigned int currentProcess() noexcept;

}  // namespace tarvo::platform
