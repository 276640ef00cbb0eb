#include <windows.h>

/// Called by the loader. The library needs no notifications of threads that start and end: a callback of the
/// system releases the memory of a thread (kelThreadBlock.cpp). The system may refuse to omit the
/// notifications for a library with thread-local data; then they are ignored.
extern "C" BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, LPVOID /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) static_cast<void>(DisableThreadLibraryCalls(library));
  return TRUE;
}
