#!/usr/bin/env bash
# Installs the library the ways its users do and builds against it.
#  1. cmake --install of the plain build (BUILD_DIR, default build) into a temporary prefix: the
#     installed files are exactly the expected ones, without run paths; the examples build as an
#     outside project with pkg-config and with find_package and run on the installed stand-in
#     engine; the installed csctl and its shell completion pass their tests.
#  2. The Debian packages, from a build for /usr (PACKAGE_BUILD_DIR, default build-deb): they
#     install with apt-get; csctl, its completion in bash and zsh and a program built with
#     pkg-config work from /usr; a purge leaves none of their files. This part needs root or sudo.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh

build=${BUILD_DIR:-build}
package_build=${PACKAGE_BUILD_DIR:-build-deb}
packages=(libconfigstorec1 libconfigstorec-dev configstore-standin csctl)
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
tmp=$(mktemp -d)
installed=false
cleanup() {
    if $installed; then $sudo apt-get purge -y -q "${packages[@]}" >/dev/null 2>&1 || true; fi
    rm -rf "$tmp"
}
trap cleanup EXIT
fail() {
    echo "test-install: $*" >&2
    exit 1
}

echo "== Installed into a prefix"
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCONFIGSTOREC_WERROR=ON >/dev/null
cmake --build "$build"
prefix=$tmp/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null

pc=$(cd "$prefix" && find . -name configstorec.pc)
libdir=${pc#./}
libdir=${libdir%/pkgconfig/configstorec.pc}
expected="bin/csctl
include/configstorec.h
$libdir/cmake/configstorec/configstorec-config-version.cmake
$libdir/cmake/configstorec/configstorec-config.cmake
$libdir/libconfigstore.so
$libdir/libconfigstorec.so
$libdir/libconfigstorec.so.1
$libdir/libconfigstorec.so.1.0.0
$libdir/pkgconfig/configstorec.pc
share/bash-completion/completions/csctl
share/man/man1/csctl.1.gz
share/man/man3/configstorec.3.gz
share/zsh/vendor-completions/_csctl"
diff -u <(echo "$expected" | LC_ALL=C sort) <(cd "$prefix" && find . ! -type d | cut -c3- | LC_ALL=C sort) ||
    fail "the installed files are not the expected ones"
for file in "$prefix/bin/csctl" "$prefix/$libdir"/*.so*; do
    ! readelf -d "$file" | grep -E 'RPATH|RUNPATH' || fail "$file carries a run path"
done
warnings=$(man -l --warnings "$prefix"/share/man/man*/* 2>&1 >/dev/null)
[ -z "$warnings" ] || fail "the manual pages render with warnings: $warnings"

# Programs link against the prefix without help (the package files name it for the linker) and
# run from it through LD_LIBRARY_PATH, set once they are built.
export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig

[ "$(pkg-config --variable=prefix configstorec)" = "$prefix" ] || fail "configstorec.pc names another prefix"
mkdir "$tmp/pkg-config"
# shellcheck disable=SC2046  # the flags are words
cc -std=c11 -Wall -Wextra -Werror examples/interfaces.c $(pkg-config --cflags --libs configstorec) \
    -o "$tmp/pkg-config/interfaces"
cmake -S examples -B "$tmp/cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_C_FLAGS="-Wall -Wextra -Werror" >/dev/null
cmake --build "$tmp/cmake" >/dev/null
export LD_LIBRARY_PATH=$prefix/$libdir
tests/csctl/csctl-test.sh "$prefix/bin/csctl"
mkdir "$tmp/completion"
cp "$prefix/share/bash-completion/completions/csctl" "$tmp/completion/csctl.bash"
cp "$prefix/share/zsh/vendor-completions/_csctl" "$tmp/completion/"
tests/csctl/completion-test.sh "$tmp/completion"

# Each build stores the example's interfaces in a store of its own and reads them back.
export CONFIGSTORE_COMPONENTS_DIR=$PWD/examples/components
run_example() {
    local program=$1 store=$2
    # Read whole before matching: grep -q ends at the first match and, under pipefail, the writer's
    # broken pipe would fail the check.
    [[ $(ldd "$program") == *"libconfigstore.so => $prefix/$libdir/libconfigstore.so "* ]] ||
        fail "$program does not run on the installed engine"
    CONFIGSTORE_DIR=$store CONFIGSTORE_RUNTIME_DIR=$store/run "$program" write >/dev/null
    CONFIGSTORE_DIR=$store CONFIGSTORE_RUNTIME_DIR=$store/run "$program" read
}
run_example "$tmp/pkg-config/interfaces" "$tmp/store-pkg-config" >"$tmp/read-pkg-config"
run_example "$tmp/cmake/interfaces" "$tmp/store-cmake" >"$tmp/read-cmake"
grep -q '^enabled interfaces (2):' "$tmp/read-cmake" || fail "interfaces read: $(cat "$tmp/read-cmake")"
diff -u "$tmp/read-pkg-config" "$tmp/read-cmake" || fail "the two builds read different interfaces"
unset LD_LIBRARY_PATH PKG_CONFIG_PATH

echo "== Debian packages"
if [ -n "$sudo" ] && ! sudo -n true 2>/dev/null; then
    echo "skipped: installing packages needs root or sudo"
    exit 0
fi
cmake -S . -B "$package_build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_INSTALL_PREFIX=/usr \
    -DCONFIGSTOREC_TESTS=OFF -DCONFIGSTOREC_WERROR=ON -DCMAKE_DISABLE_FIND_PACKAGE_benchmark=ON >/dev/null
cmake --build "$package_build"
(cd "$package_build" && cpack -G DEB -B "$tmp/debs" >"$tmp/cpack.log" 2>&1) || fail "cpack: $(cat "$tmp/cpack.log")"
chmod -R a+rX "$tmp"  # apt reads local packages as its own user
ls -l "$tmp"/debs/*.deb
installed=true
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -q -o DPkg::Lock::Timeout=600 \
    "$tmp"/debs/*.deb >"$tmp/apt.log" 2>&1 || fail "apt-get install: $(cat "$tmp/apt.log")"
mapfile -t files < <(dpkg -L "${packages[@]}" | while read -r file; do [ -d "$file" ] || echo "$file"; done)

export CONFIGSTORE_DIR=$tmp/store-csctl CONFIGSTORE_RUNTIME_DIR=$tmp/store-csctl/run
[[ $(/usr/bin/csctl instance-id) =~ ^[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}$ ]] || fail "csctl instance-id"
/usr/bin/csctl set eth0 interfaces network mtu=9000
[[ $(/usr/bin/csctl get eth0 interfaces network mtu) =~ (^|[^0-9])9000([^0-9]|$) ]] || fail "csctl get does not read back the MTU"
# The shells find csctl's completion where the package puts it.
[ "$(bash -c '. /usr/share/bash-completion/bash_completion && _completion_loader csctl; complete -p csctl')" = \
    "complete -F _csctl csctl" ] || fail "bash-completion does not load csctl's completion"
[ "$(zsh -fc 'autoload -Uz compinit && compinit -u -D && print $_comps[csctl]')" = _csctl ] ||
    fail "zsh does not find csctl's completion"
# shellcheck disable=SC2046  # the flags are words
cc -std=c11 -Wall -Wextra -Werror examples/interfaces.c $(pkg-config --cflags --libs configstorec) \
    -o "$tmp/usr-interfaces"
[[ $(ldd "$tmp/usr-interfaces") =~ libconfigstore.so\ =\>\ (/usr)?/lib/ ]] || fail "the system's engine is not used"
export CONFIGSTORE_DIR=$tmp/store-usr CONFIGSTORE_RUNTIME_DIR=$tmp/store-usr/run
"$tmp/usr-interfaces" write >/dev/null
"$tmp/usr-interfaces" read | diff -u "$tmp/read-cmake" - || fail "interfaces read from /usr differs"

DEBIAN_FRONTEND=noninteractive $sudo apt-get purge -y -q "${packages[@]}" >"$tmp/apt.log" 2>&1 ||
    fail "apt-get purge: $(cat "$tmp/apt.log")"
installed=false
for file in "${files[@]}"; do
    if [ -e "$file" ] || [ -L "$file" ]; then fail "$file is left after the purge"; fi
done
for package in "${packages[@]}"; do
    ! dpkg-query -W "$package" >/dev/null 2>&1 || fail "$package is still known to dpkg"
done
echo "installed ${#files[@]} files from ${#packages[@]} packages and purged them"
