// The load hook of Windows: called on process and thread attach and detach, it does nothing and reports success. Other
// platforms have no hook: nothing of this library runs when it is loaded.
#if defined(_WIN32)
#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD, LPVOID);

BOOL WINAPI DllMain(HINSTANCE, DWORD, LPVOID) {
  return TRUE;
}
#endif
