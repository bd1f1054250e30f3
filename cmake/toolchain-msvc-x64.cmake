# 64-bit Windows DLLs with the Microsoft C++ ABI (x86_64-pc-windows-msvc); see
# MsvcToolchain.cmake. Exception handlers are found through each image's
# unwind tables on x64: there is no table of safe handlers to give up.
set(CMAKE_SYSTEM_PROCESSOR AMD64)
set(QUORVAN_MSVC_TARGET x86_64-pc-windows-msvc)
set(QUORVAN_MINGW_TRIPLET x86_64-w64-mingw32)
set(QUORVAN_MSVC_LINK_FLAGS "")
include(${CMAKE_CURRENT_LIST_DIR}/MsvcToolchain.cmake)
