# 64-bit ARM Linux, cross-built with Debian's g++-aarch64-linux-gnu. The
# programs run under qemu-aarch64 (Debian qemu-user), which CTest puts in
# front of every test program, with the cross compiler's libraries as the
# emulated system's root. The cross compiler finds its headers and
# libraries under /usr/aarch64-linux-gnu by itself (no --sysroot); CMake
# looks for libraries, headers and packages there alone, and under any root
# given with -DCMAKE_FIND_ROOT_PATH (where a host installed Quorvan, say).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
list(APPEND CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64;-L;/usr/aarch64-linux-gnu)
