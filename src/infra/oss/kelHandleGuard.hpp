#pragma once

#include "platform/kelWinsock.hpp"

#include <utility>

namespace tarvo::oss {

/// Closes a handle at the end of its scope, unless `release` was called.
class HandleGuard {
 public:
  explicit HandleGuard(platform::SocketHandle handle) : handle_(handle) {}
  HandleGuard(const HandleGuard&) = delete;
  HandleGuard& operator=(const HandleGuard&) = delete;
  ~HandleGuard() {
    if (valid()) platform::winsock().closesocket(handle_);
  }

  bool valid() const { return handle_ != platform::invalidSocket; }
  platform::SocketHandle get() const { return handle_; }
  platform::SocketHandle release() { return std::exchange(handle_, platform::invalidSocket); }

 private:
  platform::SocketHandle handle_;
};

}  // namespace tarvo::oss
