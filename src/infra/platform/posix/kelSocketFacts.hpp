#pragma once

#include <array>
#include <atomic>
#include <bit>
#include <utility>

namespace tarvo::platform::posix {

/// Facts about a socket that the system does not report later, so the platform layer records them. One bit
/// each.
using Facts = unsigned char;
namespace fact {
inline constexpr Facts made = 1;             ///< the platform layer made this socket and has not closed it
inline constexpr Facts attempt = 2;          ///< an attempt to connect began and has not been seen to succeed
inline constexpr Facts connected = 4;        ///< a connection was made or accepted
inline constexpr Facts receiveEnded = 8;     ///< receiving was shut down by this process
inline constexpr Facts sendEnded = 16;       ///< sending was shut down by this process
inline constexpr Facts connectionLost = 32;  ///< a call reported that the connection is reset or broken
}  // namespace fact

/// A table of the facts about every socket, indexed by descriptor. The library records the facts when it
/// makes a system call, or when it gets the result of the call.
///
/// An entry is created together with its socket, so recording a fact later allocates nothing. Any thread,
/// also of a forked child, may call the functions; they take no locks. The table
/// has no entry for a number that is not a descriptor.
class SocketFacts {
 public:
  /// Creates the entry of a new socket. Returns false if there is no memory for the entry.
  bool start(int descriptor, Facts facts) noexcept;

  Facts of(int descriptor) const noexcept {
    const Entry* const entry = find(descriptor);
    return entry == nullptr ? Facts{0} : entry->facts.load(std::memory_order_relaxed);
  }
  bool has(int descriptor, Facts facts) const noexcept { return (of(descriptor) & facts) != 0; }

  void add(int descriptor, Facts facts) noexcept {
    if (Entry* const entry = find(descriptor)) entry->facts.fetch_or(facts, std::memory_order_release);
  }
  void remove(int descriptor, Facts facts) noexcept {
    if (Entry* const entry = find(descriptor))
      entry->facts.fetch_and(static_cast<Facts>(~facts), std::memory_order_release);
  }

  /// Returns whether a thread is inside a send on this socket. Only one thread at a time sends on a socket.
  bool isSending(int descriptor) const noexcept {
    const Entry* const entry = find(descriptor);
    return entry != nullptr && entry->sending.load(std::memory_order_acquire);
  }
  void setSending(int descriptor, bool on) noexcept {
    if (Entry* const entry = find(descriptor)) entry->sending.store(on, std::memory_order_release);
  }

  /// Frees the allocated segments. Only tests call this function. The library never frees the table that it
  /// uses, because sockets may be closed until the process ends.
  void clear() noexcept;

 private:
  struct Entry {
    std::atomic<Facts> facts;
    std::atomic<bool> sending;
  };

  // Segment 0 is part of the object. Segment n > 0 is allocated when a socket needs an entry in this segment.
  // The segment starts at descriptor firstSize << (n - 1) and has as many entries as all segments before it
  // together.
  static constexpr unsigned firstBits = 10;
  static constexpr unsigned firstSize = 1U << firstBits;
  static constexpr unsigned furtherSegments = 31 - firstBits;

  static unsigned sizeOf(unsigned further) noexcept { return firstSize << further; }
  static unsigned furtherOf(unsigned number) noexcept {
    return static_cast<unsigned>(std::bit_width(number)) - 1 - firstBits;
  }

  const Entry* find(int descriptor) const noexcept {
    const auto number = static_cast<unsigned>(descriptor);
    if (number < firstSize) return &first_[number];
    if (descriptor < 0) return nullptr;
    const unsigned further = furtherOf(number);
    const Entry* const segment = further_[further].load(std::memory_order_acquire);
    return segment == nullptr ? nullptr : segment + (number - sizeOf(further));
  }
  Entry* find(int descriptor) noexcept { return const_cast<Entry*>(std::as_const(*this).find(descriptor)); }

  std::array<Entry, firstSize> first_{};
  std::array<std::atomic<Entry*>, furtherSegments> further_{};
};

extern constinit SocketFacts socketFacts;

}  // namespace tarvo::platform::posix
