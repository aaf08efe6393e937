#!/usr/bin/env bash
# Builds the library and the stand-in engine, then runs the example program twice, as two
# processes: the first stores a configuration object in a transaction, the second reads it
# back from the store's files and prints it. The store lives in build/example-store.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh

cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build -j "$(nproc)" --target settings

export CONFIGSTORE_DIR="$PWD/build/example-store"
export CONFIGSTORE_RUNTIME_DIR="$CONFIGSTORE_DIR/run"
export CONFIGSTORE_LOG=stderr
echo "== engine: $(ldd build/examples/settings | grep -o 'libconfigstore\.so => [^ ]*')"
echo "== process 1: settings write"
build/examples/settings write
echo "== process 2: settings read"
build/examples/settings read
echo "== store files"
ls -l "$CONFIGSTORE_DIR"/*.db "$CONFIGSTORE_RUNTIME_DIR"/*.db
