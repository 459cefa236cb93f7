#!/usr/bin/env bash
# Long fuzzing runs with libFuzzer (clang, ASan + UBSan):
#   scripts/fuzz.sh [seconds] [target]   (default: 600 seconds, sitelist_document_fuzzer)
# New inputs go to build-fuzz/corpus/<target>; the checked-in seeds stay as they are.
# Copy an input worth keeping into tests/fuzz/corpus/<target>/ so CTest replays it.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
seconds=${1:-600}
target=${2:-sitelist_document_fuzzer}
"$root/scripts/deps.sh"
if [[ ! -f "$root/build-fuzz/build.ninja" ]]; then
  CC=clang CXX=clang++ cmake -S "$root" -B "$root/build-fuzz" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DINETMGR_SANITIZE=address,undefined -DINETMGR_BUILD_FUZZERS=ON -DINETMGR_BUILD_BENCH=OFF >/dev/null
fi
cmake --build "$root/build-fuzz" --target "$target"
corpus=$root/build-fuzz/corpus/$target
mkdir -p "$corpus"
"$root/build-fuzz/tests/fuzz/$target" -max_total_time="$seconds" -print_final_stats=1 \
  "$corpus" "$root/tests/fuzz/corpus/$target"
