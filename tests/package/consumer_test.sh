#!/usr/bin/env bash
# consumer_test.sh BUILD_DIR CONSUMER_SOURCE_DIR
set -euo pipefail
build=$1
source=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
prefix=$scratch/prefix

cmake --install "$build" --prefix "$prefix" >/dev/null
export INETMGR_DATA_DIR=$scratch/data
export LD_LIBRARY_PATH=$prefix/lib:${LD_LIBRARY_PATH:-}

echo "--- with find_package"
cmake -S "$source" -B "$scratch/cmake-build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$scratch/cmake-build" >/dev/null
"$scratch/cmake-build/consumer"

echo "--- with pkg-config"
export PKG_CONFIG_PATH=$prefix/lib/pkgconfig
libdir=$(pkg-config --variable=libdir inetmgr)
[[ -d "$libdir" ]] || libdir=$prefix/lib
# shellcheck disable=SC2046
g++ -o "$scratch/consumer-pc" "$source/consumer.cc" $(pkg-config --cflags --libs inetmgr)
LD_LIBRARY_PATH=$libdir:$LD_LIBRARY_PATH "$scratch/consumer-pc"
# A host that cannot call useNetworkTransfers() asks through the environment.
mkdir -p "$scratch/files" && head -c 100000 /dev/urandom >"$scratch/files/in"
INETMGR_TRANSFER=network LD_LIBRARY_PATH=$libdir:$LD_LIBRARY_PATH "$scratch/consumer-pc" "$scratch/files"
# The package leaves the language standard to the consumer, and the headers
# say when it is too old.
[[ $(pkg-config --cflags inetmgr) != *-std=* ]] || { echo "inetmgr.pc forces a language standard"; exit 1; }
# shellcheck disable=SC2046
g++ -std=c++20 -fsyntax-only "$source/consumer.cc" $(pkg-config --cflags inetmgr)
# shellcheck disable=SC2046
if g++ -std=c++14 -fsyntax-only "$source/consumer.cc" $(pkg-config --cflags inetmgr) 2>"$scratch/old.err" ||
  ! grep -q "need C++17 or later" "$scratch/old.err"; then
  echo "a C++14 build is not told that the headers need C++17"; exit 1
fi

echo "--- the installed tool finds the library by itself"
out=$(env -u LD_LIBRARY_PATH "$prefix/bin/inetmgr" about) || { echo "installed inetmgr about exited $?"; exit 1; }
grep -q "^inetmgr 1\." <<<"$out" || { echo "unexpected output: $out"; exit 1; }
# (Captured first: grep -q closing the pipe early would fail ldd under pipefail.)
libraries=$(env -u LD_LIBRARY_PATH ldd "$prefix/bin/inetmgr")
grep -q "libinetmgr.so.1 => $prefix/" <<<"$libraries" ||
  { echo "the installed tool does not load the installed library"; exit 1; }

echo "--- exported symbols"
lib=$(ls "$prefix"/lib*/libinetmgr.so.1 | head -n 1)
exported=$(nm -D --defined-only -C "$lib" | awk '{ $1=""; $2=""; print }')
grep -q 'corvane_com::zel::inetmgr::getErrorText' <<<"$exported" || { echo "getErrorText is not exported"; exit 1; }
for symbol in createSiteListObject triggerShutdownInetMgr testResetSiteList; do
  grep -qx "$symbol" <<<"$(nm -D --defined-only "$lib" | awk '{print $3}')" || { echo "$symbol is not exported undecorated"; exit 1; }
done
if echo "$exported" | grep -E 'corvane_com::zel::platform::|inetmgr_internal'; then
  echo "internal symbols leak out of the library"; exit 1
fi
echo "package test passed"
