// The entry point of a DLL: static objects around the module's DllMain, as
// the Microsoft C runtime orders them. Constructed before DllMain sees the
// process attach; destroyed after it has seen the detach.

#include <windows.h>

#include "StaticObjects.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved);

extern "C" BOOL WINAPI _DllMainCRTStartup(HINSTANCE module, DWORD reason, LPVOID reserved) {
    if (reason == DLL_PROCESS_ATTACH) StaticObjects::Construct();
    const BOOL accepted = DllMain(module, reason, reserved);
    // A refused attach gets no detach notice: undo it now.
    if (reason == DLL_PROCESS_DETACH || (reason == DLL_PROCESS_ATTACH && !accepted)) StaticObjects::Destroy();
    return accepted;
}
