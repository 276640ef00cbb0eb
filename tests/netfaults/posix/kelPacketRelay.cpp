#include "kelPacketRelay.hpp"

#include <fcntl.h>
#include <linux/if.h>
#include <linux/if_tun.h>
#include <poll.h>
#include <sched.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <exception>
#include <map>
#include <random>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

namespace tarvo::netfaults {
namespace {

using Clock = std::chrono::steady_clock;
using Packet = std::vector<unsigned char>;

constexpr std::chrono::milliseconds heldBack(15);
constexpr std::size_t addressHeader = 20;

int checked(int result, const std::string& what) {
  if (result < 0) throw std::system_error(errno, std::generic_category(), what);
  return result;
}

/// Makes a device in the namespace of the calling thread.
int makeDevice() {
  const int device = checked(::open("/dev/net/tun", O_RDWR | O_NONBLOCK | O_CLOEXEC), "/dev/net/tun");
  ifreq request = {};
  std::strcpy(request.ifr_name, "wire");
  request.ifr_flags = IFF_TUN | IFF_NO_PI;
  checked(::ioctl(device, TUNSETIFF, &request), "TUNSETIFF");
  return device;
}

/// A separate thread enters the namespace, so that the calling thread does not have to leave it again.
int makeDeviceIn(const std::string& space) {
  int device = -1;
  std::exception_ptr failure;
  std::thread([&] {
    try {
      const int entry = checked(::open(("/var/run/netns/" + space).c_str(), O_RDONLY | O_CLOEXEC), space);
      checked(::setns(entry, CLONE_NEWNET), "setns");
      ::close(entry);
      device = makeDevice();
    } catch (...) {
      failure = std::current_exception();
    }
  }).join();
  if (failure) std::rethrow_exception(failure);
  return device;
}

}  // namespace

/// The work of the thread.
class PacketRelay::Carrier {
 public:
  Carrier(PacketRelay& relay, unsigned int seed) : relay_(relay), random_(seed) {}

  void run() {
    while (!relay_.ending_) {
      pollfd entries[] = {
          {relay_.devices_[0], POLLIN, 0}, {relay_.devices_[1], POLLIN, 0}, {relay_.wake_, POLLIN, 0}};
      ::poll(entries, 3, untilNext());
      for (std::size_t from = 0; from < 2; ++from) {
        if (entries[from].revents != 0) takeAll(from);
      }
      deliverDue();
    }
  }

 private:
  struct OnItsWay {
    int device;
    Packet packet;
  };

  int untilNext() const {
    if (underWay_.empty()) return -1;
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(underWay_.begin()->first - Clock::now());
    return static_cast<int>(std::max<long long>(left.count() + 1, 0));
  }

  void takeAll(std::size_t from) {
    unsigned char bytes[65536];
    for (;;) {
      const ssize_t length = ::read(relay_.devices_[from], bytes, sizeof bytes);
      if (length <= 0) return;
      send(relay_.devices_[1 - from], Packet(bytes, bytes + length));
    }
  }

  void send(int device, Packet packet) {
    const Faults faults = relay_.faults();
    Fates& fates = relay_.fates_;
    if (faults.dark || chance(faults.loss)) {
      ++fates.lost;
      return;
    }
    Clock::time_point due = Clock::now() + faults.delay;
    if (chance(faults.reorder)) {
      ++fates.reordered;
      due += heldBack;
    }
    if (chance(faults.damage) && packet.size() > addressHeader) {
      ++fates.damaged;
      packet[addressHeader + random_() % (packet.size() - addressHeader)] ^=
          static_cast<unsigned char>(1U << random_() % 8);
    }
    if (chance(faults.duplicate)) {
      ++fates.duplicated;
      underWay_.emplace(due, OnItsWay{device, packet});
    }
    underWay_.emplace(due, OnItsWay{device, std::move(packet)});
  }

  bool chance(unsigned int percent) { return random_() % 100 < percent; }

  void deliverDue() {
    while (!underWay_.empty() && underWay_.begin()->first <= Clock::now()) {
      const OnItsWay& next = underWay_.begin()->second;
      // A device that is down accepts nothing: its packets are lost, as on any link.
      if (::write(next.device, next.packet.data(), next.packet.size()) > 0) {
        ++relay_.fates_.delivered;
      } else {
        ++relay_.fates_.lost;
      }
      underWay_.erase(underWay_.begin());
    }
  }

  PacketRelay& relay_;
  std::mt19937 random_;
  std::multimap<Clock::time_point, OnItsWay> underWay_;  // packets due at the same time keep their order
};

PacketRelay::PacketRelay(const std::string& one, const std::string& other, unsigned int seed)
    : devices_{makeDeviceIn(one), makeDeviceIn(other)}, wake_(checked(::eventfd(0, EFD_CLOEXEC), "eventfd")) {
  thread_ = std::thread([this, seed] { Carrier(*this, seed).run(); });
}

PacketRelay::~PacketRelay() {
  ending_ = true;
  const std::uint64_t one = 1;
  checked(static_cast<int>(::write(wake_, &one, sizeof one)), "eventfd");
  thread_.join();
  for (const int descriptor : {devices_[0], devices_[1], wake_}) ::close(descriptor);
}

void PacketRelay::set(const Faults& faults) {
  const std::lock_guard<std::mutex> lock(mutex_);
  faults_ = faults;
  for (auto* count :
       {&fates_.delivered, &fates_.lost, &fates_.duplicated, &fates_.reordered, &fates_.damaged}) {
    *count = 0;
  }
}

Faults PacketRelay::faults() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return faults_;
}

void PacketRelay::awaitDelivered(std::size_t more) const {
  const std::size_t wanted = fates_.delivered + more;
  const auto patience = Clock::now() + std::chrono::minutes(2);
  while (fates_.delivered < wanted) {
    if (Clock::now() > patience) throw std::runtime_error("nothing is delivered");
    std::this_thread::yield();
  }
}

}  // namespace tarvo::netfaults
