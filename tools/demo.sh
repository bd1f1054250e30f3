#!/usr/bin/env bash
# Builds the library and runs the demo host. Arguments go to the demo.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/install-dependencies.sh demo
export CMAKE_BUILD_PARALLEL_LEVEL=${CMAKE_BUILD_PARALLEL_LEVEL:-$(nproc)}
cmake --preset demo >/dev/null
cmake --build --preset demo >/dev/null
exec build/demo/demo/QuorvanDemo "$@"
