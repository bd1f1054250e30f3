#!/usr/bin/env bash
# Installs the Debian packages a build needs, if any is missing; for the
# tests also Wine for 32- and 64-bit programs (install-wine.sh).
# Usage: install-dependencies.sh demo|test
set -euo pipefail

mode=${1:-test}
packages=(cmake make g++ binutils libassimp-dev libpng-dev libtbb-dev)
case "$mode" in
demo) ;;
test) packages+=(g++-12-multilib g++-aarch64-linux-gnu g++-mingw-w64-i686 g++-mingw-w64-x86-64 qemu-user googletest libgtest-dev libbenchmark-dev
              clang-16 lld llvm assimp-testmodels) ;;
*) echo "usage: $0 demo|test" >&2; exit 2 ;;
esac

sudo=""
[ "$(id -u)" -eq 0 ] || sudo=sudo
missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ]; then
    echo "Installing ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    # One stale index (the security suite's i386 one, once Wine added that
    # architecture) fails the update but not what these packages need.
    $sudo apt-get update -q || echo "apt-get update failed (see above); installing from the lists apt has"
    $sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
fi
if [ "$mode" = test ]; then
    "$(dirname "$0")/install-wine.sh"
    # The ARM build's benchmarks link Debian's arm64 Google Benchmark, unpacked
    # where bench/CMakeLists.txt looks for it rather than installed: installing
    # it would bring a second arm64 C library, not the cross compiler's, into
    # the emulated programs' reach.
    cross=/opt/quorvan-cross/aarch64-linux-gnu
    if [ ! -d "$cross/usr/lib/aarch64-linux-gnu/cmake/benchmark" ]; then
        if ! dpkg --print-foreign-architectures | grep -qx arm64; then
            $sudo dpkg --add-architecture arm64
            $sudo apt-get update -q || echo "apt-get update failed (see above); downloading from the lists apt has"
        fi
        debs=$(mktemp -d)
        $sudo mkdir -p "$cross"
        (cd "$debs" && apt-get download libbenchmark-dev:arm64 libbenchmark1debian:arm64)
        for deb in "$debs"/*.deb; do $sudo dpkg-deb -x "$deb" "$cross"; done
        rm -rf "$debs"
    fi
fi
