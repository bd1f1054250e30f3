# The test programs are the host: HostCapture.cpp defines the debug service
# and keeps every report and trace line. On Linux the programs' own
# definitions take the library's calls. A Windows module imports the service
# from Debug.dll, so there the capture is a Debug.dll of the tests' own, which
# Windows finds beside the programs before the stand-in.
if(WIN32)
  # A report that throws unwinds from the capture through the library into
  # the test, which takes one GCC runtime for all of them: the shared one.
  # (The library's own DLLs keep their private copies.)
  foreach(kind EXE SHARED)
    string(REGEX REPLACE "-static(-libgcc|-libstdc\\+\\+)?" "" CMAKE_${kind}_LINKER_FLAGS "${CMAKE_${kind}_LINKER_FLAGS}")
  endforeach()
  set(gccRuntime)
  foreach(dll libgcc_s_dw2-1.dll libstdc++-6.dll libwinpthread-1.dll)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll}
                    OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
    list(APPEND gccRuntime ${path})
  endforeach()
  add_library(QuorvanTestHost SHARED HostCapture.cpp)
  set_target_properties(QuorvanTestHost PROPERTIES OUTPUT_NAME Debug PREFIX "")
  target_compile_definitions(QuorvanTestHost PRIVATE QUORVAN_HOST_BUILDING)
else()
  add_library(QuorvanTestHost OBJECT HostCapture.cpp)
endif()
target_include_directories(QuorvanTestHost PUBLIC ${PROJECT_SOURCE_DIR})

# Registers the suites of a test program with CTest. On Windows the DLLs it
# loads, and any given after the target, are copied beside it first.
function(quorvan_test_program target)
  if(NOT WIN32)
    gtest_discover_tests(${target} DISCOVERY_TIMEOUT 60)
    return()
  endif()
  add_custom_command(TARGET ${target} POST_BUILD
      COMMAND ${CMAKE_COMMAND} -E copy_if_different $<TARGET_FILE:QuorvanMemory> ${gccRuntime} ${ARGN}
              $<TARGET_FILE_DIR:${target}>)
  if(QUORVAN_WINE)
    gtest_discover_tests(${target} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120
                         PROPERTIES FIXTURES_REQUIRED wine)
  endif()
endfunction()
