#!/usr/bin/env bash
# Builds Quorvan every way it ships and runs every test: x86-64 (plain, under
# AddressSanitizer/UndefinedBehaviorSanitizer, and the thread-safe calls
# under ThreadSanitizer), i386 natively and on emulated processors, 64-bit
# ARM under qemu-aarch64, and the Windows DLLs of both C++ ABIs (MinGW's and
# Microsoft's), 32- and 64-bit, under Wine.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/install-dependencies.sh test
export CMAKE_BUILD_PARALLEL_LEVEL=${CMAKE_BUILD_PARALLEL_LEVEL:-$(nproc)}
for preset in x86_64 x86_64-sanitize x86_64-thread i386 aarch64 mingw-i686 msvc-i686 mingw-x86_64 msvc-x64; do
    echo "=== $preset"
    cmake --workflow --preset "$preset"
done
echo "=== all builds passed"
