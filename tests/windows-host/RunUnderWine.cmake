# Runs the Windows host program under Wine and its Linux i386 build natively:
# both must pass their checks and print the same lines but the trace line,
# which carries the time. Wine's prefix and settings come from the environment.
#   -DWINE=<wine> -DHOST=<HostRun.exe> -DQUORVAN_SOURCE=<source tree> -DWORK=<directory> -DGENERATOR=<generator>

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE failed OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(failed)
    string(REPLACE ";" " " command "${ARGN}")
    message(FATAL_ERROR "${command} failed (${failed}):\n${out}\n${err}")
  endif()
  set(output "${out}" PARENT_SCOPE)
endfunction()

# The lines the two programs must agree on.
function(report output variable)
  string(REPLACE "\r" "" output "${output}")
  string(REGEX REPLACE "\\[[^\n]*\\] QUORVAN -- [^\n]*\n" "" output "${output}")
  if(NOT output MATCHES "host checks passed\n$")
    message(FATAL_ERROR "the host's checks failed:\n${output}")
  endif()
  set(${variable} "${output}" PARENT_SCOPE)
endfunction()

set(linux ${WORK}/linux-i386)
run(${CMAKE_COMMAND} -S ${QUORVAN_SOURCE}/tests/windows-host -B ${linux} -G ${GENERATOR}
    -DCMAKE_TOOLCHAIN_FILE=${QUORVAN_SOURCE}/cmake/toolchain-linux-i386.cmake
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQUORVAN_SOURCE=${QUORVAN_SOURCE})
run(${CMAKE_COMMAND} --build ${linux} --target HostRun)
run(${linux}/HostRun)
report("${output}" expected)

run(${WINE} ${HOST})
report("${output}" actual)

# Where they differ, diff shows the lines of each side.
file(WRITE ${WORK}/linux-i386.txt "${expected}")
file(WRITE ${WORK}/windows.txt "${actual}")
execute_process(COMMAND diff -u ${WORK}/linux-i386.txt ${WORK}/windows.txt OUTPUT_VARIABLE difference
                RESULT_VARIABLE differs)
if(differs)
  message(FATAL_ERROR "Under Wine the host printed other lines than on Linux i386:\n${difference}")
endif()
message(STATUS "Under Wine the host printed the same lines as on Linux i386")
