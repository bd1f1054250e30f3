# Runs the Windows host program under Wine and its Linux build of the same
# width natively: both must pass their checks, print the same lines (the
# trace line's time aside) and make the same reports. Wine's prefix and
# settings come from the environment.
#   -DWINE=<wine> -DHOST=<HostRun.exe> -DTWIN=i386|x86_64 -DQUORVAN_SOURCE=<source tree> -DWORK=<directory>
#   -DGENERATOR=<generator>

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE failed OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(failed)
    string(REPLACE ";" " " command "${ARGN}")
    message(FATAL_ERROR "${command} failed (${failed}):\n${out}\n${err}")
  endif()
  set(output "${out}" PARENT_SCOPE)
  set(errors "${err}" PARENT_SCOPE)
endfunction()

# The lines the two programs must agree on: what they print, and their
# reports, which go to standard error among whatever else the system says.
function(report output errors variable)
  string(REPLACE "\r" "" output "${output}")
  string(REGEX REPLACE "\\[[^\n]*\\] (QUORVAN -- [^\n]*\n)" "\\1" output "${output}")
  if(NOT output MATCHES "host checks passed\n$")
    message(FATAL_ERROR "the host's checks failed:\n${output}")
  endif()
  string(REPLACE "\r" "" errors "${errors}")
  string(REGEX MATCHALL "[^\n]*FATAL: [^\n]*\n" reports "${errors}")
  list(JOIN reports "" reports)
  set(${variable} "${output}${reports}" PARENT_SCOPE)
endfunction()

set(linux ${WORK}/linux-${TWIN})
set(toolchain)
if(TWIN STREQUAL "i386")
  set(toolchain -DCMAKE_TOOLCHAIN_FILE=${QUORVAN_SOURCE}/cmake/toolchain-linux-i386.cmake)
endif()
run(${CMAKE_COMMAND} -S ${QUORVAN_SOURCE}/tests/windows-host -B ${linux} -G ${GENERATOR} ${toolchain}
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQUORVAN_SOURCE=${QUORVAN_SOURCE})
run(${CMAKE_COMMAND} --build ${linux} --target HostRun)
run(${linux}/HostRun)
report("${output}" "${errors}" expected)

run(${WINE} ${HOST})
report("${output}" "${errors}" actual)

# Where they differ, diff shows the lines of each side.
file(WRITE ${WORK}/linux-${TWIN}.txt "${expected}")
file(WRITE ${WORK}/windows.txt "${actual}")
execute_process(COMMAND diff -u ${WORK}/linux-${TWIN}.txt ${WORK}/windows.txt OUTPUT_VARIABLE difference
                RESULT_VARIABLE differs)
if(differs)
  message(FATAL_ERROR "Under Wine the host printed other lines than on Linux ${TWIN}:\n${difference}")
endif()
message(STATUS "Under Wine the host printed the same lines as on Linux ${TWIN}")
