#pragma once

// The few Win32 declarations the library, its host stand-ins and the module
// start-up code use; everything comes from kernel32.dll.

extern "C" {

typedef int BOOL;
typedef unsigned int UINT;
typedef unsigned long DWORD;
typedef void* LPVOID;
typedef const char* LPCSTR;
typedef struct HINSTANCE__* HINSTANCE;
typedef HINSTANCE HMODULE;

#define WINAPI __stdcall
#define TRUE 1
#define FALSE 0

#define DLL_PROCESS_DETACH 0
#define DLL_PROCESS_ATTACH 1
#define DLL_THREAD_ATTACH 2
#define DLL_THREAD_DETACH 3

#define GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT 0x2
#define GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS 0x4

// The value of an __except filter that takes the exception.
#define EXCEPTION_EXECUTE_HANDLER 1

__declspec(dllimport) BOOL WINAPI DisableThreadLibraryCalls(HMODULE module);
__declspec(dllimport) BOOL WINAPI GetModuleHandleExA(DWORD flags, LPCSTR name, HMODULE* module);

}  // extern "C"
