#!/usr/bin/env bash
# Long fuzzing runs with libFuzzer (clang, ASan + UBSan):
#   scripts/fuzz.sh [seconds] [target]   (default: 600 seconds, sitelist_document_fuzzer)
# New inputs go to build-fuzz/corpus/<target>; the checked-in seeds stay as they are.
# Copy an input worth keeping into tests/fuzz/corpus/<target>/ so CTest replays it.
# Only this script needs clang: it installs it (scripts/packages-fuzz.txt).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
seconds=${1:-600}
target=${2:-sitelist_document_fuzzer}
"$root/scripts/deps.sh" "$root/scripts/packages-fuzz.txt"
"$root/scripts/build.sh" --target "$target" "$root/build-fuzz" -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo -DINETMGR_SANITIZE=address,undefined -DINETMGR_BUILD_FUZZERS=ON \
  -DINETMGR_BUILD_BENCH=OFF
corpus=$root/build-fuzz/corpus/$target
mkdir -p "$corpus"
# The target's scratch data directory goes here rather than to /tmp, so that
# not even a crashed or interrupted run leaves one behind there.
export TMPDIR=$root/build-fuzz/tmp
mkdir -p "$TMPDIR"
"$root/build-fuzz/tests/fuzz/$target" -max_total_time="$seconds" -print_final_stats=1 \
  "$corpus" "$root/tests/fuzz/corpus/$target"
