# Instruction sets per translation unit. On 32-bit x86 the library runs on
# processors from the Pentium II on: everything is plain i686 with x87
# arithmetic unless a source file is marked for a vector extension. On x86-64,
# SSE2 is the baseline and cannot be taken away; only 3DNow! needs a flag.

if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  set(QUORVAN_ISA_BASE -march=i686 -mtune=generic -mfpmath=387 -mno-mmx -mno-sse)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    # clang refuses -mfpmath=387 beside a file's -msse; without SSE it
    # computes on the x87 unit anyway.
    list(REMOVE_ITEM QUORVAN_ISA_BASE -mfpmath=387)
  endif()
  set(QUORVAN_ISA_SSE -mmmx -msse -mno-sse2)
  set(QUORVAN_ISA_SSE2 -mmmx -msse -msse2)
  set(QUORVAN_ISA_3DNOW -mmmx -m3dnow -mno-sse)
else()
  set(QUORVAN_ISA_BASE)
  set(QUORVAN_ISA_SSE)
  set(QUORVAN_ISA_SSE2)
  set(QUORVAN_ISA_3DNOW -m3dnow)
endif()
# The wide paths, on both: their own vector units and nothing more (no fused
# multiply-add, whatever the processor has).
set(QUORVAN_ISA_AVX2 -mmmx -msse -msse2 -mavx -mavx2 -mno-fma)
set(QUORVAN_ISA_AVX512 ${QUORVAN_ISA_AVX2} -mavx512f -mavx512vl -mavx512bw -mavx512dq)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # GCC's own AVX-512 intrinsics start from deliberately undefined lanes and
  # then warn that they may be used uninitialised.
  list(APPEND QUORVAN_ISA_AVX512 -Wno-maybe-uninitialized)
endif()

# quorvan_instruction_set(<SSE|SSE2|3DNOW|AVX2|AVX512> <source>...)
function(quorvan_instruction_set isa)
  set_property(SOURCE ${ARGN} APPEND PROPERTY COMPILE_OPTIONS ${QUORVAN_ISA_${isa}})
endfunction()
