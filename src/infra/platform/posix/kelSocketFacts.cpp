#include "platform/posix/kelSocketFacts.hpp"

#include <cstdlib>

namespace tarvo::platform::posix {

constinit SocketFacts socketFacts;

bool SocketFacts::start(int descriptor, Facts facts) noexcept {
  const auto number = static_cast<unsigned>(descriptor);
  if (number >= firstSize) {
    const unsigned further = furtherOf(number);
    std::atomic<Entry*>& segment = further_[further];
    if (segment.load(std::memory_order_acquire) == nullptr) {
      // A new entry consists of zeros. The system provides memory only for those pages of a large segment
      // that the program accesses.
      auto* const made = static_cast<Entry*>(std::calloc(sizeOf(further), sizeof(Entry)));
      if (made == nullptr) return false;
      Entry* none = nullptr;
      if (!segment.compare_exchange_strong(none, made, std::memory_order_acq_rel)) std::free(made);
    }
  }
  Entry& entry = *find(descriptor);
  entry.facts.store(facts, std::memory_order_relaxed);
  entry.sending.store(false, std::memory_order_relaxed);
  return true;
}

void SocketFacts::clear() noexcept {
  for (std::atomic<Entry*>& segment : further_) std::free(segment.exchange(nullptr));
}

}  // namespace tarvo::platform::posix
