# What both MinGW-w64 toolchain files share. The including file sets
# QUORVAN_MINGW_TRIPLET (i686-w64-mingw32 or x86_64-w64-mingw32).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_C_COMPILER ${QUORVAN_MINGW_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${QUORVAN_MINGW_TRIPLET}-g++-posix)
set(CMAKE_RC_COMPILER ${QUORVAN_MINGW_TRIPLET}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${QUORVAN_MINGW_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# The DLLs carry their own copy of the GCC runtime, so a host needs no
# MinGW DLLs beside them.
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static-libgcc -static-libstdc++ -static")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static-libgcc -static-libstdc++ -static")
