#include "support/posix/kelSystemCallsSeam.hpp"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdarg>
#include <utility>

namespace tarvo::test {
namespace {

thread_local SystemCalls* current = nullptr;

std::string optionCall(const char* call, int level, int option) {
  struct Row {
    int level;
    int option;
    const char* name;
  };
  constexpr Row rows[] = {{SOL_SOCKET, SO_TYPE, "TYPE"},
                          {SOL_SOCKET, SO_ERROR, "ERROR"},
                          {SOL_SOCKET, SO_REUSEADDR, "REUSEADDR"},
                          {IPPROTO_TCP, TCP_NODELAY, "NODELAY"}};
  for (const Row& row : rows) {
    if (row.level == level && row.option == option) return std::string(call) + "(" + row.name + ")";
  }
  return std::string(call) + "(" + std::to_string(level) + "," + std::to_string(option) + ")";
}

/// Makes a call unless it must fail. Allocates nothing while no SystemCalls object exists in this thread.
template <class Name, class Call>
auto made(const Name& nameOf, Call call) -> decltype(call()) {
  if (current == nullptr) return call();
  const std::string name = nameOf();
  int error = current->record(name);
  auto result = static_cast<decltype(call())>(-1);
  if (error == 0) {
    result = call();
    error = errno;
  }
  current->finish(name);
  errno = error;
  return result;
}

}  // namespace

SystemCalls::SystemCalls() {
  current = this;
}

SystemCalls::~SystemCalls() {
  current = nullptr;
}

std::string SystemCalls::take() {
  return std::exchange(calls_, {});
}

void SystemCalls::refuse(const std::string& call, int error) {
  rules_.push_back({call, error, nullptr, nullptr});
}

void SystemCalls::before(const std::string& call, std::function<void()> action) {
  rules_.push_back({call, 0, std::move(action), nullptr});
}

void SystemCalls::after(const std::string& call, std::function<void()> action) {
  rules_.push_back({call, 0, nullptr, std::move(action)});
}

void SystemCalls::finish(const std::string& call) const {
  for (const Rule& rule : rules_) {
    if (rule.call == call && rule.after != nullptr) rule.after();
  }
}

int SystemCalls::record(const std::string& call) {
  calls_ += (calls_.empty() ? "" : " ") + call;
  for (const Rule& rule : rules_) {
    if (rule.call != call) continue;
    if (rule.before != nullptr) rule.before();
    if (rule.error != 0) return rule.error;
  }
  return 0;
}

}  // namespace tarvo::test

using tarvo::test::made;
using tarvo::test::optionCall;

// The linker redirects the calls of the library and of the tests to these functions.
// NOLINTBEGIN(bugprone-reserved-identifier, cert-dcl50-cpp): names that the linker
// requires, and variadic functions of the system
extern "C" {
int __real_accept4(int descriptor, sockaddr* address, socklen_t* length, int flags);
int __real_close(int descriptor);
int __real_connect(int descriptor, const sockaddr* address, socklen_t length);
int __real_eventfd(unsigned int count, int flags);
int __real_fcntl(int descriptor, int command, ...);
int __real_getsockopt(int descriptor, int level, int option, void* value, socklen_t* length);
int __real_ioctl(int descriptor, unsigned long request, ...);
int __real_ppoll(pollfd* entries, nfds_t count, const timespec* timeout, const sigset_t* mask);
ssize_t __real_recv(int descriptor, void* bytes, size_t length, int flags);
ssize_t __real_send(int descriptor, const void* bytes, size_t length, int flags);
int __real_setsockopt(int descriptor, int level, int option, const void* value, socklen_t length);
int __real_shutdown(int descriptor, int how);
int __real_socket(int family, int type, int protocol);

int __wrap_accept4(int descriptor, sockaddr* address, socklen_t* length, int flags) {
  return made([] { return "accept4"; }, [&] { return __real_accept4(descriptor, address, length, flags); });
}
int __wrap_close(int descriptor) {
  return made([] { return "close"; }, [&] { return __real_close(descriptor); });
}
int __wrap_connect(int descriptor, const sockaddr* address, socklen_t length) {
  return made([] { return "connect"; }, [&] { return __real_connect(descriptor, address, length); });
}
int __wrap_eventfd(unsigned int count, int flags) {
  return made([] { return "eventfd"; }, [&] { return __real_eventfd(count, flags); });
}
int __wrap_fcntl(int descriptor, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  return made([] { return "fcntl"; }, [&] { return __real_fcntl(descriptor, command, argument); });
}
int __wrap_getsockopt(int descriptor, int level, int option, void* value, socklen_t* length) {
  return made([&] { return optionCall("getsockopt", level, option); },
              [&] { return __real_getsockopt(descriptor, level, option, value, length); });
}
int __wrap_ioctl(int descriptor, unsigned long request, ...) {
  va_list arguments;
  va_start(arguments, request);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  return made([] { return "ioctl"; }, [&] { return __real_ioctl(descriptor, request, argument); });
}
int __wrap_ppoll(pollfd* entries, nfds_t count, const timespec* timeout, const sigset_t* mask) {
  return made([] { return "ppoll"; }, [&] { return __real_ppoll(entries, count, timeout, mask); });
}
ssize_t __wrap_recv(int descriptor, void* bytes, size_t length, int flags) {
  return made([] { return "recv"; }, [&] { return __real_recv(descriptor, bytes, length, flags); });
}
ssize_t __wrap_send(int descriptor, const void* bytes, size_t length, int flags) {
  return made([] { return "send"; }, [&] { return __real_send(descriptor, bytes, length, flags); });
}
int __wrap_setsockopt(int descriptor, int level, int option, const void* value, socklen_t length) {
  return made([&] { return optionCall("setsockopt", level, option); },
              [&] { return __real_setsockopt(descriptor, level, option, value, length); });
}
int __wrap_shutdown(int descriptor, int how) {
  return made([] { return "shutdown"; }, [&] { return __real_shutdown(descriptor, how); });
}
int __wrap_socket(int family, int type, int protocol) {
  return made([] { return "socket"; }, [&] { return __real_socket(family, type, protocol); });
}
}
// NOLINTEND(bugprone-reserved-identifier, cert-dcl50-cpp)
