# 64-bit Windows, cross-built with MinGW-w64 (Debian g++-mingw-w64-x86-64);
# see MingwToolchain.cmake.
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(QUORVAN_MINGW_TRIPLET x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/MingwToolchain.cmake)
