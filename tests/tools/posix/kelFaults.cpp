// A library that is loaded before the C library (LD_PRELOAD), so that calls of the system fail in the tool.
// KELINFRA_FAULT names the call and the error number: "write 28". "fsync 0" lets the call succeed, and
// appends a line to the file that KELINFRA_FAULT_FILE names, as another program could do at that time.
// "clock_gettime 600" lets the monotonic clock begin at 0 and advance by 600 ms with each call.
#include <dlfcn.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

/// The error number for the call. -1 if the call shall work.
int faultOf(const char* call) {
  const char* const fault = std::getenv("KELINFRA_FAULT");
  const std::size_t length = std::strlen(call);
  const bool isMeant = fault != nullptr && std::strncmp(fault, call, length) == 0 && fault[length] == ' ';
  return isMeant ? std::atoi(fault + length) : -1;
}

template <class... Arguments>
auto next(const char* call, Arguments... arguments) {
  const auto function = reinterpret_cast<int (*)(Arguments...)>(dlsym(RTLD_NEXT, call));
  return function(arguments...);
}

int failed(int error) {
  errno = error;
  return -1;
}

}  // namespace

extern "C" {

int mkstemp(char* name) {
  const int error = faultOf("mkstemp");
  return error < 0 ? next("mkstemp", name) : failed(error);
}

int fchown(int descriptor, uid_t user, gid_t group) {
  const int error = faultOf("fchown");
  return error < 0 ? next("fchown", descriptor, user, group) : failed(error);
}

int rename(const char* from, const char* to) noexcept {
  const int error = faultOf("rename");
  return error < 0 ? next("rename", from, to) : failed(error);
}

ssize_t write(int descriptor, const void* bytes, std::size_t count) {
  const int error = faultOf("write");
  if (error >= 0) return failed(error);
  return reinterpret_cast<decltype(&write)>(dlsym(RTLD_NEXT, "write"))(descriptor, bytes, count);
}

int clock_gettime(clockid_t clock, struct timespec* now) noexcept {
  static long long milliseconds = 0;
  const int step = clock == CLOCK_MONOTONIC ? faultOf("clock_gettime") : -1;
  if (step < 0) return next("clock_gettime", clock, now);
  now->tv_sec = static_cast<time_t>(milliseconds / 1000);
  now->tv_nsec = static_cast<long>(milliseconds % 1000 * 1000000);
  milliseconds += step;
  return 0;
}

int fsync(int descriptor) {
  const int error = faultOf("fsync");
  if (error > 0) return failed(error);
  if (error == 0) {
    std::FILE* const file = std::fopen(std::getenv("KELINFRA_FAULT_FILE"), "a");
    std::fputs("other=1\n", file);
    std::fclose(file);
  }
  return next("fsync", descriptor);
}

}  // extern "C"
