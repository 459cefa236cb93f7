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

echo "--- exported symbols"
lib=$(ls "$prefix"/lib*/libinetmgr.so.1 | head -n 1)
exported=$(nm -D --defined-only -C "$lib" | awk '{ $1=""; $2=""; print }')
echo "$exported" | grep -q 'corvane_com::zel::inetmgr::getErrorText' || { echo "getErrorText is not exported"; exit 1; }
for symbol in createSiteListObject triggerShutdownInetMgr testResetSiteList; do
  nm -D --defined-only "$lib" | awk '{print $3}' | grep -qx "$symbol" || { echo "$symbol is not exported undecorated"; exit 1; }
done
if echo "$exported" | grep -E 'corvane_com::zel::platform::|inetmgr_internal'; then
  echo "internal symbols leak out of the library"; exit 1
fi
echo "package test passed"
