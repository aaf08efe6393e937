#!/usr/bin/env bash
# Checks the built library's dynamic interface: the exported names are exactly the project's frozen
# ABI list and its extensions, each list under a version node of its own; the SONAME is right, and
# the engine is a run-time dependency whose symbols stay undefined.
# Usage: check_library.sh NM READELF LIBRARY ABI_LIST EXTENSIONS_LIST
set -euo pipefail
nm=$1 readelf=$2 library=$3 abi=$4 extensions=$5
failed=0
fail() { echo "FAILED: $*"; failed=1; }

# name@@NODE of every defined name, the nodes' own entries left out.
versioned=$("$nm" -D --defined-only "$library" | awk '$2 != "A" {print $3}' | sort -u)
exported=$(sed 's/@.*//' <<<"$versioned" | sort -u)
if [ "$exported" != "$(sort -u "$abi" "$extensions")" ]; then
    fail "exported symbols differ from the ABI list and its extensions"
    diff <(sort -u "$abi" "$extensions") <(echo "$exported") || true
fi

# The node of each list: one for all of its names, and not the other list's.
node_of() { while read -r name; do sed -n "s/^$name@@//p" <<<"$versioned"; done <"$1" | sort -u; }
abi_node=$(node_of "$abi") extension_node=$(node_of "$extensions")
if [ "$(grep -c . <<<"$abi_node")" -ne 1 ] || [ "$(grep -c . <<<"$extension_node")" -ne 1 ] ||
   [ "$abi_node" = "$extension_node" ]; then
    fail "the ABI list ($abi_node) and its extensions ($extension_node) are not one node each"
fi

dynamic=$("$readelf" -d "$library")
grep -q 'Library soname: \[libconfigstorec.so.1\]' <<<"$dynamic" || fail "SONAME is not libconfigstorec.so.1"
grep -q 'Shared library: \[libconfigstore.so\]' <<<"$dynamic" || fail "libconfigstore.so is not NEEDED"

undefined=$("$nm" -D --undefined-only "$library" | awk '{print $2}')
for symbol in _ZN14KivConfigStore11ConfigStore8GetStoreERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE \
              _ZN8CSLogger3LogE12log_priorityPKcz; do
    grep -qx "$symbol" <<<"$undefined" || fail "engine symbol $symbol is not undefined in the library"
done

count=$(echo "$exported" | grep -c . || true)
[ "$failed" -eq 0 ] && echo "library interface ok: $count exported names, nodes $abi_node and $extension_node"
exit "$failed"
