#pragma once

namespace kelinfra {

/// Runs the command that the arguments name, and returns the exit status.
int run(int count, const char* const* arguments);

}  // namespace kelinfra
