# The 32-bit suite once more on each emulated processor. Each row: the
# emulator's processor, the name the library must give it, the implementation
# it must choose, the feature bits it reports (MMX 1, SSE 2, SSE2 4,
# 3DNow! 8), the vector path the implementation runs (- for none), and the
# feature bits the emulator runs all the same.
find_program(QEMU_I386 qemu-i386)
if(NOT QEMU_I386)
  message(STATUS "qemu-i386 not found (Debian: qemu-user): the suite does not run on emulated processors")
  return()
endif()

set(emulatedProcessors
    "pentium2|INTEL Pentium-II:f=6,m=5|x87|1|-"
    "pentium3|INTEL Pentium-III:f=6,m=7|SSE|3|SSE|4"
    "athlon|AMD Athlon:f=6,m=2|SSE|15|SSE2"
    "Haswell|unknown:f=6,m=12|SSE|7|AVX2"
    "qemu32,vendor=AuthenticAMD,family=5,model=8|AMD K6-2:f=5,m=8|SSE|7|SSE2"
    "qemu32,vendor=AuthenticAMD,family=15,model=5|AMD Athlon 64 FX:f=15,m=5|SSE|7|SSE2"
    "qemu32,vendor=GenuineIntel,family=6,model=2|unknown:f=6,m=2|SSE|7|SSE2"
    "qemu32,vendor=GenuineIntel,family=15,model=2|INTEL Pentium-IV:f=15,m=2|SSE|7|SSE2"
    "qemu32,vendor=CyrixInstead,family=6,model=0|Cyrix:f=6,m=0|SSE|7|SSE2"
    "qemu32,vendor=CentaurHauls,family=6,model=9|Centaur:f=6,m=9|SSE|7|SSE2"
    "qemu32,vendor=GenuineTMx86,family=5,model=4|Transmeta Crusoe:f=5,m=4|SSE|7|SSE2"
    "qemu32,vendor=NexGenDriven,family=5,model=0|unknown:f=5,m=0|SSE|7|SSE2")

foreach(row IN LISTS emulatedProcessors)
  string(REPLACE "|" ";" fields "${row}")
  list(GET fields 0 cpu)
  list(GET fields 1 name)
  list(GET fields 2 mode)
  list(GET fields 3 features)
  list(GET fields 4 path)
  set(untrapped 0)
  list(LENGTH fields columns)
  if(columns GREATER 5)
    list(GET fields 5 untrapped)
  endif()
  string(REGEX REPLACE "[,=]" "-" label "${cpu}")
  add_test(NAME emulated.${label}
           COMMAND ${QEMU_I386} -cpu ${cpu} $<TARGET_FILE:QuorvanTests> --gtest_brief=1)
  set_tests_properties(emulated.${label} PROPERTIES
      LABELS emulated
      TIMEOUT 900
      ENVIRONMENT "QUORVAN_EXPECT_CPU_NAME=${name};QUORVAN_EXPECT_MODE=${mode};QUORVAN_EXPECT_FEATURES=${features};QUORVAN_UNTRAPPED_FEATURES=${untrapped};QUORVAN_EXPECT_VECTOR_PATH=${path}")
endforeach()
