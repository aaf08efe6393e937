#!/usr/bin/env bash
# Builds and runs every test suite three times: as released, under AddressSanitizer (with leak
# detection) and UndefinedBehaviorSanitizer, and cross-built for aarch64 under qemu-aarch64. The
# released build is also installed and packaged, and programs are built against it.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh

jobs=$(nproc)
run_suites() {
    local dir=$1
    shift
    cmake -S . -B "$dir" -G Ninja -DCONFIGSTOREC_WERROR=ON "$@"
    cmake --build "$dir" -j "$jobs"
    (cd "$dir" && ctest --output-on-failure -j "$jobs")
    # The reliability figures that passing tests print, from CTest's log.
    grep -hE '^(crash safety|concurrent creation|allocation failure|schema conformance): ' "$dir/Testing/Temporary/LastTest.log" || true
}

echo "== Plain build"
run_suites build -DCMAKE_BUILD_TYPE=RelWithDebInfo

echo "== Installed library, programs built against it, Debian packages"
scripts/test-install.sh

echo "== AddressSanitizer and UndefinedBehaviorSanitizer build"
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:strict_string_checks=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
run_suites build-sanitize -DCMAKE_BUILD_TYPE=Debug -DCONFIGSTOREC_SANITIZE=ON

echo "== aarch64 cross build, run under qemu-aarch64"
scripts/test-aarch64.sh

echo "== libFuzzer targets, a bounded run"
scripts/fuzz.sh
