# The suite once more on emulated processors. Each row: the emulator's
# processor, the vector path the implementation runs on it (- for none), the
# name the library must give it, the implementation it must choose, the
# feature bits it reports (MMX 1, SSE 2, SSE2 4, 3DNow! 8) and the feature
# bits the emulator runs all the same.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  set(emulator qemu-i386)
  set(emulatedProcessors
      "pentium2|-|INTEL Pentium-II:f=6,m=5|x87|1|0"
      "pentium3|SSE|INTEL Pentium-III:f=6,m=7|SSE|3|4"
      "athlon|SSE2|AMD Athlon:f=6,m=2|SSE|15|0"
      "Haswell|AVX2|unknown:f=6,m=12|SSE|7|0"
      "qemu32,vendor=AuthenticAMD,family=5,model=8|SSE2|AMD K6-2:f=5,m=8|SSE|7|0"
      "qemu32,vendor=AuthenticAMD,family=15,model=5|SSE2|AMD Athlon 64 FX:f=15,m=5|SSE|7|0"
      "qemu32,vendor=GenuineIntel,family=6,model=2|SSE2|unknown:f=6,m=2|SSE|7|0"
      "qemu32,vendor=GenuineIntel,family=15,model=2|SSE2|INTEL Pentium-IV:f=15,m=2|SSE|7|0"
      "qemu32,vendor=CyrixInstead,family=6,model=0|SSE2|Cyrix:f=6,m=0|SSE|7|0"
      "qemu32,vendor=CentaurHauls,family=6,model=9|SSE2|Centaur:f=6,m=9|SSE|7|0"
      "qemu32,vendor=GenuineTMx86,family=5,model=4|SSE2|Transmeta Crusoe:f=5,m=4|SSE|7|0"
      "qemu32,vendor=NexGenDriven,family=5,model=0|SSE2|unknown:f=5,m=0|SSE|7|0")
elseif(CMAKE_CXX_FLAGS MATCHES "sanitize")
  # A sanitized program's shadow memory does not fit the emulator.
  return()
else()
  # The emulator has AVX2 but no AVX-512, so each path narrower than this
  # machine's runs for real somewhere.
  set(emulator qemu-x86_64)
  set(emulatedProcessors "Haswell|AVX2|unknown:f=6,m=12|SSE|7|0" "Nehalem|SSE2|INTEL Pentium-III:f=6,m=10|SSE|7|0")
endif()
find_program(QEMU ${emulator})
if(NOT QEMU)
  message(STATUS "${emulator} not found (Debian: qemu-user): the suite does not run on emulated processors")
  return()
endif()

foreach(row IN LISTS emulatedProcessors)
  string(REPLACE "|" ";" fields "${row}")
  list(POP_FRONT fields cpu path name mode features untrapped)
  string(REGEX REPLACE "[,=]" "-" label "${cpu}")
  add_test(NAME emulated.${label} COMMAND ${QEMU} -cpu ${cpu} $<TARGET_FILE:QuorvanTests> --gtest_brief=1)
  set_tests_properties(emulated.${label} PROPERTIES LABELS emulated TIMEOUT 900 ENVIRONMENT
      "QUORVAN_EXPECT_VECTOR_PATH=${path};QUORVAN_EXPECT_CPU_NAME=${name};QUORVAN_EXPECT_MODE=${mode};\
QUORVAN_EXPECT_FEATURES=${features};QUORVAN_UNTRAPPED_FEATURES=${untrapped}")
endforeach()
