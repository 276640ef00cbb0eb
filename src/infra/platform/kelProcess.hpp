#pragma once

namespace tarvo::platform {

/// The number of the calling process. In a forked child it differs from the parent's.
unsigned int currentProcess() noexcept;

}  // namespace tarvo::platform
