# Builds and runs a tiny host program against the installed package and with
# Quorvan added as a subdirectory, the two ways an engine takes it in.
#   -DQUORVAN_SOURCE -DQUORVAN_BUILD -DWORK -DTOOLCHAIN -DGENERATOR
#   -DMODES="package;subdirectory" (the ways to try)
#   -DINTERFACE=ON|OFF (whether the build has Quorvan.h)
#   -DEMULATOR="qemu-aarch64;-L;..." (what runs a cross build's programs)
file(REMOVE_RECURSE ${WORK})
set(prefix ${WORK}/prefix)
# What the host programs print: the interface's trace line, or the unit the
# thread-safe calls run on.
if(INTERFACE)
  set(expected "QUORVAN -- Version=6, Cpu=unknown, Mode=x87")
else()
  set(expected "vector unit NEON, x 2")
endif()

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE failed OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(failed)
    string(REPLACE ";" " " command "${ARGN}")
    message(FATAL_ERROR "${command}\n${out}")
  endif()
  set(output "${out}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${QUORVAN_BUILD} --prefix ${prefix})
foreach(mode IN LISTS MODES)
  set(build ${WORK}/${mode})
  run(${CMAKE_COMMAND} -S ${QUORVAN_SOURCE}/tests/consumer -B ${build} -G ${GENERATOR} -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN}
      -DQUORVAN_CONSUME=${mode} -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_FIND_ROOT_PATH=${prefix}
      -DQUORVAN_SOURCE=${QUORVAN_SOURCE}
      -DCMAKE_BUILD_TYPE=Release)
  run(${CMAKE_COMMAND} --build ${build})
  foreach(program consumer consumer_static)
    run(${EMULATOR} ${build}/${program})
    if(NOT output MATCHES "${expected}")
      message(FATAL_ERROR "${mode}/${program} did not print \"${expected}\":\n${output}")
    endif()
  endforeach()
  message(STATUS "${mode}: built and ran both consumers")
endforeach()
