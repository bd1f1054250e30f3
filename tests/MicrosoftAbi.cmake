# What a host compiled with the Microsoft compiler relies on, checked without
# Windows, then its programs run under Wine.
find_program(LLVM_READOBJ llvm-readobj REQUIRED)

add_test(NAME virtual-tables
         COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/windows-host/check-virtual-tables.sh ${LLVM_READOBJ}
                 ${CMAKE_CURRENT_SOURCE_DIR}/exports/${windowsBuild}-virtual-table.txt "$<TARGET_OBJECTS:QuorvanObjects>"
         COMMAND_EXPAND_LISTS)

# Linking it against Quorvan.lib checks that no symbol stays unresolved.
add_subdirectory(windows-host)
if(NOT QUORVAN_WINE)
  return()
endif()
if(CMAKE_SIZEOF_VOID_P EQUAL 8)
  set(linuxTwin x86_64)
else()
  set(linuxTwin i386)
endif()
add_test(NAME windows-host.wine
         COMMAND ${CMAKE_COMMAND} -DWINE=${WINE} -DHOST=$<TARGET_FILE:HostRun> -DTWIN=${linuxTwin}
                 -DQUORVAN_SOURCE=${PROJECT_SOURCE_DIR}
                 -DWORK=${CMAKE_CURRENT_BINARY_DIR}/windows-host -DGENERATOR=${CMAKE_GENERATOR}
                 -P ${CMAKE_CURRENT_SOURCE_DIR}/windows-host/RunUnderWine.cmake)
set_tests_properties(windows-host.wine PROPERTIES TIMEOUT 900 RUN_SERIAL TRUE FIXTURES_REQUIRED wine
                     ENVIRONMENT "${QUORVAN_WINE_ENVIRONMENT}")
add_test(NAME windows-host.probe-faults COMMAND ProbeFaults)
set_tests_properties(windows-host.probe-faults PROPERTIES SKIP_REGULAR_EXPRESSION "SKIPPED:" FIXTURES_REQUIRED wine)
