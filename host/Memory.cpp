// Stand-in for the host's memory library: it remembers the module handle and
// leaves allocation to the C++ runtime.

#include "Memory.h"

#if defined(_WIN32)
#  include <windows.h>
#else
#  include <dlfcn.h>
#endif

MMOverloads::MMOverloads(void* module) : m_module(module) {}

MMOverloads::~MMOverloads() = default;

void* MMAPIHook::ModuleFromAddress(void* address) {
#if defined(_WIN32)
    HMODULE module = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                           GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       static_cast<LPCSTR>(address), &module);
    return module;
#else
    Dl_info info{};
    return dladdr(address, &info) ? info.dli_fbase : nullptr;
#endif
}
