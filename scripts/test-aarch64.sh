#!/usr/bin/env bash
# Cross-builds everything for Linux aarch64 and runs every test suite under qemu-aarch64.
# The arm64 GoogleTest package is unpacked into a private root; the system's packages of other
# architectures are left alone.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh g++-aarch64-linux-gnu qemu-user

root=${CONFIGSTOREC_AARCH64_ROOT:-$PWD/.aarch64-root}
export CONFIGSTOREC_AARCH64_ROOT=$root
if [ ! -f "$root/.unpacked" ]; then
    sudo=""
    [ "$(id -u)" -eq 0 ] || sudo="sudo"
    if ! dpkg --print-foreign-architectures | grep -qx arm64; then
        $sudo dpkg --add-architecture arm64
    fi
    $sudo apt-get update -q -o DPkg::Lock::Timeout=600
    downloads=$(mktemp -d)
    (cd "$downloads" && apt-get download -q libgtest-dev:arm64)
    mkdir -p "$root"
    for package in "$downloads"/*.deb; do dpkg-deb -x "$package" "$root"; done
    rm -rf "$downloads"
    touch "$root/.unpacked"
fi

cmake -S . -B build-aarch64 -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64-linux-gnu.cmake
cmake --build build-aarch64 -j "$(nproc)"

# Everything that runs must really be an aarch64 program.
for binary in build-aarch64/tests/unit_tests build-aarch64/tests/allocation_tests \
              build-aarch64/tests/c_smoke_test build-aarch64/examples/open_store \
              build-aarch64/src/libconfigstorec.so build-aarch64/engine-double/libconfigstore.so; do
    readelf -h "$binary" | grep -q 'Machine: *AArch64' || { echo "not aarch64: $binary"; exit 1; }
done
echo "aarch64 binaries checked"

(cd build-aarch64 && ctest --output-on-failure -j "$(nproc)")
