#!/usr/bin/env bash
# Builds and runs the benchmarks (optimised build), printing time and allocations per call.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh

cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build -j "$(nproc)" --target binding_bench
build/bench/binding_bench "$@"
