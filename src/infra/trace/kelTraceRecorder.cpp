#include "infra/trace/kelTraceRecorder.hpp"

#include "machine/kelByteOrder.hpp"
#include "machine/kelTicks.hpp"
#include "platform/kelProcess.hpp"
#include "platform/kelThreadBlock.hpp"

#include <algorithm>
#include <bit>
#include <chrono>
#include <cstdlib>
#include <mutex>
#include <new>
#include <type_traits>

// Only the thread that owns a ring writes events into it, without a lock. The owner stores the event, and
// then the number of events, both with release order. A reader loads the number, the events, and the number
// again, with acquire order. If the reader has read a part of a newer event in a slot, the second number
// shows that the old event of this slot was overwritten, and the reader drops it. Therefore the reader
// returns no event that is half overwritten.
//
// The mutex guards the other data: the lists of rings, the settings and the memory of the rings.

namespace tarvo::trace {
namespace {

enum class Kind : std::uint32_t { entry, exit };

struct Event {
  std::uint64_t time;
  std::uint64_t word;  // the kind in the upper half, the probe in the lower
};

/// The events of a thread follow this structure in the same block of memory.
struct Ring {
  Ring* next;
  std::uint64_t recording;  // the recording that the events belong to
  std::uint64_t thread;     // threads are numbered in the order of their first events
  std::uint64_t mask;       // the number of slots - 1
  std::uint64_t written;    // events ever written
  bool usesTicks;
  bool ended;

  Event* events() noexcept { return reinterpret_cast<Event*>(this + 1); }
};
static_assert(std::is_trivial_v<Ring> && sizeof(Ring) % alignof(Event) == 0);

/// The recorder's part of a thread's block.
struct ThreadRing {
  Ring* ring;
};
static_assert(sizeof(ThreadRing) <=
              platform::threadPartSizes[static_cast<std::size_t>(platform::ThreadPart::trace)]);

void store(std::uint64_t& word, std::uint64_t value) noexcept {
  __atomic_store_n(&word, value, __ATOMIC_RELEASE);
}
std::uint64_t load(const std::uint64_t& word) noexcept {
  return __atomic_load_n(&word, __ATOMIC_ACQUIRE);
}

/// A list of rings in the order in which they were added.
class Rings {
 public:
  Ring* first() const noexcept { return first_; }

  void add(Ring* ring) noexcept {
    Ring** end = &first_;
    while (*end != nullptr) end = &(*end)->next;
    *end = ring;
    ring->next = nullptr;
  }
  void remove(const Ring* ring) noexcept {
    Ring** place = &first_;
    while (*place != ring) place = &(*place)->next;
    *place = ring->next;
  }

 private:
  Ring* first_ = nullptr;
};

struct Instant {
  std::uint64_t ticks = 0;
  std::uint64_t nanoseconds = 0;

  static Instant now(bool usesTicks) noexcept {
    const std::uint64_t nanoseconds = machine::steadyNanoseconds();
    return {usesTicks ? machine::ticks() : nanoseconds, nanoseconds};
  }
};

struct State {
  Rings living;
  Rings ended;
  std::size_t endedCount = 0;
  std::size_t mostEnded = 0;
  std::uint64_t slots = 0;
  bool usesTicks = false;
  std::uint64_t recording = 0;  // the number of the recording; it stays the same after `stop`
  std::uint64_t threads = 0;
  Instant started;
  std::uint64_t startTime = 0;  // nanoseconds since 1970
  std::uint64_t dropped = 0;    // the events of ended threads that are not kept
};

constinit State state;
/// The number of the recording; 0 after `stop` and before the first `start`.
constinit std::uint64_t active = 0;
/// The events that no ring has received.
constinit std::uint64_t refused = 0;

/// The mutex has no destructor, because threads may record until the process has ended.
std::mutex& mutex() noexcept {
  alignas(std::mutex) static unsigned char memory[sizeof(std::mutex)];
  static auto* const made = new (memory) std::mutex;
  return *made;
}

using Lock = std::lock_guard<std::mutex>;

std::uint64_t slotsOf(const Ring& ring) noexcept {
  return ring.mask + 1;
}

bool isCurrent(const Ring& ring) noexcept {
  return ring.recording == state.recording;
}

/// Returns the index of the oldest event that is kept. If the ring is full, the thread writes its next event
/// into the slot of the oldest event. Therefore the oldest event counts as overwritten while the thread
/// lives.
std::uint64_t oldestKept(const Ring& ring) noexcept {
  const std::uint64_t ahead = load(ring.written) + (ring.ended ? 0 : 1);
  return ahead - std::min(ahead, slotsOf(ring));
}

/// Returns the number of bytes of a ring. `start` limits the number of slots, so the result does not
/// overflow.
std::size_t bytesFor(std::uint64_t slots) noexcept {
  return sizeof(Ring) + static_cast<std::size_t>(slots) * sizeof(Event);
}

// --- the end of a thread

/// Releases the unused part of a ring that is not full. If there is no memory, the ring stays as it is.
Ring* shrunk(Ring* ring) noexcept {
  const std::uint64_t written = ring->written;
  if (written >= slotsOf(*ring)) return ring;
  void* const smaller = std::realloc(static_cast<void*>(ring), bytesFor(written));
  return smaller == nullptr ? ring : static_cast<Ring*>(smaller);
}

void dropOldestEnded() noexcept {
  Ring* const oldest = state.ended.first();
  state.ended.remove(oldest);
  state.dropped += oldest->written;
  std::free(oldest);
  --state.endedCount;
}

void endThread(void* block) noexcept {
  const Lock lock(mutex());
  Ring* const ring = static_cast<ThreadRing*>(block)->ring;
  if (ring == nullptr) return;
  state.living.remove(ring);
  if (!isCurrent(*ring)) return std::free(ring);
  ring->ended = true;
  state.ended.add(shrunk(ring));
  if (++state.endedCount > state.mostEnded) dropOldestEnded();
}

// --- the first event of a thread

/// Returns a ring in `ring` or in new memory; null if there is no memory.
Ring* withMemory(Ring* ring) noexcept {
  if (ring != nullptr && slotsOf(*ring) == state.slots) return ring;
  if (ring != nullptr) {
    state.living.remove(ring);
    std::free(ring);
  }
  ring = static_cast<Ring*>(std::calloc(1, bytesFor(state.slots)));
  if (ring != nullptr) state.living.add(ring);
  return ring;
}

/// Returns the calling thread's ring, empty, for the current recording; null if there is no memory or no
/// recording.
[[gnu::noinline, gnu::cold]] Ring* beginThread(ThreadRing& own) noexcept {
  const Lock lock(mutex());
  if (load(active) == 0) return nullptr;
  own.ring = withMemory(own.ring);
  if (own.ring == nullptr) {
    __atomic_fetch_add(&refused, 1, __ATOMIC_RELAXED);
    return nullptr;
  }
  Ring& ring = *own.ring;
  ring.recording = state.recording;
  ring.thread = ++state.threads;
  ring.mask = state.slots - 1;
  ring.usesTicks = state.usesTicks;
  store(ring.written, 0);
  return &ring;
}

[[gnu::noinline, gnu::cold]] void refuse() noexcept {
  __atomic_fetch_add(&refused, 1, __ATOMIC_RELAXED);
}

// --- an event

inline void record(std::uint32_t probe, Kind kind) noexcept {
  const std::uint64_t recording = load(active);
  if (recording == 0) return;
  auto* const own = static_cast<ThreadRing*>(platform::threadBlock(platform::ThreadPart::trace, &endThread));
  if (own == nullptr) return refuse();
  Ring* ring = own->ring;
  if (ring == nullptr || ring->recording != recording) [[unlikely]] {
    ring = beginThread(*own);
    if (ring == nullptr) return;
  }
  const std::uint64_t index = ring->written;
  Event& event = ring->events()[index & ring->mask];
  store(event.time, ring->usesTicks ? machine::ticks() : machine::steadyNanoseconds());
  store(event.word, static_cast<std::uint64_t>(kind) << 32U | probe);
  store(ring->written, index + 1);
}

// --- the file

class Bytes {
 public:
  explicit Bytes(std::string& bytes) : bytes_(bytes) {}

  template <class Word>
  Bytes& put(Word word) {
    char place[sizeof word];
    machine::putLittleEndian(place, word);
    bytes_.append(place, sizeof word);
    return *this;
  }

 private:
  std::string& bytes_;
};

constexpr std::size_t fileHeaderSize = 72;
constexpr std::size_t threadHeaderSize = 32;
constexpr std::size_t eventSize = 16;

/// Appends the events of a ring, except the events that are overwritten during the reading.
void appendThread(std::string& file, Ring& ring) {
  const std::size_t header = file.size();
  const std::uint64_t last = load(ring.written);
  const std::uint64_t first = oldestKept(ring);
  file.append(threadHeaderSize, '\0');
  Bytes bytes(file);
  for (std::uint64_t index = first; index < last; ++index) {
    const Event& event = ring.events()[index & ring.mask];
    const std::uint64_t time = load(event.time);
    const std::uint64_t word = load(event.word);
    bytes.put(time).put(static_cast<std::uint32_t>(word)).put(static_cast<std::uint32_t>(word >> 32U));
  }
  const std::uint64_t start = std::min(oldestKept(ring), last);
  file.erase(header + threadHeaderSize, static_cast<std::size_t>(start - first) * eventSize);
  std::string filled;
  Bytes(filled).put(ring.thread).put(start).put(last - start);
  Bytes(filled).put(static_cast<std::uint32_t>(ring.ended)).put(std::uint32_t{0});
  file.replace(header, threadHeaderSize, filled);
}

void putHeader(std::string& file, std::uint32_t threads) {
  const Instant now = Instant::now(state.usesTicks);
  std::string header = "KELTRACE";
  Bytes(header)
      .put(std::uint32_t{1})
      .put(static_cast<std::uint32_t>(fileHeaderSize))
      .put(std::uint32_t{state.usesTicks ? 1U : 2U})
      .put(static_cast<std::uint32_t>(platform::currentProcess()))
      .put(state.started.ticks)
      .put(now.ticks)
      .put(now.nanoseconds - state.started.nanoseconds)
      .put(state.startTime)
      .put(state.dropped + load(refused))
      .put(threads)
      .put(std::uint32_t{0});
  file.replace(0, fileHeaderSize, header);
}

template <class Action>
void forEachRing(const Action& action) {
  for (const Rings* rings : {&state.ended, &state.living}) {
    for (Ring* ring = rings->first(); ring != nullptr; ring = ring->next) {
      if (isCurrent(*ring)) action(*ring);
    }
  }
}

std::uint64_t nanosecondsSince1970() noexcept {
  const auto time = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(time).count());
}

}  // namespace

void TraceRecorder::start(const Settings& settings) noexcept {
  constexpr std::size_t most = std::size_t{1} << 24U;
  const Lock lock(mutex());
  while (state.ended.first() != nullptr) dropOldestEnded();
  state.slots = std::bit_ceil(std::clamp(settings.eventsPerThread, std::size_t{2}, most));
  state.mostEnded = settings.endedThreads;
  state.usesTicks = machine::hasTicks && settings.clock == Clock::PROCESSOR;
  state.threads = 0;
  state.dropped = 0;
  store(refused, 0);
  state.started = Instant::now(state.usesTicks);
  state.startTime = nanosecondsSince1970();
  store(active, ++state.recording);
}

void TraceRecorder::stop() noexcept {
  const Lock lock(mutex());
  store(active, 0);
}

Facility TraceRecorder::facility(const volatile std::uint32_t* flags) noexcept {
  Facility hooks;
  hooks.componentTraceFlags = flags;
  hooks.traceEntry = &entered;
  hooks.traceExit = &left;
  return hooks;
}

void TraceRecorder::entered(std::uint32_t probe) noexcept {
  record(probe, Kind::entry);
}

void TraceRecorder::left(std::uint32_t probe, int /*returnCode*/) noexcept {
  record(probe, Kind::exit);
}

std::string TraceRecorder::snapshot() {
  const Lock lock(mutex());
  std::string file(fileHeaderSize, '\0');
  std::uint32_t threads = 0;
  forEachRing([&](Ring& ring) {
    appendThread(file, ring);
    ++threads;
  });
  putHeader(file, threads);
  return file;
}

std::uint64_t TraceRecorder::lost() noexcept {
  const Lock lock(mutex());
  std::uint64_t count = state.dropped + load(refused);
  forEachRing([&](const Ring& ring) { count += oldestKept(ring); });
  return count;
}

}  // namespace tarvo::trace
