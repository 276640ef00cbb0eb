#include <windows.h>

/// The loader calls this function. The function switches off the notifications about threads that start and
/// end. The library does not need these notifications, because another callback of the system releases the
/// memory of a thread (kelThreadBlock.cpp). If the library has thread-local data, the system may refuse to
/// switch off the notifications; then the library ignores the notifications.
extern "C" BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, LPVOID /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) static_cast<void>(DisableThreadLibraryCalls(library));
  return TRUE;
}
