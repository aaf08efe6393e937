#!/usr/bin/env bash
# csctl's bash and zsh completion, as TAB gives it at the end of a line: in plain bash, in bash
# with bash-completion and in zsh's compsys, against a stub csctl whose store holds a few objects.
# Takes the directory of the completion scripts; by default the one in the source tree.
set -euo pipefail
export LC_ALL=C
scripts=$(cd "${1:-$(dirname "$0")/../../tools/csctl/completion}" && pwd)
for shell in bash zsh; do
    if ! command -v "$shell" >/dev/null; then
        echo "SKIP: $shell is not installed"
        exit 77
    fi
done
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
mkdir "$tmp/bin" "$tmp/documents"
touch "$tmp/documents/objects.json"

# "list [KEY] [--group G] [--component C]" over a few objects (key|group|component|instance id),
# printed as csctl prints them, quoted where need be; the namespace "broken" fails.
cat >"$tmp/bin/csctl" <<'EOF'
#!/bin/sh
namespace=""
if [ "$1" = --namespace ]; then namespace=$2 && shift 2; fi
[ "$1" = list ] || exit 2
shift
key="" group="" component=""
while [ $# -gt 0 ]; do
    case $1 in
    --group) group=$2 && shift ;;
    --component) component=$2 && shift ;;
    *) key=$1 ;;
    esac
    shift
done
case $namespace in
broken) echo "probe wrong namespace" && echo "csctl: no such namespace" >&2 && exit 1 ;;
lab) objects='probe|sensors|lab|
$(uname)|sensors*|lab|
$(uname)|my sensors|lab|' ;;
*) objects="eth0|interfaces|network|
eth0|interfaces|network|port-a
eth0|routes|network|port-b
eth0|interfaces|bridge|port-c
wlan0|interfaces|wireless|
ntp|servers|time|" ;;
esac
echo "$objects" | awk -F'|' -v k="$key" -v g="$group" -v c="$component" -v q="'" '
    function word(name) { return name ~ /^[A-Za-z0-9_.,:\/@%+=-]+$/ ? name : q name q }
    (k == "" || $1 == k) && (g == "" || $2 == g) && (c == "" || $3 == c) {
        print word($1) " " word($2) " " word($3) ($4 == "" ? "" : " --instance " word($4))
    }'
EOF
chmod +x "$tmp/bin/csctl"

# A line, "|", and the matches TAB offers at its end, sorted.
cases=(
    "csctl ge|get"
    "csctl i|import, instance-id"
    "csctl set k g c --cl|--class"
    "csctl get k g c --js|--json"
    "csctl --namespace n list --gr|--group"
    "csctl set k g c --class v|vital"
    "csctl update --context |external, internal"
    "csctl get |eth0, ntp, wlan0"
    "csctl update --int mtu=1 eth0 |interfaces, routes"
    "csctl edit eth0 interfaces |bridge, network"
    "csctl get eth0 interfaces network --instance |port-a"
    "csctl list eth0 --group routes --instance |port-b"
    "csctl export --group |interfaces, routes, servers"
    "csctl list --component wireless |wlan0"
    "csctl export ntp |eth0, ntp, wlan0"
    "csctl apply |bridge, network, time, wireless"
    "csctl set k g c a=1 ++ |delete, set, update"
    "csctl set k g c ++ up|update"
    "csctl set k g c ++ delete eth0 |interfaces, routes"
    "csctl --namespace lab set k g c ++ delete |\$(uname), probe"
    "csctl get --namespace lab |\$(uname), probe"
    "csctl get --namespace lab '\$(uname)' |my sensors, sensors*"
    "csctl get --namespace lab \\\$\\(un|\$(uname)"
    "csctl --namespace broken get |"
    "csctl import |objects.json"
)

# Each driver reads lines, the stub named by its path, and prints the names each line's matches
# stand for, sorted.
cat >"$tmp/driver.bash" <<'EOF'
[ "$1" = plain ] || source /usr/share/bash-completion/bash_completion
source "$2"
while IFS= read -r COMP_LINE; do
    COMP_POINT=${#COMP_LINE}
    read -r -a COMP_WORDS <<<"$COMP_LINE"
    [[ $COMP_LINE == *" " ]] && COMP_WORDS+=("")
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    COMPREPLY=()
    _csctl
    for reply in "${COMPREPLY[@]}"; do eval "printf '%s\n' $reply"; done | sort -u | paste -sd, | sed "s/,/, /g"
done
EOF
# zsh types each line and TAB into an interactive zsh, which notes every match compsys adds (the
# calls that only sift matches are passed on) and marks the end of the completion.
cat >"$tmp/.zshrc" <<'EOF'
fpath=("$COMPLETION_SCRIPTS" $fpath)
autoload -Uz compinit && compinit -u -D
compadd() {
    if [[ ${@[1,(i)(-|--)]} == *-(O|A|D)\ * ]]; then builtin compadd "$@"; return; fi
    local -a hits
    builtin compadd -A hits "$@"
    (( $#hits )) && print -rl -- $hits >>"$COMPLETION_HITS"
    builtin compadd "$@"
}
complete-and-mark() { zle complete-word; print -n "<<done>>"; BUFFER=; }
zle -N complete-and-mark
bindkey '^I' complete-and-mark
EOF
cat >"$tmp/driver.zsh" <<'EOF'
zmodload zsh/zpty
zpty shell "ZDOTDIR=${COMPLETION_HITS:h} TERM=xterm zsh -i"
while IFS= read -r line; do
    : >|"$COMPLETION_HITS"
    zpty -w -n shell "$line"$'\t'
    zpty -r shell output "*<<done>>*"
    [[ $output != *"csctl: "* ]] || print -ru2 -- "$output"  # errors of csctl on the terminal
    print -r -- ${(j:, :)${(ou)${(Q)${(f)"$(<"$COMPLETION_HITS")"}}}}  # as names, unquoted
done
zpty -d shell
EOF
export COMPLETION_SCRIPTS=$scripts COMPLETION_HITS=$tmp/hits

lines=$(for row in "${cases[@]}"; do echo "$tmp/bin/${row%%|*}"; done)
expected=$(for row in "${cases[@]}"; do echo "${row#*|}"; done)
failed=0
check() {
    local name=$1 actual
    actual=$(cd "$tmp/documents" && "${@:2}" <<<"$lines" 2>"$tmp/errors") || true
    if [ -s "$tmp/errors" ] || [ "$actual" != "$expected" ]; then
        echo "FAIL: $name" >&2
        diff <(paste -d'|' <(echo "$lines") <(echo "$expected")) \
            <(paste -d'|' <(echo "$lines") <(echo "$actual")) >&2 || true
        cat "$tmp/errors" >&2
        failed=1
    fi
}
check "plain bash" bash --norc --noprofile "$tmp/driver.bash" plain "$scripts/csctl.bash"
if [ -f /usr/share/bash-completion/bash_completion ]; then
    check "bash-completion" bash --norc --noprofile "$tmp/driver.bash" full "$scripts/csctl.bash"
fi
check "zsh" zsh -f "$tmp/driver.zsh"
exit $failed
