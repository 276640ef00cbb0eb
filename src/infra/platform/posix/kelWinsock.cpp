#include "platform/kelWinsock.hpp"

#include "platform/kelWinsockChecks.hpp"
#include "platform/posix/kelWinsockCodes.hpp"

#include <fcntl.h>
// And not netinet/tcp.h: only this one's tcp_info tells how much was acknowledged.
#include <linux/tcp.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <utility>

namespace tarvo::platform {
namespace {

using posix::winsockCode;

static_assert(inetAddressSize == sizeof(sockaddr_in) && inet6AddressSize == sizeof(sockaddr_in6),
              "Winsock's addresses differ from the system's in the number of the IPv6 family only");

thread_local constinit int lastError = 0;

int fail(int code) noexcept {
  lastError = code;
  return socketError;
}

/// What a system call answered, with errno turned into the last error.
int answer(long result) noexcept {
  return result < 0 ? fail(winsockCode(errno)) : static_cast<int>(result);
}

/// A handle as a descriptor; one that cannot be a descriptor becomes one that is never open.
int descriptorOf(SocketHandle handle) noexcept {
  return handle <= INT_MAX ? static_cast<int>(handle) : -1;
}

SocketHandle handleOf(int descriptor) noexcept {
  return static_cast<SocketHandle>(descriptor);
}

/// What has ended a connection or a direction of it, by descriptor. The system forgets the difference between
/// "ended here" and "reset by the peer" once a connection is gone, and Winsock does not.
class KnownEnds {
 public:
  static constexpr unsigned char receive = 1;  ///< shut down from this end
  static constexpr unsigned char send = 2;     ///< shut down from this end
  static constexpr unsigned char reset = 4;    ///< a transfer was told so

  void add(int descriptor, unsigned char ends) noexcept {
    if (covers(descriptor)) entry(descriptor).fetch_or(ends, std::memory_order_relaxed);
  }
  void forget(int descriptor) noexcept {
    if (covers(descriptor)) entry(descriptor).store(0, std::memory_order_relaxed);
  }
  bool has(int descriptor, unsigned char end) noexcept {
    return covers(descriptor) && (entry(descriptor).load(std::memory_order_relaxed) & end) != 0;
  }

 private:
  static constexpr int most = 1 << 20;  // the system's own default limit; untouched pages cost nothing

  static bool covers(int descriptor) noexcept { return descriptor >= 0 && descriptor < most; }

  std::atomic_ref<unsigned char> entry(int descriptor) noexcept {
    return std::atomic_ref<unsigned char>(ended_[descriptor]);
  }

  unsigned char ended_[most] = {};
};

constinit KnownEnds knownEnds;

bool tcpInfo(int descriptor, tcp_info& info) noexcept {
  socklen_t size = sizeof info;
  info = {};
  return ::getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &info, &size) == 0;
}

constexpr unsigned char tcpStateClosed = 7;

bool everEstablished(const tcp_info& info) noexcept {
  return info.tcpi_rtt != 0 || info.tcpi_bytes_acked != 0 || info.tcpi_bytes_received != 0;
}

/// Whether a connection that has reached its end was reset: a transfer was told so before, or it is gone
/// although this end never closed its half.
bool wasReset(int descriptor) noexcept {
  if (knownEnds.has(descriptor, KnownEnds::reset)) return true;
  tcp_info info;
  return tcpInfo(descriptor, info) && info.tcpi_state == tcpStateClosed && everEstablished(info) &&
         !knownEnds.has(descriptor, KnownEnds::send);
}

/// Whether a socket with a pending error failed to connect, as against having lost its connection.
bool failedToConnect(int descriptor) noexcept {
  tcp_info info;
  return tcpInfo(descriptor, info) && info.tcpi_state == tcpStateClosed && !everEstablished(info);
}

bool isSocket(int descriptor) noexcept {
  int type = 0;
  socklen_t size = sizeof type;
  return ::getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &size) == 0;
}

bool isNonBlocking(int descriptor) noexcept {
  return (::fcntl(descriptor, F_GETFL) & O_NONBLOCK) != 0;
}

// --- time ---------------------------------------------------------------------------------------------

constexpr long long nanosecondsPerSecond = 1'000'000'000;

long long now(clockid_t clock) noexcept {
  timespec time{};
  ::clock_gettime(clock, &time);
  return static_cast<long long>(time.tv_sec) * nanosecondsPerSecond + time.tv_nsec;
}

/// A point on the monotonic clock up to which a wait may last, or none.
class Deadline {
 public:
  static Deadline never() noexcept { return Deadline(false, 0); }
  static Deadline passed() noexcept { return at(0); }
  static Deadline at(long long nanoseconds) noexcept { return Deadline(true, nanoseconds); }

  /// What is left, for ppoll; null for no limit.
  const timespec* remaining(timespec& store) const noexcept {
    if (!limited_) return nullptr;
    const long long left = at_ == 0 ? 0 : std::max(at_ - now(CLOCK_MONOTONIC), 0LL);
    store.tv_sec = left / nanosecondsPerSecond;
    store.tv_nsec = left % nanosecondsPerSecond;
    return &store;
  }

 private:
  Deadline(bool limited, long long at) noexcept : limited_(limited), at_(at) {}

  bool limited_;
  long long at_;
};

/// Polls until something is reported or the deadline has passed, whatever signals arrive.
int pollUntil(pollfd* entries, nfds_t count, const Deadline& deadline) noexcept {
  for (;;) {
    timespec store{};
    const int result = ::ppoll(entries, count, deadline.remaining(store), nullptr);
    if (result >= 0 || errno != EINTR) return result;
  }
}

// --- data ---------------------------------------------------------------------------------------------

/// A transfer in one direction.
struct Direction {
  int timeoutOption;
  short event;
  unsigned char ended;
};

constexpr Direction receiving = {SO_RCVTIMEO, POLLIN, KnownEnds::receive};
constexpr Direction sending = {SO_SNDTIMEO, POLLOUT, KnownEnds::send};

Deadline deadlineOf(int descriptor, const Direction& direction, long long started) noexcept {
  timeval limit{};
  socklen_t size = sizeof limit;
  ::getsockopt(descriptor, SOL_SOCKET, direction.timeoutOption, &limit, &size);
  if (limit.tv_sec == 0 && limit.tv_usec == 0) return Deadline::never();
  return Deadline::at(started + static_cast<long long>(limit.tv_sec) * nanosecondsPerSecond +
                      limit.tv_usec * 1000LL);
}

/// Makes `call` until a signal lets it end, within the time-out that it began with.
template <class Call>
long resumed(int descriptor, const Direction& direction, Call call) noexcept {
  const long long started = now(CLOCK_MONOTONIC_COARSE);
  long result = call();
  if (result >= 0 || errno != EINTR) return result;
  const Deadline deadline = deadlineOf(descriptor, direction, started);
  do {
    pollfd entry = {descriptor, direction.event, 0};
    if (pollUntil(&entry, 1, deadline) == 0) {
      errno = EAGAIN;
      return -1;
    }
    result = call();
  } while (result < 0 && errno == EINTR);
  return result;
}

/// A transfer found no connection any more, or none at all, which the system does not tell apart.
int failWithoutConnection(int descriptor) noexcept {
  if (failedToConnect(descriptor)) return fail(wsa::notConnected);
  knownEnds.add(descriptor, KnownEnds::reset);
  return fail(wsa::connectionReset);
}

template <class Call>
int transfer(int descriptor, const Direction& direction, Call call) noexcept {
  if (knownEnds.has(descriptor, direction.ended)) return fail(wsa::shutDown);
  const long result = resumed(descriptor, direction, call);
  if (result < 0 && errno == EAGAIN && !isNonBlocking(descriptor)) return fail(wsa::timedOut);
  if (result < 0 && (errno == EPIPE || errno == ECONNRESET)) return failWithoutConnection(descriptor);
  return answer(result);
}

// --- addresses ----------------------------------------------------------------------------------------

/// A socket address in the system's own numbers.
struct NativeAddress {
  sockaddr_storage storage;
  socklen_t length;

  const sockaddr* get() const noexcept { return reinterpret_cast<const sockaddr*>(&storage); }
};

/// Turns Winsock's address into the system's. Returns 0, or what is wrong with it.
int toNative(const unsigned char* address, std::size_t length, NativeAddress& native) noexcept {
  if (const int refusal = addressRefusal(address, length); refusal != 0) return refusal;
  std::uint16_t family = 0;
  std::memcpy(&family, address, sizeof family);
  const std::size_t needed = family == familyInet ? inetAddressSize : inet6AddressSize;
  native.storage = {};
  std::memcpy(&native.storage, address, needed);
  native.storage.ss_family = family == familyInet ? AF_INET : AF_INET6;
  native.length = static_cast<socklen_t>(needed);
  return 0;
}

int toWinsockFamily(int family) noexcept {
  return family == AF_INET6 ? familyInet6 : family;
}

/// Writes Winsock's number over the family of a system address.
void toWinsockAddress(unsigned char* address, std::size_t length, int family) noexcept {
  const auto number = static_cast<std::uint16_t>(toWinsockFamily(family));
  std::memcpy(address, &number, std::min(length, sizeof number));
}

/// Calls `call` with the system's form of a Winsock address.
template <class Call>
int withNative(const unsigned char* address, std::size_t length, Call call) noexcept {
  NativeAddress native;
  if (const int code = toNative(address, length, native); code != 0) return fail(code);
  return answer(call(native));
}

ResolvedAddress toResolved(const addrinfo& entry) {
  ResolvedAddress resolved;
  resolved.flags = entry.ai_flags;
  resolved.family = toWinsockFamily(entry.ai_family);
  resolved.socketType = entry.ai_socktype;
  resolved.protocol = entry.ai_protocol;
  const auto* const bytes = reinterpret_cast<const unsigned char*>(entry.ai_addr);
  resolved.address.assign(bytes, bytes + entry.ai_addrlen);
  toWinsockAddress(resolved.address.data(), resolved.address.size(), entry.ai_family);
  if (entry.ai_canonname != nullptr) resolved.canonicalName = entry.ai_canonname;
  return resolved;
}

// --- options ------------------------------------------------------------------------------------------

struct Option {
  int level;
  int name;
  int nativeLevel;
  int nativeName;
};

constexpr Option options[] = {
    {levelSocket, optionReuseAddress, SOL_SOCKET, SO_REUSEADDR},
    {levelSocket, optionSendBuffer, SOL_SOCKET, SO_SNDBUF},
    {levelSocket, optionReceiveBuffer, SOL_SOCKET, SO_RCVBUF},
    {levelSocket, optionSendTimeout, SOL_SOCKET, SO_SNDTIMEO},
    {levelSocket, optionReceiveTimeout, SOL_SOCKET, SO_RCVTIMEO},
    {levelSocket, optionError, SOL_SOCKET, SO_ERROR},
    {levelTcp, optionNoDelay, IPPROTO_TCP, TCP_NODELAY},
};

const Option* findOption(int level, int name) noexcept {
  const auto* const found = std::find_if(std::begin(options), std::end(options), [&](const Option& option) {
    return option.level == level && option.name == name;
  });
  return found == std::end(options) ? nullptr : found;
}

bool isTimeout(const Option& option) noexcept {
  return option.name == optionSendTimeout || option.name == optionReceiveTimeout;
}

/// Winsock's time-outs are unsigned milliseconds in a 4-byte value.
timeval toTimeval(int milliseconds) noexcept {
  const auto value = static_cast<unsigned int>(milliseconds);
  return {static_cast<time_t>(value / 1000), static_cast<suseconds_t>(value % 1000) * 1000};
}

int toMilliseconds(const timeval& value) noexcept {
  return static_cast<int>(value.tv_sec * 1000 + value.tv_usec / 1000);
}

// --- select -------------------------------------------------------------------------------------------

/// One select: an entry for every handle of the three sets.
class Selection {
 public:
  Selection(SocketSet& read, SocketSet& write, SocketSet& error) noexcept : sets_{&read, &write, &error} {}

  int wait(const TimeValue* timeout) noexcept {
    const Deadline deadline = deadlineIn(timeout);
    if (!build()) return fail(wsa::notASocket);
    for (;;) {
      const int reported = pollUntil(entries_.data(), count_, deadline);
      if (reported < 0) return answer(reported);
      if (reported == 0) return keepReady();
      if (closedMeanwhile()) return fail(wsa::notASocket);
      if (markReady()) return keepReady();
    }
  }

 private:
  static constexpr std::size_t most = std::size_t{3} * SocketSet::most;
  static constexpr std::array<short, 3> events = {POLLIN, POLLOUT, POLLPRI};

  static Deadline deadlineIn(const TimeValue* timeout) noexcept {
    if (timeout == nullptr) return Deadline::never();
    if (timeout->seconds == 0 && timeout->microseconds == 0) return Deadline::passed();
    return Deadline::at(now(CLOCK_MONOTONIC) + timeout->seconds * nanosecondsPerSecond +
                        timeout->microseconds * 1000LL);
  }

  /// False for a descriptor that is closed or no socket. To the system's poll one that has become something else is as
  /// good as any, so each is asked, though that costs more than the wait.
  bool build() noexcept {
    for (std::size_t kind = 0; kind < sets_.size(); ++kind) {
      for (unsigned int i = 0; i < sets_[kind]->count; ++i) {
        const int descriptor = descriptorOf(sets_[kind]->handles[i]);
        const bool asked = count_ > 0 && entries_[count_ - 1].fd == descriptor;
        if (!asked && !isSocket(descriptor)) return false;
        entries_[count_++] = {descriptor, events[kind], 0};
      }
    }
    return true;
  }

  bool closedMeanwhile() const noexcept {
    return std::any_of(entries_.begin(), entries_.begin() + count_,
                       [](const pollfd& entry) { return (entry.revents & POLLNVAL) != 0; });
  }

  static bool isReady(const pollfd& entry) noexcept {
    if (entry.events == POLLIN) return (entry.revents & (POLLIN | POLLHUP | POLLERR)) != 0;
    const bool failed = (entry.revents & POLLERR) != 0 && failedToConnect(entry.fd);
    if (entry.events == POLLOUT) return (entry.revents & POLLOUT) != 0 && !failed;
    return (entry.revents & POLLPRI) != 0 || failed;
  }

  /// Notes what is ready. What is reported without being ready (a lost connection in the error set) would be reported
  /// again at once, so the wait goes on without it.
  bool markReady() noexcept {
    bool any = false;
    for (std::size_t i = 0; i < count_; ++i) {
      pollfd& entry = entries_[i];
      ready_[i] = entry.revents != 0 && isReady(entry);
      any = any || ready_[i];
      if (entry.revents != 0 && !ready_[i]) entry.fd = -1;
    }
    return any;
  }

  int keepReady() noexcept {
    std::size_t next = 0;
    int kept = 0;
    for (SocketSet* set : sets_) {
      unsigned int count = 0;
      for (unsigned int i = 0; i < set->count; ++i) {
        if (ready_[next++]) set->handles[count++] = set->handles[i];
      }
      set->count = count;
      kept += static_cast<int>(count);
    }
    return kept;
  }

  std::array<SocketSet*, 3> sets_;
  std::array<pollfd, most> entries_;
  std::array<bool, most> ready_{};
  std::size_t count_ = 0;
};

// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): one object, never deleted, constant-initialised
class PosixWinsock final : public Winsock {
 public:
  int WSAStartup(std::uint16_t version, StartupData& data) override {
    data.version = version;
    return 0;
  }

  int WSACleanup() override { return 0; }

  int WSAGetLastError() override { return lastError; }

  void WSASetLastError(int code) override { lastError = code; }

  SocketHandle socket(int family, int type, int protocol) override {
    if (const int refusal = socketRefusal(family, type); refusal != 0) return refuse(refusal);
    return fresh(::socket(family == familyInet ? AF_INET : AF_INET6, type | SOCK_CLOEXEC, protocol));
  }

  int connect(SocketHandle handle, const unsigned char* address, std::size_t length) override {
    const int result = withNative(address, length, [&](const NativeAddress& native) {
      return ::connect(descriptorOf(handle), native.get(), native.length);
    });
    if (result != 0 && lastError == winsockCode(EINPROGRESS)) return fail(wsa::wouldBlock);
    return result;
  }

  int bind(SocketHandle handle, const unsigned char* address, std::size_t length) override {
    return withNative(address, length, [&](const NativeAddress& native) {
      return ::bind(descriptorOf(handle), native.get(), native.length);
    });
  }

  int listen(SocketHandle handle, unsigned int backlog) override {
    return answer(::listen(descriptorOf(handle), static_cast<int>(std::min<unsigned int>(backlog, INT_MAX))));
  }

  SocketHandle accept(SocketHandle listening) override {
    for (;;) {
      const int descriptor = ::accept4(descriptorOf(listening), nullptr, nullptr, SOCK_CLOEXEC);
      if (descriptor >= 0 || errno != EINTR) return fresh(descriptor);
    }
  }

  void wakeAccept(SocketHandle listening) override { ::shutdown(descriptorOf(listening), SHUT_RDWR); }

  int closesocket(SocketHandle handle) override {
    const int descriptor = descriptorOf(handle);
    // A connection that lingers keeps its port from all who would listen on it unless it has said otherwise itself; to
    // Winsock it is the new listener alone who says that. Of what is no socket this is refused.
    const int on = 1;
    if (::setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0) return answer(-1);
    knownEnds.forget(descriptor);
    ::close(descriptor);  // what it answers does not matter: the descriptor is gone in any case
    return 0;
  }

  int select(SocketSet& read, SocketSet& write, SocketSet& error, const TimeValue* timeout) override {
    return Selection(read, write, error).wait(timeout);
  }

  int send(SocketHandle handle, const char* bytes, int length) override {
    const int descriptor = descriptorOf(handle);
    return transfer(descriptor, sending, [&] {
      return ::send(descriptor, bytes, static_cast<std::size_t>(length), MSG_NOSIGNAL);
    });
  }

  int recv(SocketHandle handle, char* bytes, int length) override {
    const int descriptor = descriptorOf(handle);
    const int result = transfer(descriptor, receiving, [&] {
      return ::recv(descriptor, bytes, static_cast<std::size_t>(length), 0);
    });
    // The system tells of a reset once and then of an end; to Winsock it stays a reset.
    if (result == 0 && length > 0 && wasReset(descriptor)) return fail(wsa::connectionReset);
    return result;
  }

  int shutdown(SocketHandle handle, int how) override {
    constexpr std::array<std::pair<int, unsigned char>, 3> directions = {{
        {SHUT_RD, KnownEnds::receive},
        {SHUT_WR, KnownEnds::send},
        {SHUT_RDWR, KnownEnds::receive | KnownEnds::send},
    }};
    if (how < shutdownReceive || how > shutdownBoth) return fail(wsa::invalidArgument);
    const auto [native, ended] = directions[static_cast<std::size_t>(how)];
    const int descriptor = descriptorOf(handle);
    const int result = answer(::shutdown(descriptor, native));
    if (result == 0) knownEnds.add(descriptor, ended);
    return result;
  }

  int ioctlsocketNonBlocking(SocketHandle handle, unsigned long mode) override {
    const int descriptor = descriptorOf(handle);
    if (!isSocket(descriptor)) return answer(-1);
    int on = mode != 0 ? 1 : 0;
    return answer(::ioctl(descriptor, FIONBIO, &on));
  }

  int setsockopt(SocketHandle handle, int level, int option, int value) override {
    const Option* const found = findOption(level, option);
    if (found == nullptr) return fail(wsa::noProtocolOption);
    if (isTimeout(*found)) return setNative(handle, *found, toTimeval(value));
    return setNative(handle, *found, value);
  }

  int getsockopt(SocketHandle handle, int level, int option, int& value) override {
    const Option* const found = findOption(level, option);
    if (found == nullptr) return fail(wsa::noProtocolOption);
    if (isTimeout(*found)) {
      timeval time{};
      const int result = getNative(handle, *found, time);
      if (result == 0) value = toMilliseconds(time);
      return result;
    }
    const int result = getNative(handle, *found, value);
    if (result == 0 && option == optionError && value != 0) value = winsockCode(value);
    return result;
  }

  int getsockname(SocketHandle handle, unsigned char* address, std::size_t& length) override {
    sockaddr_storage storage{};
    socklen_t size = sizeof storage;
    const int result =
        answer(::getsockname(descriptorOf(handle), reinterpret_cast<sockaddr*>(&storage), &size));
    if (result != 0) return result;
    length = std::min<std::size_t>(length, size);
    std::memcpy(address, &storage, length);
    toWinsockAddress(address, length, storage.ss_family);
    return 0;
  }

  int getaddrinfo(const char* node, const char* service, const AddressHints& hints,
                  std::vector<ResolvedAddress>& list) override {
    if (isBeyondPorts(service)) return wsa::typeNotFound;
    addrinfo wanted{};
    wanted.ai_flags = (hints.flags & passiveFlag) != 0 ? AI_PASSIVE : 0;
    wanted.ai_family = hints.family == familyInet6 ? AF_INET6 : hints.family;
    wanted.ai_socktype = hints.socketType;
    wanted.ai_protocol = hints.protocol;
    addrinfo* first = nullptr;
    const int result = ::getaddrinfo(node, service, &wanted, &first);
    if (result == EAI_SYSTEM) return winsockCode(errno);
    if (result != 0) return posix::winsockResolverCode(result);
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owner(first, &::freeaddrinfo);
    for (const addrinfo* entry = first; entry != nullptr; entry = entry->ai_next)
      list.push_back(toResolved(*entry));
    return 0;
  }

  std::string systemText(int code) override {
    if (const int result = posix::posixResolverCode(code); result != 0) return ::gai_strerror(result);
    return {};
  }

 private:
  static SocketHandle refuse(int code) noexcept {
    lastError = code;
    return invalidSocket;
  }

  /// A new descriptor as a handle. What was known of an earlier socket of that number is forgotten.
  static SocketHandle fresh(int descriptor) noexcept {
    if (answer(descriptor) < 0) return invalidSocket;
    knownEnds.forget(descriptor);
    return handleOf(descriptor);
  }

  template <class Value>
  static int setNative(SocketHandle handle, const Option& option, const Value& value) noexcept {
    return answer(
        ::setsockopt(descriptorOf(handle), option.nativeLevel, option.nativeName, &value, sizeof value));
  }

  template <class Value>
  static int getNative(SocketHandle handle, const Option& option, Value& value) noexcept {
    socklen_t size = sizeof value;
    return answer(::getsockopt(descriptorOf(handle), option.nativeLevel, option.nativeName, &value, &size));
  }
};

constinit PosixWinsock posixWinsock;

}  // namespace

constinit Winsock* currentWinsock = &posixWinsock;

Winsock& systemWinsock() noexcept {
  return posixWinsock;
}

}  // namespace tarvo::platform
