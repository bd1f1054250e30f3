#!/usr/bin/env bash
# Builds the library and runs the demo host. Arguments go to the demo
# (--help lists them); relative paths are taken from where this is run.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/tools/install-dependencies.sh" demo
export CMAKE_BUILD_PARALLEL_LEVEL=${CMAKE_BUILD_PARALLEL_LEVEL:-$(nproc)}
(
    cd "$root"
    cmake --preset demo >/dev/null
    cmake --build --preset demo >/dev/null
)
exec "$root/build/demo/demo/QuorvanDemo" "$@"
