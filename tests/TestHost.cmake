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
  # 32-bit GCC unwinds with DWARF tables, 64-bit with Windows' own.
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    set(gccUnwinder libgcc_s_seh-1.dll)
  else()
    set(gccUnwinder libgcc_s_dw2-1.dll)
  endif()
  foreach(dll ${gccUnwinder} libstdc++-6.dll libwinpthread-1.dll)
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

# Registers a test program with CTest: its GoogleTest suites, or with PLAIN
# the program itself as one test. On Windows the DLLs it loads, and any given
# after the target, are copied beside it first.
function(quorvan_test_program target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "PLAIN" "" "")
  if(WIN32)
    add_custom_command(TARGET ${target} POST_BUILD
        COMMAND ${CMAKE_COMMAND} -E copy_if_different $<TARGET_FILE:QuorvanMemory> ${gccRuntime}
                ${arg_UNPARSED_ARGUMENTS} $<TARGET_FILE_DIR:${target}>)
    if(NOT QUORVAN_WINE)
      return()
    endif()
  endif()
  if(arg_PLAIN)
    add_test(NAME ${target} COMMAND ${target})
  elseif(WIN32)
    gtest_discover_tests(${target} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120
                         PROPERTIES FIXTURES_REQUIRED wine)
  else()
    gtest_discover_tests(${target} DISCOVERY_TIMEOUT 60)
  endif()
  if(arg_PLAIN AND WIN32)
    set_tests_properties(${target} PROPERTIES FIXTURES_REQUIRED wine)
  endif()
endfunction()
