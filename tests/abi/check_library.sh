#!/usr/bin/env bash
# Checks the built library's dynamic interface: exactly the names of the version script are
# exported, and they are exactly the project's frozen ABI list; the SONAME is right, and the
# engine is a run-time dependency whose symbols stay undefined.
# Usage: check_library.sh NM READELF LIBRARY VERSION_SCRIPT ABI_LIST
set -euo pipefail
nm=$1 readelf=$2 library=$3 script=$4 abi=$5
failed=0
fail() { echo "FAILED: $*"; failed=1; }

exported=$("$nm" -D --defined-only "$library" | awk '{print $3}' | sed 's/@.*//' | sort -u)
listed=$(sed -n '/global:/,/local:/p' "$script" | grep -v -e 'global:' -e 'local:' |
         tr -d ' ;\t' | grep -v '^$' | sort -u)
if [ "$exported" != "$listed" ]; then
    fail "exported symbols differ from the version script"
    diff <(echo "$listed") <(echo "$exported") || true
fi
if [ "$exported" != "$(sort -u "$abi")" ]; then
    fail "exported symbols differ from the ABI list"
    diff <(sort -u "$abi") <(echo "$exported") || true
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
[ "$failed" -eq 0 ] && echo "library interface ok: $count exported names"
exit "$failed"
