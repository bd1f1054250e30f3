# 32-bit x86 Linux with the host compiler (Debian g++-12-multilib). The result
# runs natively on x86-64 and under qemu-i386, so CMake treats it as a native
# build and tests run directly.
#
# The kernel's asm headers are found through /usr/include/asm, a link that
# Debian's gcc-multilib package makes and that cannot be installed beside the
# aarch64 cross compiler; the x86-64 ones serve 32-bit code as well.
set(CMAKE_C_FLAGS_INIT "-m32 -idirafter /usr/include/x86_64-linux-gnu")
set(CMAKE_CXX_FLAGS_INIT "-m32 -idirafter /usr/include/x86_64-linux-gnu")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-m32")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-m32")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-m32")
set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)
set(CMAKE_SYSTEM_PROCESSOR i686)
