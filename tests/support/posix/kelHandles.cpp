#include "support/kelHandles.hpp"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <iterator>
#include <memory>
#include <system_error>

namespace tarvo::test {
namespace {

void require(bool done, const char* what) {
  if (!done) throw std::system_error(errno, std::generic_category(), what);
}

template <class Value>
Value option(Handle handle, int level, int name) {
  Value value = {};
  socklen_t size = sizeof value;
  require(::getsockopt(static_cast<int>(handle), level, name, &value, &size) == 0, "getsockopt");
  return value;
}

unsigned long long milliseconds(const timeval& time) {
  return static_cast<unsigned long long>(1000LL * time.tv_sec + time.tv_usec / 1000);
}

using AddressList = std::unique_ptr<addrinfo, void (*)(addrinfo*)>;

AddressList lookUp(const std::string& name, int& code) {
  addrinfo hints = {};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* list = nullptr;
  code = ::getaddrinfo(name.c_str(), "1", &hints, &list);
  return {list, [](addrinfo* first) {
            if (first != nullptr) ::freeaddrinfo(first);
          }};
}

int winsockCode(int code) {
  switch (code) {
    case 0:
      return 0;
    case EAI_NONAME:
    case EAI_NODATA:
      return 11001;
    case EAI_AGAIN:
      return 11002;
    case EAI_FAIL:
      return 11003;
    default:
      throw std::runtime_error(std::string("a resolver's answer of no use here: ") + ::gai_strerror(code));
  }
}

}  // namespace

std::size_t openDescriptors() {
  const auto all = std::filesystem::directory_iterator("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(all), end(all))) - 1;  // without the list's descriptor
}

bool noDelay(Handle handle) {
  return option<int>(handle, IPPROTO_TCP, TCP_NODELAY) != 0;
}

bool isBlocking(Handle handle) {
  const int flags = ::fcntl(static_cast<int>(handle), F_GETFL);
  require(flags != -1, "fcntl");
  return (flags & O_NONBLOCK) == 0;
}

unsigned long long receiveTimeout(Handle handle) {
  return milliseconds(option<timeval>(handle, SOL_SOCKET, SO_RCVTIMEO));
}

unsigned long long sendTimeout(Handle handle) {
  return milliseconds(option<timeval>(handle, SOL_SOCKET, SO_SNDTIMEO));
}

bool hasNoFurtherOptions(Handle handle) {
  return option<int>(handle, SOL_SOCKET, SO_KEEPALIVE) == 0 &&
         option<linger>(handle, SOL_SOCKET, SO_LINGER).l_onoff == 0 &&
         option<int>(handle, SOL_SOCKET, SO_REUSEADDR) == 0;
}

bool takesRefusal(Handle handle) {
  return option<int>(handle, SOL_SOCKET, SO_ERROR) == ECONNREFUSED;
}

void closeDirectly(Handle handle) {
  require(::close(static_cast<int>(handle)) == 0, "close");
}

Resolution resolve(const std::string& name) {
  int code = 0;
  const AddressList list = lookUp(name, code);
  return {winsockCode(code), ::gai_strerror(code == EAI_NODATA ? EAI_NONAME : code)};
}

std::string unknownNameText() {
  return ::gai_strerror(EAI_NONAME);
}

std::vector<Family> familiesOf(const std::string& name) {
  int code = 0;
  const AddressList list = lookUp(name, code);
  std::vector<Family> families;
  for (const addrinfo* entry = list.get(); entry != nullptr; entry = entry->ai_next)
    families.push_back(entry->ai_family == AF_INET ? Family::ipv4 : Family::ipv6);
  return families;
}

bool allowDescriptors(std::size_t count) {
  rlimit limit = {};
  require(::getrlimit(RLIMIT_NOFILE, &limit) == 0, "getrlimit");
  if (limit.rlim_cur >= count) return true;
  limit.rlim_cur = count;
  return ::setrlimit(RLIMIT_NOFILE, &limit) == 0;
}

HighHandles::HighHandles() {
  constexpr int floor = 1100;
  require(allowDescriptors(2 * floor), "setrlimit");
  do {
    fillers_.push_back(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    require(fillers_.back() != -1, "open");
  } while (fillers_.back() < floor);
}

HighHandles::~HighHandles() {
  for (const int filler : fillers_) ::close(filler);
}

}  // namespace tarvo::test
