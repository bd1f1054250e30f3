// The DLL's entry point. Quorvan keeps no per-thread state, so it turns the
// thread attach and detach notices off.

#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) DisableThreadLibraryCalls(module);
    return TRUE;
}
