#!/usr/bin/env bash
# Runs every test: installs what is missing, builds and tests the plain build,
# then the same suite under AddressSanitizer + UndefinedBehaviorSanitizer, then
# under ThreadSanitizer.
# Exits non-zero on any failure or sanitizer report.
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/deps.sh" || exit 1
jobs=$(nproc)
status=0

run_suite() {
  local name=$1 dir=$2 label=$3
  shift 3
  echo "=== $name: build ==="
  if ! "$root/scripts/build.sh" "$dir" "$@"; then
    echo "=== $name: BUILD FAILED ==="
    status=1
    return
  fi
  echo "=== $name: test ==="
  if ! (cd "$dir" && ctest --output-on-failure -j "$jobs" --timeout 600 ${label:+-L "$label"}); then
    echo "=== $name: TESTS FAILED ==="
    status=1
  fi
}

run_suite "plain" "$root/build" "" -DCMAKE_BUILD_TYPE=RelWithDebInfo

export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:strict_string_checks=1:detect_stack_use_after_return=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
run_suite "asan+ubsan" "$root/build-asan" "" -DCMAKE_BUILD_TYPE=Debug -DINETMGR_SANITIZE=address,undefined \
  -DINETMGR_BUILD_BENCH=OFF

# Once more under ThreadSanitizer: the concurrency tests (label "concurrency")
# are the point, the rest is cheap once built.
export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
run_suite "tsan" "$root/build-tsan" "" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DINETMGR_SANITIZE=thread -DINETMGR_BUILD_BENCH=OFF

if ((status)); then echo "=== FAILED ==="; else echo "=== ALL PASSED ==="; fi
exit $status
