#!/usr/bin/env bash
# Configures (once) and builds one build tree: scripts/build.sh DIR [cmake args...]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
dir=$1
shift
if [[ ! -f "$dir/build.ninja" ]]; then
  cmake -S "$root" -B "$dir" -G Ninja "$@"
fi
cmake --build "$dir"
