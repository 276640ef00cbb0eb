#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>

namespace tarvo::netfaults {

/// What happens to packets on their way, either way. Chances are in percent.
struct Faults {
  unsigned int loss = 0;
  unsigned int duplicate = 0;
  unsigned int reorder = 0;  ///< held back for so long that others overtake it
  unsigned int damage = 0;   ///< a bit behind the address header is turned round
  std::chrono::milliseconds delay{0};
  bool dark = false;  ///< nothing arrives, and nobody is told
};

/// How many packets met which fate since `set` was called last.
struct Fates {
  std::atomic<std::size_t> delivered{0};
  std::atomic<std::size_t> lost{0};
  std::atomic<std::size_t> duplicated{0};
  std::atomic<std::size_t> reordered{0};
  std::atomic<std::size_t> damaged{0};
};

/// A link between two network namespaces, of two devices named "wire" and a thread that carries the packets from
/// each to the other. The devices exist as long as the relay.
///
/// Namespaces by name, as `ip netns add` makes them. Needs the rights of root.
class PacketRelay {
 public:
  PacketRelay(const std::string& one, const std::string& other, unsigned int seed);
  PacketRelay(const PacketRelay&) = delete;
  PacketRelay& operator=(const PacketRelay&) = delete;
  ~PacketRelay();

  void set(const Faults& faults);
  const Fates& fates() const { return fates_; }

  /// Waits until so many packets more have been delivered. Throws std::runtime_error when that takes minutes.
  void awaitDelivered(std::size_t more) const;

 private:
  class Carrier;

  Faults faults();

  int devices_[2];
  int wake_;
  std::mutex mutex_;
  Faults faults_;
  Fates fates_;
  std::atomic<bool> ending_{false};
  std::thread thread_;
};

}  // namespace tarvo::netfaults
