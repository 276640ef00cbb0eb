#include "support/kelSignals.hpp"

#include <windows.h>

#include <stdexcept>

// There is no SignalStorm here: on Windows, no signal interrupts the calls of a thread.

namespace tarvo::test {
namespace {

/// The instruction at which a thread is. During a system call this is the instruction in the system's library
/// that made the call.
struct Place {
  DWORD64 instruction = 0;
  DWORD64 stack = 0;

  friend bool operator==(const Place&, const Place&) = default;
};

Place placeOf(HANDLE thread) {
  CONTEXT context = {};
  context.ContextFlags = CONTEXT_CONTROL;
  if (::SuspendThread(thread) == static_cast<DWORD>(-1)) throw std::runtime_error("cannot suspend a thread");
  const BOOL got = ::GetThreadContext(thread, &context);
  ::ResumeThread(thread);
  if (got == 0) throw std::runtime_error("cannot look at a thread");
  return {context.Rip, context.Rsp};
}

bool isInSystemLibrary(const Place& place) {
  HMODULE found = nullptr;
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the function takes an address
  return ::GetModuleHandleExW(
             GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
             reinterpret_cast<const wchar_t*>(place.instruction), &found) != 0 &&
         found == ::GetModuleHandleW(L"ntdll.dll");
}

}  // namespace

// Windows has no SIGPIPE, so there is nothing to count.
BrokenPipeWatch::BrokenPipeWatch() = default;
BrokenPipeWatch::~BrokenPipeWatch() = default;
int BrokenPipeWatch::count() const {
  return 0;
}

ThreadView::ThreadView() : id_(static_cast<int>(::GetCurrentThreadId())) {}

void ThreadView::awaitWaiting() const {
  const HANDLE thread =
      ::OpenThread(THREAD_SUSPEND_RESUME | THREAD_GET_CONTEXT, FALSE, static_cast<DWORD>(id_));
  if (thread == nullptr) throw std::runtime_error("no such thread");
  constexpr int enough = 20;  // a call that returns is followed by other instructions
  Place last;
  for (int same = 0; same < enough;) {
    const Place place = placeOf(thread);
    same = isInSystemLibrary(place) && place == last ? same + 1 : 0;
    last = place;
    ::SwitchToThread();
  }
  ::CloseHandle(thread);
}

}  // namespace tarvo::test
