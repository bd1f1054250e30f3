# 32-bit Windows DLLs with the Microsoft C++ ABI (i686-pc-windows-msvc); see
# MsvcToolchain.cmake.
set(CMAKE_SYSTEM_PROCESSOR i686)
set(QUORVAN_MSVC_TARGET i686-pc-windows-msvc)
set(QUORVAN_MINGW_TRIPLET i686-w64-mingw32)
# Without the Microsoft runtime's load configuration an image has no table of
# safe exception handlers, and the MinGW-w64 import stubs are not marked for
# one either.
set(QUORVAN_MSVC_LINK_FLAGS "-Xlinker /safeseh:no")
include(${CMAKE_CURRENT_LIST_DIR}/MsvcToolchain.cmake)
