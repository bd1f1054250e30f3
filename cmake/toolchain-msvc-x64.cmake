# 64-bit Windows DLLs with the Microsoft C++ ABI (x86_64-pc-windows-msvc), for
# hosts built with the Microsoft compiler, cross-built with Debian's clang and
# lld-link. No Microsoft SDK is involved: msvc-runtime/ holds the headers and
# the start-up code the library needs, over msvcrt.dll and kernel32.dll, whose
# import libraries come from MinGW-w64.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR AMD64)

# As on 32 bits, the Microsoft ABI's long double is a plain double, and the
# scalar arithmetic needs the x87 unit's 64-bit mantissa: clang 16 honours
# -mlong-double-80 for this target.
set(CMAKE_CXX_COMPILER clang++-16)
set(CMAKE_CXX_COMPILER_TARGET x86_64-pc-windows-msvc)
set(CMAKE_LINKER lld-link)
set(CMAKE_AR llvm-ar)
set(CMAKE_RANLIB llvm-ranlib)
# Debian's GNU objdump reads 64-bit Windows objects and images as well.
set(CMAKE_OBJDUMP objdump)

# Nothing here can link a program before the project's runtime exists.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

set(QUORVAN_MSVC_RUNTIME ${CMAKE_CURRENT_LIST_DIR}/msvc-runtime)
set(CMAKE_CXX_FLAGS_INIT
    "-fno-exceptions -fno-rtti -mlong-double-80 -isystem ${QUORVAN_MSVC_RUNTIME}/include")

# The runtime is the project's own: the default libraries the compiler names
# in each object (the Microsoft C runtime's) are ignored. (Exception handlers
# are found through each image's unwind tables on x64: there is no table of
# safe handlers to give up, as on 32 bits.)
set(mingwLibraries /usr/x86_64-w64-mingw32/lib)
set(CMAKE_CXX_STANDARD_LIBRARIES "${mingwLibraries}/libmsvcrt.a ${mingwLibraries}/libkernel32.a")
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-Xlinker /nodefaultlib")
endforeach()
