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
              libbenchmark-dev:arm64
              clang-16 lld llvm assimp-testmodels) ;;
*) echo "usage: $0 demo|test" >&2; exit 2 ;;
esac

missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ]; then
    echo "Installing ${missing[*]}"
    sudo=""
    [ "$(id -u)" -eq 0 ] || sudo=sudo
    export DEBIAN_FRONTEND=noninteractive
    # The ARM build's benchmarks link Debian's own arm64 package, installed
    # beside the host's.
    if [[ " ${missing[*]} " == *":arm64 "* ]] && ! dpkg --print-foreign-architectures | grep -qx arm64; then
        $sudo dpkg --add-architecture arm64
    fi
    # One stale index (the security suite's i386 one, once Wine added that
    # architecture) fails the update but not what these packages need.
    $sudo apt-get update -q || echo "apt-get update failed (see above); installing from the lists apt has"
    $sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
fi
if [ "$mode" = test ]; then
    "$(dirname "$0")/install-wine.sh"
fi
