#!/usr/bin/env bash
# Installs the Debian packages the two builds and their tests need. Idempotent: a package that is
# already installed is not asked for again, so a second run installs nothing.
set -euo pipefail
packages=(cmake ninja-build g++ make pkg-config googletest libgtest-dev libgmock-dev libbenchmark-dev
    libhivex-dev libwin-hivex-perl clang-format nlohmann-json3-dev libcli11-dev
    g++-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64 wine wine64 xvfb xauth)
# `install-deps.sh fuzz`: clang with its libFuzzer and sanitizer runtimes, for `make fuzz` only.
[ "${1:-}" = fuzz ] && packages=(clang-14 libclang-rt-14-dev)
missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then
    echo "deps: all ${#packages[@]} packages present"
    exit 0
fi
echo "deps: installing ${missing[*]}"
sudo_cmd=()
[ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
echo "deps: installed ${#missing[@]} packages"
