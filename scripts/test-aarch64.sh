#!/usr/bin/env bash
# Cross-builds everything for Linux aarch64 and runs every test suite under qemu-aarch64.
# The arm64 packages the build needs (GoogleTest, SQLite, libuuid, zstd and RapidJSON for the
# stand-in engine, CLI11 for csctl) are unpacked into a private root; the system's packages are left alone.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh g++-aarch64-linux-gnu qemu-user

root=${CONFIGSTOREC_AARCH64_ROOT:-$PWD/.aarch64-root}
export CONFIGSTOREC_AARCH64_ROOT=$root
arm64_packages="libgtest-dev:arm64 libsqlite3-0:arm64 libsqlite3-dev:arm64 libuuid1:arm64 uuid-dev:arm64 libzstd1:arm64 libzstd-dev:arm64 rapidjson-dev libcli11-dev"
if [ "$(cat "$root/.unpacked" 2>/dev/null)" != "$arm64_packages" ]; then
    sudo=""
    [ "$(id -u)" -eq 0 ] || sudo="sudo"
    if ! grep -qx arm64 <<<"$(dpkg --print-foreign-architectures)"; then
        $sudo dpkg --add-architecture arm64
    fi
    $sudo apt-get update -q -o DPkg::Lock::Timeout=600
    downloads=$(mktemp -d)
    # shellcheck disable=SC2086  # the list is words
    (cd "$downloads" && apt-get download -q $arm64_packages)
    rm -rf "$root"
    mkdir -p "$root"
    for package in "$downloads"/*.deb; do dpkg-deb -x "$package" "$root"; done
    rm -rf "$downloads"
    echo "$arm64_packages" >"$root/.unpacked"
fi

cmake -S . -B build-aarch64 -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCONFIGSTOREC_WERROR=ON \
    -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64-linux-gnu.cmake
cmake --build build-aarch64 -j "$(nproc)"

# Everything that runs must really be an aarch64 program.
for binary in build-aarch64/tests/unit_tests build-aarch64/tests/alloc/allocation_tests \
              build-aarch64/tests/c_smoke_test build-aarch64/examples/settings \
              build-aarch64/examples/interfaces \
              build-aarch64/src/libconfigstorec.so build-aarch64/engine-double/libconfigstore.so \
              build-aarch64/standin/libconfigstore.so build-aarch64/tests/standin/standin_tests \
              build-aarch64/tests/integration/integration_tests; do
    grep -q 'Machine: *AArch64' <<<"$(readelf -h "$binary")" || { echo "not aarch64: $binary"; exit 1; }
done
echo "aarch64 binaries checked"

(cd build-aarch64 && ctest --output-on-failure -j "$(nproc)")
grep -hE '^(crash safety|concurrent creation|allocation failure|schema conformance): ' build-aarch64/Testing/Temporary/LastTest.log || true
