#pragma once

#include "support/kelPeer.hpp"

#include <cstddef>
#include <string>
#include <vector>

namespace tarvo::test {

/// All bits set: `Socket::handle` returns this if the socket has no handle.
inline constexpr Handle noHandle = ~0ULL;

/// The number of handles that this process has open.
std::size_t openDescriptors();

/// The options of a socket, as the system reports them.
bool noDelay(Handle handle);
bool isBlocking(Handle handle);
unsigned long long receiveTimeout(Handle handle);  ///< milliseconds
unsigned long long sendTimeout(Handle handle);
/// Whether keep-alive, linger and address reuse have their defaults.
bool hasNoFurtherOptions(Handle handle);

/// Returns whether the pending error of the handle is "connection refused". The call clears the error.
bool takesRefusal(Handle handle);

/// Closes a handle directly; the object that owns it is not informed.
void closeDirectly(Handle handle);

/// The result of the system's resolver for a name: a Winsock code, and the system's text for this code.
struct Resolution {
  int code;
  std::string text;
};
Resolution resolve(const std::string& name);
/// The system's text for an unknown name.
std::string unknownNameText();
/// The families that the resolver lists for a name, in order.
std::vector<Family> familiesOf(const std::string& name);

/// Allows this process `count` open handles. Returns false if the system does not permit that many.
bool allowDescriptors(std::size_t count);

/// While an object of this class exists, every new handle has a number above 1024.
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
