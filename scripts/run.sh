#!/usr/bin/env bash
# Builds the library and runs the example program on the engine test double, showing the
# engine's log on standard error. Arguments go to the program (a namespace name).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh

cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build -j "$(nproc)" --target open_store
LD_LIBRARY_PATH="$PWD/build/engine-double" ENGINE_DOUBLE_LOG=stderr build/examples/open_store "$@"
