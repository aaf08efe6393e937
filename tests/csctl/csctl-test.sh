#!/usr/bin/env bash
# csctl end to end on a store of its own: csctl-test.sh CSCTL [EMULATOR...]
# The schemas are the examples' (CONFIGSTORE_COMPONENTS_DIR overrides them).
set -euo pipefail

csctl=$1
shift
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export TMPDIR=$work
export CONFIGSTORE_DIR=$work/state CONFIGSTORE_RUNTIME_DIR=$work/run
export CONFIGSTORE_COMPONENTS_DIR=${CONFIGSTORE_COMPONENTS_DIR:-$here/../../examples/components}
unset CONFIGSTORE_NAMESPACE
# The engine logs to standard error: a command that succeeds must leave it empty, so no read of
# a value by another type than its own reaches the log.
export CONFIGSTORE_LOG=stderr
run() { "${emulator[@]}" "$csctl" "$@"; }
emulator=("$@")

failures=0
fail() {
    echo "FAIL: $*" >&2
    failures=$((failures + 1))
}

# Each row: exit status | arguments (shell words, NAME=value first for the environment) |
# jq test of the --json answer. Rows run in order on one store.
check_rows() {
    while IFS='|' read -r status arguments test; do
        [[ -z "${status// /}" || $status == \#* ]] && continue
        eval "words=($arguments)"
        assignments=()
        while [[ ${words[0]} == *=* ]]; do
            assignments+=("${words[0]}")
            words=("${words[@]:1}")
        done
        code=0
        answer=$(env "${assignments[@]}" "${emulator[@]}" "$csctl" --json "${words[@]}" \
            2>"$work/stderr") || code=$?
        [ "$code" -eq "$status" ] || fail "exit $code, not $status: $arguments: $(cat "$work/stderr")"
        [ "$code" -ne 0 ] || [ ! -s "$work/stderr" ] || fail "logged: $arguments: $(cat "$work/stderr")"
        jq -e "$test" >/dev/null 2>&1 <<<"$answer" || fail "$test: $arguments: $answer"
    done
}

printf '{"format": "configstore/1", "objects": []}\0{}' >"$work/nul.json"
check_rows <<'ROWS'
0 | set interface interfaces network --instance eth0 mtu=9000 description=uplink 'nameservers=["192.0.2.53"]' | .ok
0 | get interface interfaces network --instance eth0 mtu enabled nameservers | .values == {mtu: 9000, enabled: true, nameservers: ["192.0.2.53"]} and .defaults == ["enabled"]
0 | set clock time system n=1.5 t=true 'w=a b' --string s=42 --int i=7 --bool b=0 'e=[]' --double 'd=[1,2.5]' 'l=[1,2]' 'u={x' z=0.0e300 | .ok
0 | get clock time system n t w s i b e d l u z | .values == {n: 1.5, t: true, w: "a b", s: "42", i: 7, b: false, e: [], d: [1, 2.5], l: [1, 2], u: "{x", z: 0}
0 | update interface interfaces network --instance eth0 --remove description speed=1000 | .ok
0 | set interface interfaces network --instance eth0 --class user owner=ops | .ok
0 | set interface interfaces network --instance eth0 --class cached --int rx=5 | .ok
0 | get interface interfaces network --instance eth0 | .version != "0" and (.classes | keys) == ["cachedData", "configuration", "desired", "userData"] and .classes.configuration == {mtu: 9000, nameservers: ["192.0.2.53"], speed: 1000}
0 | update interface interfaces network --instance eth0 --class user --context internal site=lab | .ok
0 | get interface interfaces network --instance eth0 | .classes.userData == {owner: "ops", site: "lab"}
# A set changes the values it names and keeps the others; --replace stores exactly its values.
0 | set interface interfaces network --instance eth0 speed=100 | .ok
0 | get interface interfaces network --instance eth0 | .classes.configuration == {mtu: 9000, nameservers: ["192.0.2.53"], speed: 100} and .classes.userData.owner == "ops"
64 | set interface interfaces network --instance eth0 | .error.name == "USAGE"
0 | set probe p demo a=1 b=2 ++ set probe p demo --replace a=3 | .ok
0 | get probe p demo | .classes.configuration == {a: 3}
# Chained writes commit together, or not at all.
0 | set interface interfaces network --instance eth1 mtu=1400 ++ set interface interfaces network --instance eth2 mtu=1400 ++ delete clock time system | .ok
0 | list interface | map(.instanceId) == ["eth0", "eth1", "eth2"]
3 | set interface interfaces network --instance eth3 mtu=1400 ++ set interface interfaces network --instance eth4 mtu=1 | .error.name == "CS_C_VALIDATION_ERROR" and (.error.message | test("^write 2 of 2 \\(set interface interfaces network --instance eth4\\): Set: Validation Error: '/mtu' is 1, below the minimum 68$"))
0 | list interface --group interfaces mtu=1400 | . == [{key: "interface", group: "interfaces", component: "network", instanceId: "eth1"}, {key: "interface", group: "interfaces", component: "network", instanceId: "eth2"}]
0 | list interface --component system | . == []
0 | set clock time system tz='"UTC"' | .ok
0 | list clock --group time --component system | . == [{key: "clock", group: "time", component: "system"}]
0 | list clock --group time --component system 'tz="CET"' | . == []
0 | delete clock time system | .ok
# Without a key, list and export take every key; export selects as list does.
0 | list mtu=9000 | map(.instanceId) == ["eth0"]
0 | list --component network | map(.key) | unique == ["interface"]
0 | export --group interfaces --instance eth1 | [.objects[] | .key + "/" + .instanceId] | unique == ["interface/eth1"]
0 | get clock time system | .classes == {} and .version == "0"
# Values only an import stores: binary and nested objects.
0 | import "$here/values.json" | .ok
0 | get blob g c one two three | .values == {one: {"$base64": "AQ=="}, two: {"$base64": "AQI="}, three: {"$base64": "AQID"}}
0 | set blob g c --instance i1 b=2 | .ok
0 | get blob g c | .classes.configuration.one == {"$base64": "AQ=="} and .classes.configuration.b == null
0 | get blob g c inner | .values == {inner: {a: 1}}
# Binary values from files; any JSON, objects too, with --json-value. A later write keeps them.
0 | set probe p demo "bin=@$work/nul.json" --json-value 'n={"x":[1],"y":{"$base64":"AQ=="}}' | .ok
0 | update probe p demo c=1 --remove a | .ok
0 | get probe p demo | .classes.configuration == {bin: {"$base64": "eyJmb3JtYXQiOiAiY29uZmlnc3RvcmUvMSIsICJvYmplY3RzIjogW119AHt9"}, n: {x: [1], y: {"$base64": "AQ=="}}, c: 1}
66 | set probe p demo b=@/nonexistent | .error.name == "NO_INPUT"
# Sub-objects by path: written through their parent, which keeps its values.
0 | set probe p demo --sub a:1/b x=1 'name="lo"' | .ok
0 | get probe p demo --sub a:1/b name x | .values == {name: "lo", x: 1}
0 | get probe p demo c | .values == {c: 1}
0 | delete probe p demo --sub a:1/b | .ok
6 | get probe p demo --sub a:1/b | .error.name == "CS_C_NOT_FOUND"
64 | get probe p demo --sub a:1//b | .error.name == "USAGE"
64 | set probe p demo 'n={"x":1}' | .error.message | test("--json-value")
3 | import "$here/refused.json" | .error.name == "CS_C_VALIDATION_ERROR" and .error.entries[0].key == "network/interfaces/interface/eth9"
65 | import /dev/zero | .error.name == "DATA_ERROR" and (.error.message | test("longer than 67108864 bytes"))
65 | CONFIGSTORE_IMPORT_MAX=100 import "$here/values.json" | .error.name == "DATA_ERROR"
65 | import "$work/nul.json" | .error.name == "DATA_ERROR" and (.error.message | test("NUL byte at offset 42$"))
6 | get absent g c | .error.name == "CS_C_NOT_FOUND" and .error.message == "not found: absent g c"
6 | get interface interfaces network --instance eth0 nosuch | .error.name == "CS_C_NOT_FOUND"
6 | get interface interfaces network --instance nosuch mtu | .error.message == "not found: interface interfaces network --instance nosuch"
1 | CONFIGSTORE_COMPONENTS_DIR=/nonexistent set interface interfaces network --instance eth0 mtu=1 | .error.message | test("/nonexistent: the components directory that CONFIGSTORE_COMPONENTS_DIR names does not exist$")
# An instance id the schema wants or forbids is one mistake, whatever the command.
2 | get clock time system --instance x | .error.message == "clock is a singleton: drop --instance"
2 | update interface interfaces network mtu=1 | .error.message == "interface has instances: give --instance"
2 | delete interface interfaces network | .error.name == "CS_C_INVALID_ARGUMENT"
2 | set a g c IS_BOOT=1 | .error.name == "CS_C_INVALID_ARGUMENT" and (.error.message | test("IS_BOOT"))
64 | --namespace '' list interface | .error.name == "USAGE"
1 | --namespace typo list interface | .error.message | test("typo")
1 | --namespace bad/name list interface | .error.name == "CS_C_STORE_ERROR" and (.error.message | test("^GetStore: "))
66 | import "$work/absent.json" | .error.name == "NO_INPUT"
64 | frobnicate | .error.name == "USAGE"
64 | get interface interfaces | .error.name == "USAGE"
64 | set a g c --int x=abc | .error.name == "USAGE"
64 | set a g c --bool x=2 | .error.name == "USAGE"
64 | set a g c --int x=1.5 | .error.name == "USAGE"
64 | set a g c 'x=[1,"a"]' | .error.name == "USAGE"
64 | set a g c x=null | .error.name == "USAGE"
64 | set a g c i=99999999999999999999 | .error.name == "USAGE" and (.error.message | test("64 bits"))
64 | set a g c 'l=[1,18446744073709551615]' | .error.name == "USAGE"
64 | set a g c f=NaN | .error.name == "USAGE"
64 | set a g c f=1e999 | .error.name == "USAGE"
64 | update interface interfaces network --instance eth0 --remove mtu --int mtu=1400 | .error.name == "USAGE" and .error.message == "'mtu' is both written and removed"
64 | set a g c --class vital --context internal x=1 | .error.name == "USAGE"
64 | set a g c x=1 ++ get a g c | .error.name == "USAGE"
64 | gett clock time system | .error.message == "'gett' is no csctl command; did you mean 'get'?"
64 | --namespace one set a g c x=1 ++ --namespace other delete a g c | .error.message == "one chain of commands works on one namespace"
0 | get interface interfaces network --instance eth0 mtu --json | .values == {mtu: 9000}
64 | get interface interfaces network --instance eth0 --value | .error.name == "USAGE"
0 | instance-id | .instanceId | test("^[0-9a-f-]{36}$")
0 | check | . == {namespace: "global", ok: true}
0 | --namespace damaged set a g c x=1 | .ok
ROWS

# check reads every page: a damaged one is reported, and the file is left as it was.
printf '%064d' 0 | dd of="$work/state/damaged.db" bs=1 seek=8200 conv=notrunc status=none
sum=$(cksum <"$work/state/damaged.db")
check_rows <<'ROWS'
1 | --namespace damaged check | .error.message | test("damaged.db: the file is damaged")
ROWS
[ "$(cksum <"$work/state/damaged.db")" = "$sum" ] || fail "check rewrote a damaged file"

# The export of one namespace, imported into another (named by option, then by the
# environment), exports the same document.
run export >"$work/global.json"
jq -e '.objects | length > 0' "$work/global.json" >/dev/null || fail "empty export"
run --namespace second import "$work/global.json"
CONFIGSTORE_NAMESPACE=second run export | diff - "$work/global.json" >/dev/null ||
    fail "the second namespace exports another document"
run export interface | jq -e '[.objects[].key] | unique == ["interface"]' >/dev/null ||
    fail "an export by key holds other keys"

# Two state directories never share cached data: each has a runtime directory of its own, which
# for root lies under /run/configstore and is removed here.
check_rows <<'ROWS'
0 | CONFIGSTORE_DIR=$work/A CONFIGSTORE_RUNTIME_DIR= XDG_RUNTIME_DIR=$work/xdg set probe p demo --class cached secret=1 | .ok
0 | CONFIGSTORE_DIR=$work/A CONFIGSTORE_RUNTIME_DIR= XDG_RUNTIME_DIR=$work/xdg get probe p demo secret | .values.secret == 1
6 | CONFIGSTORE_DIR=$work/B CONFIGSTORE_RUNTIME_DIR= XDG_RUNTIME_DIR=$work/xdg get probe p demo secret | .error.name == "CS_C_NOT_FOUND"
ROWS
if [ "$(id -u)" -eq 0 ]; then
    for state in A B; do
        id=$(uuidgen --sha1 --namespace 6b1f5e2a-940c-4d7e-9a31-58c20be647d3 --name "$work/$state")
        [[ $id =~ ^[0-9a-f-]{36}$ ]] && rm -rf "/run/configstore/state-$id"
    done
fi
[ ! -e "$work/state/typo.db" ] || fail "a command that reads made a namespace"

# A document against the store: its differences, a dry run, an import that replaces; an edit.
run export interface >"$work/interfaces.json"
# More keys than one export of a replacement takes at once (k99 sorts last).
jq -n '{format: "configstore/1", objects: [range(300) | {key: "k\(.)", group: "g",
    component: "many", instanceId: "a", values: {n: .}}]}' >"$work/many.json"
check_rows <<'ROWS'
0 | set interface interfaces network --instance eth1 mtu=1500 ++ set interface interfaces network --instance eth7 mtu=1400 | .ok
9 | diff "$work/interfaces.json" | map(select(.class == "configuration") | [.instanceId, .value, .stored, .document]) == [["eth1", "mtu", 1500, 1400], ["eth7", "mtu", 1400, null]]
0 | import --dry-run "$work/interfaces.json" | .ok
3 | import --dry-run "$here/refused.json" | .error.name == "CS_C_VALIDATION_ERROR"
0 | import --replace "$work/interfaces.json" | .ok
0 | diff "$work/interfaces.json" | . == []
65 | diff "$here/csctl-test.sh" | .error.name == "DATA_ERROR" and (.error.message | test("not JSON"))
0 | import "$work/many.json" | .ok
0 | set k99 g many --instance b n=1 | .ok
0 | import --replace "$work/many.json" | .ok
0 | diff "$work/many.json" | . == []
0 | EDITOR='sed -i s/1400/1280/' edit interface interfaces network --instance eth1 | .ok
0 | get interface interfaces network --instance eth1 mtu | .values.mtu == 1280
0 | EDITOR=true edit interface interfaces network --instance eth1 | .ok
ROWS
[ "$(run diff "$work/interfaces.json")" = $'- interface interfaces network --instance eth1 mtu=1280\n+ interface interfaces network --instance eth1 mtu=1400\n- interface interfaces network --instance eth1 --class desired mtu=1280\n+ interface interfaces network --instance eth1 --class desired mtu=1400' ] ||
    fail "text of diff"
# A text the store refuses opens again; left as it was, the edit gives up and keeps it.
printf '#!/bin/sh\nsed -i "s/: 1280/: ${MTU:-1}/" "$1"\n' >"$work/editor"
chmod +x "$work/editor"
code=0
EDITOR=$work/editor run edit interface interfaces network --instance eth1 2>"$work/stderr" || code=$?
[ "$code" -eq 65 ] && [ "$(grep -c "opens again" "$work/stderr")" -eq 1 ] || fail "edit refused: $code: $(cat "$work/stderr")"
MTU=1400 EDITOR=$work/editor run edit interface interfaces network --instance eth1 ||
    fail "edit to 1400"

# watch prints a change as the store commits it: written until the watcher has seen one.
run --json watch probe --count 1 --interval 0.05 >"$work/watch" &
watcher=$!
for i in $(seq 100); do
    run set probe p demo w="$i" --context internal
    kill -0 "$watcher" 2>/dev/null && sleep 0.1 || break
done
wait "$watcher" || fail "watch: exit $?"
jq -e '.key == "probe" and .class == "configuration" and (.values.w | type) == "number"' \
    "$work/watch" >/dev/null || fail "watch: $(cat "$work/watch")"

# Text for people: values with defaults marked, identities one a line, failures on stderr, a
# usage error in one line and where the help is.
usage=$(run get interface 2>&1) || true
[[ $(wc -l <<<"$usage") -eq 2 && $usage == *$'\n'"Run 'csctl get --help'." ]] || fail "usage error: $usage"
[[ $(run export --help) != *'"++"'* && $(run set --help) == *'"++"'* ]] || fail "help of chains"
[[ $(run get --help) == *"Usage: csctl get"* && $(run --version) == "csctl "*$'\nlibconfigstorec '[0-9]* ]] ||
    fail "usage line or version"
[ "$(run get interface interfaces network --instance eth1 mtu enabled)" = $'mtu = 1400\nenabled = true (default)' ] ||
    fail "text of get"
# Names print as the commands take them: a listed line pastes back.
[ "$(run list interface mtu=1400)" = $'interface interfaces network --instance eth1\ninterface interfaces network --instance eth2' ] ||
    fail "text of list"
# A name or value holding control characters stays on its line.
odd=$(printf 'k\nx')
run set "$odd" g c "$(printf 'v=a\tb')" >/dev/null
[ "$(run list "$odd"; run get "$odd" g c v)" = "\$'k\\nx' g c"$'\n''v = "a\tb"' ] || fail "control characters in text"
eval "pasted=($(run list "$odd"))"
[ "${pasted[0]}" = "$odd" ] || fail "a listed name does not paste back"
# A string reads apart from a number; --value prints values as scripts take them.
[ "$(run set kinds g c 'q="42"' && run get kinds g c q)" = 'q = "42"' ] || fail "a string's text"
[ "$(run get interface interfaces network --instance eth0 --value mtu nameservers)" = $'9000\n192.0.2.53' ] ||
    fail "get --value"
[ "$(printf hi | run set kinds g c b=@- && run get kinds g c --value b)" = '{"$base64":"aGk="}' ] ||
    fail "a binary value from standard input"
[ "$(run set kinds g c x=1.0 'y=[]' && run get kinds g c x y 2>&1)" = $'x = 1.0\ny = []' ] ||
    fail "text of a double and an empty list"
# A failure's message is the library's line for the call; csctl leaves the engine's log alone.
code=0
CONFIGSTORE_LOG= run set interface interfaces network --instance eth1 mtu=1 2>"$work/stderr" || code=$?
[ "$code" -eq 3 ] && [ "$(cut -c1-32 "$work/stderr")" = "csctl: Set: Validation Error: '/" ] ||
    fail "text of a failure: $(cat "$work/stderr")"
code=0
run instance-id >/dev/full 2>/dev/null || code=$?
[ "$code" -eq 74 ] || fail "output error: exit $code"

# Apply modules log their stage, APPLY_BOOT, namespace and input lines; in a boot run the
# network module also tries an external write, which the boot status refuses. clock fails,
# slow outlives the time limit through a child of its own, killed ends by a signal; broken (not
# executable), noshell (no interpreter) and dangling (a link to nothing) cannot start. noisy
# prints, which never reaches csctl's output.
apply=$work/apply
mkdir -p "$apply/system-early" "$apply/network" "$apply/system"
printf '%s\n' '#!/bin/sh' \
    'echo "$CONFIGSTORE_APPLY_STAGE ${APPLY_BOOT:-0} $CONFIGSTORE_NAMESPACE $(wc -l)" >>"$APPLY_LOG"' \
    '[ "${APPLY_BOOT:-0}" = 1 ] && $CSCTL set interface interfaces network --instance eth1 mtu=1300 2>/dev/null && echo written >>"$APPLY_LOG"' \
    'exit 0' >"$apply/network/network"
cp "$apply/network/network" "$apply/system-early/network"
printf '#!/bin/sh\necho "$CONFIGSTORE_APPLY_STAGE clock" >>"$APPLY_LOG"\nexit 3\n' >"$apply/system/clock"
printf '#!/bin/sh\nsleep 30\n' >"$apply/system/slow"
printf '#!/bin/sh\n' >"$apply/system/broken"
printf '#!/nonexistent/sh -e\n' >"$apply/system/noshell"
printf '#!/bin/sh\nkill -TERM $$\n' >"$apply/system/killed"
ln -s nowhere "$apply/system/dangling"
printf '#!/bin/sh\necho noise\necho noise >&2\n' >"$apply/system/noisy"
chmod +x "$apply/network/network" "$apply/system-early/network" "$apply/system/clock" \
    "$apply/system/slow" "$apply/system/noisy" "$apply/system/noshell" "$apply/system/killed"
export APPLY_LOG=$work/apply.log CSCTL="${emulator[*]} $csctl" CONFIGSTORE_APPLY_DIR=$apply
lines=$(run export | jq '[.objects[] | select(.component == "network")] | length')
check_rows <<'ROWS'
8 | CONFIGSTORE_APPLY_TIMEOUT=abc apply network | .error.engineCode == 1100 and (.error.message | test("CONFIGSTORE_APPLY_TIMEOUT is 'abc', not a positive number of seconds"))
0 | apply network | map([.component, .stage, .status, .code, .exitValue]) == [["network", "network", "ok", 0, 0]]
8 | apply clock | .error.name == "MODULE_FAILED" and .error.engineCode == 1104 and (.error.message | test("clock exited with 3$")) and (.error.results | map(.component)) == ["clock"]
8 | CONFIGSTORE_APPLY_TIMEOUT=0.3 apply slow | .error.engineCode == 1103
8 | apply broken | .error.engineCode == 1102 and (.error.message | endswith("/broken is not executable (chmod +x)"))
8 | apply noshell | .error.engineCode == 1102 and (.error.message | endswith("/noshell: its interpreter /nonexistent/sh does not exist"))
8 | apply dangling | .error.engineCode == 1102 and (.error.message | endswith("/dangling is a link to nothing"))
8 | apply killed | .error.engineCode == 1104 and (.error.message | endswith("/killed was killed by signal 15 (SIGTERM)"))
6 | apply nosuch | .error.name == "CS_C_NOT_FOUND"
6 | status network nosuch | .error.message == "no apply result for nosuch"
0 | set noise things noisy v=1 | .ok
0 | apply noisy | .[0].output == "noise\\nnoise\\n"
0 | status network clock | map([.component, .stage, .status, .code, .exitValue]) == [["clock", "system", "failed", 1104, 3], ["network", "network", "ok", 0, 0]]
0 | export | [.objects[] | select(.component == "configstore")] == []
0 | export --component configstore | [.objects[].instanceId] | index("clock") != null
ROWS
[ "$(cat "$APPLY_LOG")" = "system-early 0 global $lines"$'\n'"network 0 global $lines"$'\n'"system clock" ] ||
    fail "apply network: $(cat "$APPLY_LOG")"
rm "$apply/system/slow" "$apply/system/broken" "$apply/system/noshell" "$apply/system/dangling" \
    "$apply/system/killed" "$APPLY_LOG"
code=0
boot=$(run apply --boot 2>/dev/null) || code=$?
[ "$code" -eq 8 ] || fail "apply --boot: exit $code"
[[ $boot == "clock: failed"*$'\n'"network: ok"* ]] || fail "a failed module hides the others: $boot"
[ "$(cut -d' ' -f1,2 "$APPLY_LOG" | tr '\n' ,)" = "system-early 1,network 1,system clock," ] ||
    fail "boot run: $(cat "$APPLY_LOG")"
run set interface interfaces network --instance eth1 mtu=1300 || fail "the boot status stayed"

# A boot run stopped by SIGTERM while a module runs clears the boot status, then ends by the signal.
printf '#!/bin/sh\ntouch "$APPLY_LOG.started"\nsleep 30\n' >"$apply/system/slow"
chmod +x "$apply/system/slow"
"${emulator[@]}" "$csctl" apply --boot >/dev/null 2>&1 &
boot=$!
for _ in $(seq 300); do [ -e "$APPLY_LOG.started" ] && break || sleep 0.1; done
kill -TERM "$boot"
code=0
wait "$boot" || code=$?
[ "$code" -eq 143 ] || fail "apply --boot stopped: exit $code"
run set interface interfaces network --instance eth1 mtu=1400 || fail "a stopped boot run left the boot status"

rm "$apply/system/slow"

# History: a chain with a delete is one commit, which log, show and diff read back; a rollback
# to the version before it undoes it in one new commit. A commit with history off leaves no
# history before it to roll back to.
before=$(run log --json | jq '.[0].version')
check_rows <<'ROWS'
0 | set interface interfaces network --instance eth1 mtu=1600 ++ delete interface interfaces network --instance eth2 | .ok
0 | log interface --instance eth2 | .[0].version > .[1].version and .[0].program == "csctl" and (.[0].uid | type) == "number" and .[0].changes[0] == {key: "interface", group: "interfaces", component: "network", instanceId: "eth2", class: "configuration"}
0 | show $((before + 1)) | map(select(.class == "configuration" and .value == "mtu") | [.instanceId, .before, .after]) == [["eth1", 1400, 1600], ["eth2", 1400, null]]
9 | diff $before $((before + 1)) | map(select(.class == "configuration") | .instanceId) | unique == ["eth1", "eth2"]
0 | rollback $before | .ok
0 | get interface interfaces network --instance eth2 mtu | .values.mtu == 1400
0 | diff $before | . == []
9 | diff $((before + 1)) | length > 0
6 | show 999999 | .error.message | test("no version 999999: the store is at version")
2 | CONFIGSTORE_HISTORY_COMMITS=0 set probe p demo h=2 --confirm 5 | .error.message | test("needs the store's history")
ROWS
# Keeping two commits, one of 16 more prunes the oldest (a batch at a time): a rollback to
# before them is refused.
for i in $(seq 16); do CONFIGSTORE_HISTORY_COMMITS=2 run set probe p demo "h=$i" >/dev/null; done
check_rows <<'ROWS'
6 | rollback 1 | .error.message | test("history before version [0-9]+ is no longer kept")
# A change waiting for confirmation shows in status until confirmed.
0 | set interface interfaces network --instance eth1 mtu=1500 --confirm 30 | .unconfirmed.id | test("^[0-9a-f-]{36}$")
0 | status | map(select(.status == "unconfirmed")) | length == 1
0 | confirm | .ok
6 | confirm | .error.message == "no change waits for confirmation"
ROWS
mtu() { run get interface interfaces network --instance eth1 --value mtu; }
# Unconfirmed, the change is undone within a second of its deadline (emulated: three).
slack=$((${#emulator[@]} > 0 ? 3000 : 1000))
run set interface interfaces network --instance eth1 mtu=1280 --confirm 1 >/dev/null
deadline=$(($(date +%s%3N) + 1000))
while [ "$(mtu)" != 1500 ] && [ "$(date +%s%3N)" -lt $((deadline + slack)) ]; do sleep 0.05; done
[ "$(mtu)" = 1500 ] && [ "$(date +%s%3N)" -lt $((deadline + slack)) ] || fail "an unconfirmed change stayed"
# After a reboot (the waiter gone with the host, the runtime directory emptied), the boot run
# undoes a change whose deadline passed before its modules run.
run set interface interfaces network --instance eth1 mtu=1280 --confirm 1.5 >/dev/null
pkill -KILL -f -- '--confirm 1.5' || fail "no waiter for --confirm"
rm -rf "$CONFIGSTORE_RUNTIME_DIR"
sleep 1.6
[ "$(mtu)" = 1280 ] || fail "a change was undone without a waiter"
[ "$(run --json status | jq '[.[] | select(.overdue)] | length')" = 1 ] || fail "status: overdue"
run apply --boot >/dev/null 2>&1 || true
[ "$(mtu)" = 1500 ] || fail "the boot run kept an unconfirmed change"
[ "$(run --json status network | jq '.[0].version')" = "$(run log --json | jq '.[0].version')" ] ||
    fail "the boot run's modules ran before the undo"

# A writer killed after its commit, before its modules ran, leaves their work pending: status
# lists it, apply --pending runs it (once). The object probe p demo is of component demo.
printf '#!/bin/sh\ntouch "$APPLY_LOG.demo"\nsleep 30\n' >"$apply/system/demo"
chmod +x "$apply/system/demo"
"${emulator[@]}" "$csctl" set probe p demo w=1 >/dev/null 2>&1 &
writer=$!
for _ in $(seq 300); do [ -e "$APPLY_LOG.demo" ] && break || sleep 0.1; done
kill -KILL "$writer"
pkill -KILL -f "$apply/system/demo" || true
wait "$writer" 2>/dev/null || true
printf '#!/bin/sh\n' >"$apply/system/demo"
check_rows <<'ROWS'
0 | status demo | .[0].status == "pending" and .[0].pending > 0
0 | apply --pending | map(.component) == ["demo"] and .[0].version > 0
0 | status demo | .[0].status == "ok" and (.[0] | has("pending") | not)
0 | apply --pending | . == []
ROWS

[ "$failures" -eq 0 ] || exit 1
echo "csctl: all checks passed"
