#pragma once

#include "support/kelPeer.hpp"

#include <cstddef>
#include <string>
#include <vector>

namespace tarvo::test {

/// All bits set: what `Socket::handle` gives when there is none.
inline constexpr Handle noHandle = ~0ULL;

/// How many handles this process has open.
std::size_t openDescriptors();

/// What the system says of a socket's options.
bool noDelay(Handle handle);
bool isBlocking(Handle handle);
unsigned long long receiveTimeout(Handle handle);  ///< milliseconds
unsigned long long sendTimeout(Handle handle);
/// Keep-alive, linger and address reuse stand as in a socket that was just made.
bool hasNoFurtherOptions(Handle handle);

/// Whether the handle's pending error is "connection refused"; asking takes the error away.
bool takesRefusal(Handle handle);

/// Closes a handle without its owner's knowledge.
void closeBehindItsBack(Handle handle);

/// What the system's resolver says of a name by itself: Winsock's code, and the system's text for it.
struct Resolution {
  int code;
  std::string text;
};
Resolution resolve(const std::string& name);
/// The system's text for an unknown name.
std::string unknownNameText();
/// The families that the resolver lists for a name, in order.
std::vector<Family> familiesOf(const std::string& name);

/// For its life, every handle that is opened has a number above 1024.
class HighHandles {
 public:
  HighHandles();
  HighHandles(const HighHandles&) = delete;
  HighHandles& operator=(const HighHandles&) = delete;
  ~HighHandles();

 private:
  std::vector<int> fillers_;
};

}  // namespace tarvo::test
