# The suite and the skinning digest once more on emulated processors, so that
# each processor-dependent path runs for real. Each row: the emulator's processor, the vector path run
# on it (-: none) and the feature bits (MMX 1, SSE 2, SSE2 4, 3DNow! 8) whose
# instructions the emulator runs although the processor does not report them.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  set(emulator qemu-i386)
  set(emulatedProcessors
      "pentium2|-|0" "pentium3|SSE|4" "athlon|SSE2|0" "Haswell|AVX2|0"
      "qemu32,vendor=AuthenticAMD,family=5,model=8|SSE2|0"
      "qemu32,vendor=AuthenticAMD,family=15,model=5|SSE2|0"
      "qemu32,vendor=GenuineIntel,family=6,model=2|SSE2|0"
      "qemu32,vendor=GenuineIntel,family=15,model=2|SSE2|0"
      "qemu32,vendor=CyrixInstead,family=6,model=0|SSE2|0"
      "qemu32,vendor=CentaurHauls,family=6,model=9|SSE2|0"
      "qemu32,vendor=GenuineTMx86,family=5,model=4|SSE2|0"
      "qemu32,vendor=NexGenDriven,family=5,model=0|SSE2|0")
elseif(CMAKE_CXX_FLAGS MATCHES "sanitize")
  # A sanitized program's shadow memory does not fit the emulator.
  return()
else()
  # The emulator has AVX2 but no AVX-512, so each path narrower than this
  # machine's runs for real somewhere.
  set(emulator qemu-x86_64)
  set(emulatedProcessors "Haswell|AVX2|0" "Nehalem|SSE2|0")
endif()
find_program(QEMU ${emulator})
if(NOT QEMU)
  message(STATUS "${emulator} not found (Debian: qemu-user): the suite does not run on emulated processors")
  return()
endif()

foreach(row IN LISTS emulatedProcessors)
  string(REPLACE "|" ";" fields "${row}")
  list(POP_FRONT fields cpu path untrapped)
  string(REGEX REPLACE "[,=]" "-" label "${cpu}")
  add_test(NAME emulated.${label} COMMAND ${QEMU} -cpu ${cpu} $<TARGET_FILE:QuorvanTests> --gtest_brief=1)
  set_tests_properties(emulated.${label} PROPERTIES LABELS emulated TIMEOUT 900
                       ENVIRONMENT "QUORVAN_EXPECT_VECTOR_PATH=${path};QUORVAN_UNTRAPPED_FEATURES=${untrapped}")
  # The digest wants a vector unit, and one processor of a kind is enough.
  if(TARGET SkinningDigestProgram AND NOT path STREQUAL "-" AND NOT cpu MATCHES "^qemu32")
    add_test(NAME digest.${label} COMMAND ${QEMU} -cpu ${cpu} $<TARGET_FILE:SkinningDigestProgram>
                                          ${PROJECT_SOURCE_DIR}/tests/digest/expected.txt)
    set_tests_properties(digest.${label} PROPERTIES LABELS emulated TIMEOUT 300)
  endif()
endforeach()
