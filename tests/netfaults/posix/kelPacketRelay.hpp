#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>

namespace tarvo::netfaults {

/// Faults of packets in both directions. Chances are in percent.
struct Faults {
  unsigned int loss = 0;
  unsigned int duplicate = 0;
  unsigned int reorder = 0;  ///< delayed until others have overtaken it
  unsigned int damage = 0;   ///< one bit after the address header is inverted
  std::chrono::milliseconds delay{0};
  bool dark = false;  ///< every packet is lost, without a notice
};

/// The numbers of packets that were delivered, lost or otherwise treated since the last call of `set`.
struct Fates {
  std::atomic<std::size_t> delivered{0};
  std::atomic<std::size_t> lost{0};
  std::atomic<std::size_t> duplicated{0};
  std::atomic<std::size_t> reordered{0};
  std::atomic<std::size_t> damaged{0};
};

/// A link between two network namespaces: a device named "wire" in each, and a thread that carries packets
/// between them. The devices exist as long as the relay.
///
/// Namespaces are given by name, as `ip netns add` makes them. Needs the rights of root.
class PacketRelay {
 public:
  PacketRelay(const std::string& one, const std::string& other, unsigned int seed);
  PacketRelay(const PacketRelay&) = delete;
  PacketRelay& operator=(const PacketRelay&) = delete;
  ~PacketRelay();

  void set(const Faults& faults);
  const Fates& fates() const { return fates_; }

  /// Waits until `more` packets have been delivered. Throws std::runtime_error if that takes minutes.
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
