#pragma once

namespace tarvo::platform {

/// Returns the number of the calling process. The number of a forked child differs from the number of its
/// parent.
unsigned int currentProcess() noexcept;

}  // namespace tarvo::platform
