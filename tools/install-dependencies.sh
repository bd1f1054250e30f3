#!/usr/bin/env bash
# Installs the Debian packages a build needs, if any is missing.
# Usage: install-dependencies.sh demo|test
set -euo pipefail

packages=(cmake make g++ binutils libassimp-dev libpng-dev)
case "${1:-test}" in
demo) ;;
test) packages+=(g++-multilib g++-mingw-w64-i686 qemu-user googletest libgtest-dev libbenchmark-dev
              clang-16 lld llvm assimp-testmodels) ;;
*) echo "usage: $0 demo|test" >&2; exit 2 ;;
esac

missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing ${missing[*]}"
sudo=""
[ "$(id -u)" -eq 0 ] || sudo=sudo
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -q
$sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
