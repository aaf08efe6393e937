#!/usr/bin/env bash
# Builds and runs the benchmarks (optimised build): binding_bench prints time and allocations per
# call on the engine test double; standin_bench times the stand-in engine beside SQLite and
# RapidJSON baselines and closes with their ratios, then with the counters of the benchmarks at
# scale (bytes per object, peak memory). Arguments go to both programs: --benchmark_filter=Scale
# runs only those at scale, in about a minute. BUILD_DIR chooses the build directory (default:
# build).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh

build="${BUILD_DIR:-build}"
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build "$build" -j "$(nproc)" --target binding_bench standin_bench
"$build"/bench/binding_bench "$@"
"$build"/bench/standin_bench "$@"
