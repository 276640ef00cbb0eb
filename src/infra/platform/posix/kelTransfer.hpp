#pragma once

/// Winsock's transfers and `shutdown` on descriptors. Results and errors are those of the platform layer.
namespace tarvo::platform::posix {

int send(int descriptor, const char* bytes, int length) noexcept;
int receive(int descriptor, char* bytes, int length) noexcept;
int shutDown(int descriptor, int how) noexcept;

}  // namespace tarvo::platform::posix
