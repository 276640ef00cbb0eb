#include <windows.h>

/// The loader calls this function. The library switches off the notifications about threads that start and
/// end: it does not need them, because another callback of the system releases the memory of a thread
/// (kelThreadBlock.cpp). For a library with thread-local data the system may refuse to switch them off; then
/// the library ignores them.
extern "C" BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, LPVOID /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) static_cast<void>(DisableThreadLibraryCalls(library));
  return TRUE;
}
