# What both Microsoft-ABI toolchain files share: Windows DLLs for hosts built
# with the Microsoft compiler, cross-built with Debian's clang and lld-link.
# No Microsoft SDK is involved: msvc-runtime/ holds the headers and the
# start-up code the library needs, over msvcrt.dll and kernel32.dll, whose
# import libraries come from MinGW-w64. The including file sets
#   QUORVAN_MSVC_TARGET     the compiler's target triple
#   QUORVAN_MINGW_TRIPLET   the MinGW-w64 triplet whose import libraries it links
#   QUORVAN_MSVC_LINK_FLAGS linker flags of its own (may be empty)
set(CMAKE_SYSTEM_NAME Windows)

# The Microsoft ABI's long double is a plain double, and the scalar
# arithmetic needs the x87 unit's 64-bit mantissa: clang 16 is the first that
# honours -mlong-double-80 for these targets.
set(CMAKE_CXX_COMPILER clang++-16)
set(CMAKE_CXX_COMPILER_TARGET ${QUORVAN_MSVC_TARGET})
set(CMAKE_LINKER lld-link)
set(CMAKE_AR llvm-ar)
set(CMAKE_RANLIB llvm-ranlib)
# Debian's GNU objdump reads Windows objects and images as well.
set(CMAKE_OBJDUMP objdump)

# Nothing here can link a program before the project's runtime exists.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

set(QUORVAN_MSVC_RUNTIME ${CMAKE_CURRENT_LIST_DIR}/msvc-runtime)
set(CMAKE_CXX_FLAGS_INIT
    "-fno-exceptions -fno-rtti -mlong-double-80 -isystem ${QUORVAN_MSVC_RUNTIME}/include")

# The runtime is the project's own: the default libraries the compiler names
# in each object (the Microsoft C runtime's) are ignored.
set(mingwLibraries /usr/${QUORVAN_MINGW_TRIPLET}/lib)
set(CMAKE_CXX_STANDARD_LIBRARIES "${mingwLibraries}/libmsvcrt.a ${mingwLibraries}/libkernel32.a")
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-Xlinker /nodefaultlib ${QUORVAN_MSVC_LINK_FLAGS}")
endforeach()
