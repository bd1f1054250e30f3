#!/usr/bin/env bash
# Usage: tests/plant-faults.sh [-h] [PATTERN...]
# Plants the faults of tests/faults.txt one at a time, each in the build it
# names, and runs that build's tests, emulated processors included; PATTERNs
# (shell patterns such as 'fog*') choose faults by name. Works on a copy of
# the working tree as it is on disk, uncommitted changes included, kept
# between runs in ${QUORVAN_FAULTS_DIR:-${TMPDIR:-/tmp}/quorvan-faults/<worktree>}.
# Exits non-zero when a fault is missed or the list does not fit the code.
set -uo pipefail
[[ ${1:-} == -h || ${1:-} == --help ]] && { sed -n '2,/^set/s/^# \{0,1\}//p' "$0"; exit 0; }

root=$(git -C "$(dirname "$0")" rev-parse --show-toplevel) || exit 2
# The copy of the tree; the builds and this script's own files go under build/.
src=${QUORVAN_FAULTS_DIR:-${TMPDIR:-/tmp}/quorvan-faults/$(basename "$root")}
log=$src/build/faults.log launcher=$(command -v ccache)
export CCACHE_BASEDIR=$src  # copies in other places share the cache
if ! { mkdir -p "$src/build" && exec 9>"$src/build/faults.lock" && flock -n 9; }; then echo "$src is in use" >&2; exit 2; fi

# The fault list: one block of "key value" lines per fault.
names=() builds=() files=() finds=() replaces=()
add_fault() {
    local pattern chosen=$(($# == 0))
    # shellcheck disable=SC2053 # a pattern
    for pattern; do [[ ${name:-} == $pattern ]] && chosen=1; done
    [[ -n ${name:-} ]] && ((chosen)) &&
        names+=("$name") builds+=("$build") files+=("$file") finds+=("${find#$'\n'}") replaces+=("${replace#$'\n'}")
    name='' build='' file='' find='' replace=''
}
add_fault
while IFS= read -r line || [[ -n $line ]]; do
    case $line in
    '#'*) ;;
    '') add_fault "$@" ;;
    name\ * | build\ * | file\ *) read -r key value <<<"$line" && printf -v "$key" %s "$value" ;;
    find\ *) find+=$'\n'${line#*|} ;;
    replace\ *) replace+=$'\n'${line#*|} ;;
    *) echo "tests/faults.txt: cannot read: $line" >&2; exit 2 ;;
    esac
done <"$root/tests/faults.txt"
add_fault "$@"
((${#names[@]})) || { echo "no fault matches: $*" >&2; exit 2; }

# The scratch copy: every tracked or new file as it is on disk. Only files
# that differ are copied, so the builds stay incremental.
(cd "$root" && git ls-files -z --cached --others --exclude-standard) | while IFS= read -r -d '' f; do
    [[ -f $root/$f ]] && ! cmp -s "$root/$f" "$src/$f" && mkdir -p "$(dirname "$src/$f")" && cp "$root/$f" "$src/$f"
done

# Builds the preset and runs its tests, the emulated processors last; prints
# the first failing test, or "build" when it does not compile.
run_suites() {
    local dir=$src/build/$1 first
    if [[ ! -f $dir/CMakeCache.txt ]]; then
        # Benchmarks and packaging checks catch no fault; ccache makes taking one out cheap.
        (cd "$src" && cmake --preset "$1" -DQUORVAN_BUILD_BENCHMARKS=OFF -DQUORVAN_CHECK_PACKAGING=OFF \
            ${launcher:+"-DCMAKE_CXX_COMPILER_LAUNCHER=$launcher" "-DCMAKE_C_COMPILER_LAUNCHER=$launcher"}) \
            >"$log" 2>&1 || { echo build; return 1; }
    fi
    cmake --build "$dir" -j2 >"$log" 2>&1 || { echo build; return 1; }
    for labels in '-LE emulated' '-L emulated'; do
        # shellcheck disable=SC2086
        ctest --test-dir "$dir" $labels --stop-on-failure -j2 >"$log" 2>&1 && continue
        first=$(sed -n '/tests FAILED:/{n;s/^[[:space:]]*[0-9]* - //;s/ (.*//;p;q}' "$log")
        echo "${first:-ctest failed}"
        return 1
    done
}

# Plants fault $1 in the scratch copy, or with "check" only counts its text.
plant() {
    perl -e 'local $/; my ($path, $find, $replace, $mode) = @ARGV;
        open my $in, "<", $path or die "$path: $!\n"; my $text = <$in>; close $in;
        my $n = () = $text =~ /\Q$find\E/g; exit 0 if $n == 1 && $mode eq "check";
        die "its text occurs $n times in $path\n" if $n != 1;
        substr($text, index($text, $find), length $find) = $replace;
        open my $out, ">", $path or die; print $out $text;' "$src/${files[$1]}" "${finds[$1]}" "${replaces[$1]}" "${2:-}"
}
caught=0 missed=0 broken=0 start=$SECONDS chosen=()
for i in "${!names[@]}"; do
    if error=$(plant "$i" check 2>&1); then chosen+=("$i"); else
        printf 'LIST    %s  (%s)\n' "${names[i]}" "$error"
        broken=$((broken + 1))
    fi
done

needed=$(for i in "${chosen[@]}"; do echo "${builds[i]}"; done | awk '!seen[$0]++')
for build in $needed; do
    failed=$(run_suites "$build") || { echo "The $build suites fail without any fault ($failed); see $log" >&2; exit 1; }
    echo "clean   the $build suites pass without a fault"
done
for build in $needed; do
    for i in "${chosen[@]}"; do
        [[ ${builds[i]} == "$build" ]] || continue
        cp "$src/${files[i]}" "$src/build/faults.original" && plant "$i" || exit 2
        if failed=$(run_suites "$build"); then
            printf 'MISSED  %s\n' "${names[i]}"
            missed=$((missed + 1))
        elif [[ $failed == build ]]; then
            cp "$log" "$log.${names[i]}"
            printf 'LIST    %s  (does not compile; see %s)\n' "${names[i]}" "$log.${names[i]}"
            broken=$((broken + 1))
        else
            printf 'caught  %s  (%s)\n' "${names[i]}" "$failed"
            caught=$((caught + 1))
        fi
        cp "$src/build/faults.original" "$src/${files[i]}"
    done
done
echo "$caught caught, $missed missed, $broken list errors, in $(((SECONDS - start) / 60)) minutes"
((missed == 0 && broken == 0))
