#!/usr/bin/env bash
# Builds the library and the stand-in engine, then runs the example program twice, as two
# processes: the first stores three instances of a network interface object with their
# addresses as sub-objects in one transaction, the second reads them back from the store's
# files through a filter spec and prints the component's export; csctl then reads the same
# store from the shell. The store lives in build/example-store and starts empty; the schema
# comes from examples/components. The apply module examples/apply/network/network appends
# what it is given to a file in the store's directory: the engine runs it when the first
# process commits, csctl apply runs it again by hand, and csctl status shows its last result.
# Last, the store's history: a change, what it did, and a rollback of it.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh

cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCONFIGSTOREC_WERROR=ON
cmake --build build -j "$(nproc)" --target interfaces csctl

export CONFIGSTORE_DIR="$PWD/build/example-store"
export CONFIGSTORE_RUNTIME_DIR="$CONFIGSTORE_DIR/run"
export CONFIGSTORE_COMPONENTS_DIR="$PWD/examples/components"
export CONFIGSTORE_LOG=stderr
export CONFIGSTORE_APPLY_DIR="$PWD/examples/apply"
rm -rf "$CONFIGSTORE_DIR"
echo "== engine: $(ldd build/examples/interfaces | grep -o 'libconfigstore\.so => [^ ]*')"
echo "== process 1: interfaces write"
build/examples/interfaces write
echo "== process 2: interfaces read"
build/examples/interfaces read
echo "== csctl: the same store from the shell"
csctl=build/tools/csctl/csctl
(set -x; "$csctl" list interface enabled=true)
(set -x; "$csctl" get interface interfaces network --instance eth0 mtu enabled description)
echo "== store files"
ls -l "$CONFIGSTORE_DIR"/*.db "$CONFIGSTORE_RUNTIME_DIR"/*.db
echo "== apply modules: csctl apply runs the network module, csctl status shows its result"
(set -x; "$csctl" apply network)
(set -x; "$csctl" status)
echo "== what the network module was given: on the first process's commit, then by csctl apply"
cat "$CONFIGSTORE_DIR/applied-network.txt"
echo "== history: an MTU change, what it changed, and a rollback to the version before it"
(set -x; "$csctl" set interface interfaces network --instance eth0 mtu=9000)
version=$("$csctl" --json log | jq '.[0].version')
(set -x; "$csctl" log interface --instance eth0)
(set -x; "$csctl" show "$version")
(set -x; "$csctl" rollback $((version - 1)))
(set -x; "$csctl" get interface interfaces network --instance eth0 mtu)
