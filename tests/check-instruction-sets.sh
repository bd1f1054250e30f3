#!/usr/bin/env bash
# Reads the machine code of the library's 32-bit objects and proves that
#   - the frame, the scalar implementation and the choice of vector path (it
#     runs before any path is known to work) use no MMX or SSE register;
#   - the vector implementation uses SSE and MMX, but no SSE2 instruction;
#   - the 3DNow! path uses MMX and 3DNow!, no SSE register;
#   - no inline function is shared between objects built for different sets.
# Usage: check-instruction-sets.sh <objdump> <object>...
set -euo pipefail
objdump=$1
shift

# Every SSE instruction that takes an XMM register; anything else with an XMM
# operand is SSE2 or later.
sse1='^(movaps|movups|movss|movlps|movhps|movlhps|movhlps|addps|addss|subps|subss|mulps|mulss|divps|divss|sqrtps|sqrtss|rsqrtps|rsqrtss|rcpps|rcpss|maxps|maxss|minps|minss|cmp[a-z]*ps|cmp[a-z]*ss|andps|andnps|orps|xorps|shufps|unpcklps|unpckhps|cvtpi2ps|cvtps2pi|cvttps2pi|cvtsi2ss[lw]?|cvtss2si[lw]?|cvttss2si[lw]?|comiss|ucomiss|movmskps|movntps)$'
# SSE2 instructions that work on MMX or general registers.
sse2NoXmm='^(paddq|psubq|pmuludq|movq2dq|movdq2q|movnti|clflush|lfence|mfence|maskmovdqu)$'

failed=0
check() {  # <object> <rule>
    local listing bad="" what=""
    listing=$("$objdump" -d --no-show-raw-insn "$1" | awk -F'\t' 'NF >= 2 && $1 ~ /^ *[0-9a-f]+:$/ { print $2 }')
    case $2 in
    x87) what="vector registers in scalar code" bad=$(grep -E '%x?mm[0-9]' <<<"$listing" || true) ;;
    3dnow) what="SSE registers in the 3DNow! path" bad=$(grep -E '%xmm[0-9]' <<<"$listing" || true) ;;
    sse) what="SSE2 in the SSE implementation"
         bad=$(awk -v sse1="$sse1" -v sse2="$sse2NoXmm" '$1 ~ sse2 || ($0 ~ /%xmm/ && $1 !~ sse1)' <<<"$listing") ;;
    esac
    [ -z "$bad" ] || { echo "FAIL $1: $what:"; head -5 <<<"$bad"; failed=1; }
}

instructionSet() {  # <object>: the instruction sets it is built for
    case $1 in
    */ProcessorProbe*) echo probes ;;   # the guarded test instructions
    */simd/Quorvan_SSE2* | */simd/x86/Sse2*) echo sse2 ;;  # SSE2 is their point
    */simd/x86/Avx2*) echo avx2 ;;
    */simd/x86/Avx512*) echo avx512 ;;
    */simd/x86/VectorPath* | */simd/x86/VectorKernels* | */simd/shared/QuorvanSkinning* | */simd/shared/SkinningRanges*) echo x87 ;;
    */simd/Quorvan_3DNow*) echo 3dnow ;;
    */simd/*) echo sse ;;
    *) echo x87 ;;
    esac
}

checked=0
weak=""
for object in "$@"; do
    set=$(instructionSet "$object")
    check "$object" "$set"  # the probes and the SSE2 and wide paths may use their whole sets
    checked=$((checked + 1))
    weak+=$(nm --defined-only "$object" | awk -v set="$set" '$2 == "W" { print set, $3 }')$'\n'
done

shared=$(sort -u <<<"$weak" | awk 'NF == 2 { sets[$2] = sets[$2] " " $1; count[$2]++ }
                                   END { for (s in count) if (count[s] > 1) print s ":" sets[s] }')
if [ -n "$shared" ]; then
    echo "FAIL inline functions emitted out of line for several instruction sets:"
    head -5 <<<"$shared" | c++filt
    failed=1
fi

[ "$failed" = 0 ] && echo "$checked objects use only the instruction sets they may"
exit "$failed"
