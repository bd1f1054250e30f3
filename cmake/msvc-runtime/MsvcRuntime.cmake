# What the Microsoft C runtime would give each DLL and program of the build:
# the entry point that constructs and destroys the module's static objects
# around its DllMain (or main), atexit for those destructors, the allocation
# functions and _fltused. The C library itself is msvcrt.dll.
add_library(QuorvanMsvcRuntime STATIC
    ${CMAKE_CURRENT_LIST_DIR}/Allocation.cpp
    ${CMAKE_CURRENT_LIST_DIR}/DefaultDllMain.cpp
    ${CMAKE_CURRENT_LIST_DIR}/DllStartup.cpp
    ${CMAKE_CURRENT_LIST_DIR}/FloatingPoint.cpp
    ${CMAKE_CURRENT_LIST_DIR}/InitializerTable.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ProgramStartup.cpp
    ${CMAKE_CURRENT_LIST_DIR}/StaticObjects.cpp)
target_compile_options(QuorvanMsvcRuntime PRIVATE ${QUORVAN_ISA_BASE})

# quorvan_use_msvc_runtime(<DLL or program target>...)
function(quorvan_use_msvc_runtime)
  foreach(target IN LISTS ARGN)
    target_link_libraries(${target} PRIVATE QuorvanMsvcRuntime)
  endforeach()
endfunction()
