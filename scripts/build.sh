#!/usr/bin/env bash
# Configures and builds one build tree:
#   scripts/build.sh [--target NAME]... DIR [cmake args...]
# Every call configures with exactly the arguments given, so a tree never keeps
# an option from an earlier call: the build type and the project's options that
# are not given go back to their defaults. On an unchanged tree this costs a
# second or two and rebuilds nothing. Without --target the whole tree is built.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
targets=()
while [[ "${1:-}" == --target ]]; do
  targets+=(--target "$2")
  shift 2
done
dir=$1
shift

# A cache entry is forgotten (-U) unless this call sets it.
forget=()
for var in CMAKE_BUILD_TYPE INETMGR_SANITIZE INETMGR_BUILD_TESTS INETMGR_BUILD_BENCH INETMGR_BUILD_FUZZERS INETMGR_WITH_SMB INETMGR_WITH_CURL; do
  given=0
  for arg in "$@"; do
    [[ "$arg" == -D"$var"=* || "$arg" == -D"$var":* || "$arg" == "$var"=* || "$arg" == "$var":* ]] && given=1
  done
  ((given)) || forget+=("-U$var")
done

cmake -S "$root" -B "$dir" -G Ninja "${forget[@]}" "$@" >/dev/null
cmake --build "$dir" -j "$(nproc)" "${targets[@]}"
