#!/usr/bin/env bash
# Reads the virtual table of each concrete class from the library's objects
# and compares it, entry by entry, with the slots a host calls: exactly as
# many entries as listed, in the listed order, and nothing in front of the
# table (no run-time type information).
# Usage: check-virtual-tables.sh <llvm-readobj> <slot list> <object>...
set -euo pipefail
readobj=$1
slots=$2
shift 2

failed=0
for class in Quorvan_std Quorvan_SSE; do
    table="??_7${class}@@6B@"
    expected=$(grep -v '^#' "$slots" | sed "s/{class}/${class}/")
    checked=0
    for object in "$@"; do
        # "<section number> <value>" of the table's definition, if here.
        definition=$("$readobj" --symbols "$object" | awk -v name="$table" '
            $1 == "Name:" { current = $2 }
            $1 == "Value:" { value = $2 }
            $1 == "Section:" && current == name && $NF ~ /^\([0-9]+\)$/ {
                gsub(/[()]/, "", $NF); print $NF, value }')
        [ -n "$definition" ] || continue
        read -r section value <<<"$definition"
        # An entry is an absolute address: 4 bytes on 32 bits, 8 on 64.
        case $("$readobj" --file-headers "$object" | awk '$1 == "Format:" { print $2 }') in
        COFF-i386) relocation=IMAGE_REL_I386_DIR32 width=4 ;;
        COFF-x86-64) relocation=IMAGE_REL_AMD64_ADDR64 width=8 ;;
        *) echo "FAIL $object: neither a 32- nor a 64-bit x86 object"; failed=1; continue ;;
        esac

        size=$("$readobj" --sections "$object" | awk -v n="$section" '
            $1 == "Number:" { current = $2 } $1 == "RawDataSize:" && current == n { print $2 }')
        # "<offset> <symbol>" of each relocation in the table's section.
        entries=$("$readobj" --relocations "$object" | awk -v n="$section" -v type="$relocation" '
            /^  Section \(/ { inside = ($2 == "(" n ")") ; next }
            inside && $2 == type { print $1, $3 }')
        actual=$(awk '{ print $2 }' <<<"$entries")
        offsets=$(while read -r offset _; do printf "%d " "$offset"; done <<<"$entries")
        count=$(wc -l <<<"$expected")
        wantOffsets=$(for ((k = 0; k < count; ++k)); do printf "%s " $((width * k)); done)

        if [ "$value" != 0 ] || [ "$size" != $((width * count)) ] || [ "$offsets" != "$wantOffsets" ] ||
           [ "$actual" != "$expected" ]; then
            echo "FAIL $object: $table at $value, $size bytes, entries:"
            sed 's/^/  /' <<<"$entries"
            echo "expected $count entries from offset 0:"
            sed 's/^/  /' <<<"$expected"
            failed=1
        fi
        checked=$((checked + 1))
    done
    if [ "$checked" = 0 ]; then
        echo "FAIL: no object defines $table"
        failed=1
    else
        echo "$class: $checked definition(s) of its virtual table, each with the $(wc -l <<<"$expected") expected slots"
    fi
done
exit "$failed"
