#include "support/kelSignals.hpp"

#include <windows.h>

#include <stdexcept>

// No SignalStorm: nothing interrupts a thread's calls here.

namespace tarvo::test {
namespace {

/// Where a thread stands: while it is inside a system call, at the one instruction in the system's library that made
/// it.
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
  // NOLINTNEXTLINE(performance-no-int-to-ptr): an address is asked for
  return ::GetModuleHandleExW(
             GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
             reinterpret_cast<const wchar_t*>(place.instruction), &found) != 0 &&
         found == ::GetModuleHandleW(L"ntdll.dll");
}

}  // namespace

// There is no such signal here, and so nothing that a library would have to keep from its callers.
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
  constexpr int enough = 20;  // calls that return are made from other places in between
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
