#!/usr/bin/env bash
# Builds an optimised tree and runs the benchmarks: scripts/bench.sh [benchmark args...]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/deps.sh"
"$root/scripts/build.sh" "$root/build-bench" -DCMAKE_BUILD_TYPE=Release -DINETMGR_BUILD_TESTS=OFF -DINETMGR_BUILD_BENCH=ON >/dev/null
for bench in "$root"/build-bench/tests/bench/*_bench; do
  "$bench" "$@"
done
