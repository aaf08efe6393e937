#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need, when any of them is missing.
# Further package names may be given as arguments.
set -euo pipefail

packages=(
    binutils
    cmake
    g++
    gcc
    googletest
    libbenchmark-dev
    libgtest-dev
    ninja-build
    rapidjson-dev
    libsqlite3-dev
    libzstd-dev
    uuid-dev
    libcli11-dev
    bash-completion
    zsh
    jq
    json-schema-test-suite
    scdoc
    man-db
    pkg-config
    dpkg-dev
    file
    uuid-runtime
    procps
    "$@"
)

missing=()
for package in "${packages[@]}"; do
    status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
    [ "$status" = "install ok installed" ] || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
apt_options=(-y -q -o DPkg::Lock::Timeout=600)
$sudo apt-get update -q -o DPkg::Lock::Timeout=600
DEBIAN_FRONTEND=noninteractive $sudo apt-get install "${apt_options[@]}" "${missing[@]}"
