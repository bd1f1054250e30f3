# 32-bit Windows, cross-built with MinGW-w64 (Debian g++-mingw-w64-i686); see
# MingwToolchain.cmake.
set(CMAKE_SYSTEM_PROCESSOR i686)
set(QUORVAN_MINGW_TRIPLET i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/MingwToolchain.cmake)
