#!/usr/bin/env bash
# Reads the machine code of the library's 64-bit ARM objects and proves that
# no multiply is fused with an add or subtract: each product must be rounded
# before it is summed, as on x86, or the bytes would differ.
# Usage: check-unfused-arithmetic.sh <objdump> <object>...
set -euo pipefail
objdump=$1
shift
fused=$("$objdump" -d --no-show-raw-insn "$@" | awk -F'\t' '$2 ~ /^(fn?m(add|sub)|fml[as]l?2?)$/')
if [ -n "$fused" ]; then
    echo "FAIL fused multiply-add in the library:"
    head -5 <<<"$fused"
    exit 1
fi
echo "$# objects, no fused multiply-add"
