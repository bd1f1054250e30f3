// The DllMain of a DLL that has nothing to do at load or unload besides its
// static objects. Linked only when the DLL defines none of its own.

#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD, LPVOID) { return TRUE; }
