#include <windows.h>

/// Called by the loader. The library wants no word of threads that start and end: what it keeps for a thread is released
/// by the language's own runtime. The system may refuse that wish of a library with thread-local data; then the words
/// come, and are ignored.
extern "C" BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, LPVOID /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) static_cast<void>(DisableThreadLibraryCalls(library));
  return TRUE;
}
