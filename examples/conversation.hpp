#pragma once

#include "infra/oss/kelSocket.hpp"

#include "documentAnalysis.hpp"

#include <iostream>
#include <mutex>

namespace documents {

/// The server's log on standard output. Any thread may write to it, a line at a time.
class Screen {
 public:
  /// The log allocates nothing, so that it can also report that memory is exhausted.
  template <class... Parts>
  void say(const Parts&... parts) {
    const std::lock_guard<std::mutex> lock(mutex_);
    (std::cout << ... << parts) << std::endl;
  }

 private:
  std::mutex mutex_;
};

/// Answers the requests of one client until it leaves. A wrong request is answered with its error. An error
/// of the connection, or exhausted memory, ends the conversation and is printed; no exception leaves.
void converse(tarvo::oss::Socket& socket, unsigned long long client, const Settings& settings,
              Screen& screen) noexcept;

}  // namespace documents
