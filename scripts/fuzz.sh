#!/usr/bin/env bash
# Builds the libFuzzer targets of tests/fuzz with clang (ASan, UBSan) in build-fuzz and runs each
# for a bounded time, all at once, on a copy of its seed corpus: the repository's corpus stays
# as it is. Fails on any crash, leak, sanitizer report or timeout and names the reproducer.
#   scripts/fuzz.sh [SECONDS_PER_TARGET]    (default 60)
# A longer run, keeping what it finds: build-fuzz/tests/fuzz/calls_fuzzer -close_fd_mask=2
#   -max_total_time=3600 <empty dir> tests/fuzz/corpus/calls   (documents: add -dict=...)
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
scripts/install-deps.sh clang libfuzzer-14-dev libclang-rt-14-dev

CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCONFIGSTOREC_TESTS=OFF -DCONFIGSTOREC_FUZZ=ON -DCONFIGSTOREC_WERROR=ON >/dev/null
cmake --build build-fuzz -j "$(nproc)" --target calls_fuzzer documents_fuzzer schemas_fuzzer

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
artifacts=$PWD/build-fuzz/artifacts
rm -rf "$artifacts"
export ASAN_OPTIONS=detect_leaks=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1

# The engine logs every refused call to standard error: -close_fd_mask=2 silences it, while
# libFuzzer and the sanitizers keep reporting.
run() {
    local target=$1
    shift
    mkdir -p "$work/$target" "$artifacts/$target"
    cp tests/fuzz/corpus/"$target"/* "$work/$target/"
    build-fuzz/tests/fuzz/"${target}_fuzzer" -max_total_time="$seconds" -timeout=10 \
        -rss_limit_mb=2048 -close_fd_mask=2 -artifact_prefix="$artifacts/$target/" "$@" \
        "$work/$target" >"$work/$target.log" 2>&1
}

run calls &
calls=$!
run documents -dict=tests/fuzz/documents.dict &
documents=$!
run schemas -dict=tests/fuzz/schemas.dict &
schemas=$!
failed=0
for target in calls documents schemas; do
    pid=${!target}
    if wait "$pid"; then
        echo "$target: $(grep -E '^#[0-9]+[[:space:]]+DONE' "$work/$target.log" | tail -1)"
    else
        failed=1
        echo "$target: FAILED"
        grep -v -E '^#[0-9]+[[:space:]]+(NEW|REDUCE|pulse)|NEW_FUNC' "$work/$target.log" | tail -60
        for reproducer in "$artifacts/$target"/*; do
            [ -e "$reproducer" ] && echo "reproducer: $reproducer" \
                "(build-fuzz/tests/fuzz/${target}_fuzzer $reproducer)"
        done
    fi
done
exit $failed
