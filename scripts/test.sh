#!/usr/bin/env bash
# Runs every test: installs what is missing, builds and tests the plain build,
# then the same suite under AddressSanitizer + UndefinedBehaviorSanitizer, then
# the tests labelled "threads" under ThreadSanitizer, then the cross-built suites.
# Exits non-zero on any failure or sanitizer report.
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/deps.sh" || exit 1
jobs=$(nproc)
status=0

# run_suite NAME DIR TARGET LABEL [cmake args...]: builds TARGET (all when
# empty) in DIR and runs the tests with LABEL (all when empty). Scratch files
# go to DIR/tmp, emptied first, so that nothing is left in /tmp; whatever a
# test leaves behind is listed.
run_suite() {
  local name=$1 dir=$2 target=$3 label=$4
  shift 4
  echo "=== $name: build ==="
  if ! "$root/scripts/build.sh" ${target:+--target "$target"} "$dir" "$@"; then
    echo "=== $name: BUILD FAILED ==="
    status=1
    return
  fi
  echo "=== $name: test ==="
  rm -rf "$dir/tmp" && mkdir -p "$dir/tmp"
  if ! (cd "$dir" && TMPDIR="$dir/tmp" ctest --output-on-failure -j "$jobs" --timeout 600 --no-tests=error \
          ${label:+-L "$label"}); then
    echo "=== $name: TESTS FAILED ==="
    status=1
  fi
  local left
  left=$(find "$dir/tmp" -mindepth 1 -maxdepth 1 -printf '%f ')
  [[ -z "$left" ]] || echo "=== $name: tests left scratch files in $dir/tmp: $left"
}

# Benchmarks are built only by scripts/bench.sh.
run_suite "plain" "$root/build" "" "" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DINETMGR_BUILD_BENCH=OFF

export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:strict_string_checks=1:detect_stack_use_after_return=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
run_suite "asan+ubsan" "$root/build-asan" "" "" -DCMAKE_BUILD_TYPE=Debug -DINETMGR_SANITIZE=address,undefined \
  -DINETMGR_BUILD_BENCH=OFF

# ThreadSanitizer only finds races in code that runs threads, so this tree
# builds and runs just the test binaries labelled "threads" (tests/CMakeLists.txt).
export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
run_suite "tsan" "$root/build-tsan" inetmgr_thread_tests threads -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DINETMGR_SANITIZE=thread -DINETMGR_BUILD_BENCH=OFF

# Other architectures (scripts/test-cross.sh): the unit and public-API tests
# built for 32-bit i386 and for big-endian s390x (under qemu-user), and the
# library compiled for 32-bit PowerPC; their summaries again at the end.
for arch in i386 s390x powerpc; do
  echo "=== cross $arch ==="
  mkdir -p "$root/build-cross-$arch"
  "$root/scripts/test-cross.sh" "$arch" 2>&1 | tee "$root/build-cross-$arch/test.log" || status=1
done
for arch in i386 s390x powerpc; do
  echo "cross $arch: $(grep -E 'tests passed|objects built;|=== cross .*(FAILED|COULD NOT)' \
    "$root/build-cross-$arch/test.log" | tail -1)"
done

if ((status)); then echo "=== FAILED ==="; else echo "=== ALL PASSED ==="; fi
exit $status
