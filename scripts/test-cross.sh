#!/usr/bin/env bash
# Cross-builds and tests another architecture: scripts/test-cross.sh ARCH
#   i386     32-bit little-endian: library, tool, unit and public-API tests,
#            run natively, and what it exchanges with the native build
#            (a cache it must refuse, a stored password it must write alike)
#   s390x    64-bit big-endian: the same, run under qemu-user
#   powerpc  32-bit big-endian: every object of the library and the tool, and
#            a link check (no Debian 12 port, so nothing to run; see README)
# The cross compiler comes from scripts/packages-cross-ARCH.txt (installed by
# scripts/deps.sh); the target's libraries from scripts/packages-cross-target.txt,
# unpacked into build-cross-ARCH/sysroot. Ends with ctest's summary (powerpc:
# a summary line of its own) and exits non-zero on any failure.
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
arch=${1:-}
case $arch in
  i386) debarch=i386 triplet=i686-linux-gnu multiarch=i386-linux-gnu ;;
  s390x) debarch=s390x triplet=s390x-linux-gnu multiarch=s390x-linux-gnu ;;
  # Headers from armhf: 32-bit, and its OpenSSL configuration (BN_LLONG,
  # THIRTY_TWO_BIT, RC4_CHAR) is what OpenSSL's own linux-ppc target takes.
  powerpc) debarch=armhf triplet=powerpc-linux-gnu multiarch=arm-linux-gnueabihf ;;
  *)
    echo "usage: $0 i386|s390x|powerpc" >&2
    exit 2
    ;;
esac
build=$root/build-cross-$arch
sysroot=$build/sysroot
start=$SECONDS
status=0
fail() {
  echo "=== cross $arch: $* ==="
  status=1
}

"$root/scripts/deps.sh" "$root/scripts/packages-cross-$arch.txt" || exit 1

# The target's packages are unpacked, not installed, with an apt state of
# their own: installed beside the machine's packages they would have to match
# the machine's versions exactly (Multi-Arch: same), and Debian's security
# archive carries no s390x, so the machine's libssl3 would have to go back to
# an older version. The machine's apt configuration is left as it is.
unpack_sysroot() {
  local list=$root/scripts/packages-cross-target.txt
  local wanted
  wanted="$debarch $(grep -v '^#' "$list" | tr -s ' \n' ' ')"
  [[ -f $sysroot/.unpacked && "$(cat "$sysroot/.unpacked")" == "$wanted" ]] && return 0
  local apt=$build/apt
  local -a packages opts
  if [[ $arch == powerpc ]]; then
    mapfile -t packages < <(awk '!/^#/ && $2 == "headers" {print $1}' "$list")
  else
    mapfile -t packages < <(awk '!/^#/ && NF {print $1}' "$list")
  fi
  opts=(-q -o "APT::Architecture=$debarch" -o "APT::Architectures::=$debarch"
    -o "Dir::State::Lists=$apt/lists" -o "Dir::State::status=$apt/status" -o "Dir::Cache=$apt/cache"
    -o Debug::NoLocking=1 -o APT::Sandbox::User=root)
  rm -rf "$apt" "$sysroot"
  mkdir -p "$apt/lists/partial" "$apt/cache/archives/partial" "$apt/debs" "$sysroot"
  touch "$apt/status"
  echo "=== cross $arch: unpacking ${packages[*]} ($debarch) ==="
  # An index that fails to download (an architecture the security archive
  # lacks, a mirror mid-sync) is reported and left out; the download says
  # whether what came is enough.
  if ! apt-get "${opts[@]}" update >"$apt/update.log" 2>&1; then
    echo "(some package indexes did not download; going on with the others)"
    grep -E '^E:' "$apt/update.log"
  fi
  if ! (cd "$apt/debs" && apt-get "${opts[@]}" download "${packages[@]}" >"$apt/download.log" 2>&1); then
    cat "$apt/download.log"
    return 1
  fi
  local deb
  for deb in "$apt"/debs/*.deb; do
    if [[ $arch == powerpc ]]; then
      dpkg-deb --fsys-tarfile "$deb" | tar -x -C "$sysroot" ./usr/include || return 1
    else
      dpkg-deb -x "$deb" "$sysroot" || return 1
    fi
  done
  if [[ $arch == powerpc ]]; then
    mv "$sysroot/usr/include/$multiarch" "$sysroot/usr/include/$triplet" || return 1
  fi
  echo "$wanted" >"$sysroot/.unpacked"
}
unpack_sysroot || {
  fail "COULD NOT UNPACK THE TARGET'S PACKAGES"
  exit 1
}
export INETMGR_CROSS_SYSROOT=$sysroot

# Without the network backends of libcurl and libsmbclient: the sysroots carry
# neither (nor their many libraries), and what these suites check, bytes on
# 32-bit and big-endian machines, is the library's own code.
configure() {
  cmake -S "$root" -B "$build" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchain-$arch.cmake" \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DINETMGR_BUILD_BENCH=OFF -DINETMGR_WITH_SMB=OFF -DINETMGR_WITH_CURL=OFF \
    "$@" >"$build/configure.log" 2>&1 ||
    {
      cat "$build/configure.log"
      rm -f "$build/build.ninja"
      return 1
    }
}

# powerpc: every object, then a shared library linked from them with the
# three missing libraries' symbols left open; anything else left open is a fault.
if [[ $arch == powerpc ]]; then
  echo "=== cross powerpc: build ==="
  configure -DINETMGR_BUILD_TESTS=OFF || {
    fail "CONFIGURE FAILED"
    exit 1
  }
  mapfile -t objects < <(cd "$build" && ninja -t targets all | sed -n 's/^\(\(src\|tools\)\/[^:]*\.o\): .*/\1/p')
  if ! cmake --build "$build" -j2 --target inetmgr_internal || ! (cd "$build" && ninja -j2 "${objects[@]}"); then
    fail "BUILD FAILED"
    exit 1
  fi
  library=$build/libinetmgr-unresolved.so
  init=$(printf '%s\n' "${objects[@]}" | grep 'library_init\.cc\.o$')
  if ! "$triplet-g++" -shared -o "$library" "$build/$init" \
    -Wl,--whole-archive "$build/src/libinetmgr_internal.a" -Wl,--no-whole-archive -pthread; then
    fail "LINK FAILED"
    exit 1
  fi
  # Open symbols without a version are the ones no linked library provides.
  mapfile -t open < <("$triplet-nm" -D --undefined-only "$library" | awk '$2 !~ /@/ {print $2}' | "$triplet-c++filt")
  foreign=$(printf '%s\n' "${open[@]}" | sed -E 's/^(typeinfo|vtable|VTT) for //' |
    grep -Ev '^(boost::(archive|serialization)::|pugi::|(EVP|OPENSSL|OSSL|ERR|CRYPTO|RAND)_)' |
    grep -Ev '^(__gmon_start__|_ITM_.*|__cxa_finalize)$' || true)
  if [[ -n $foreign ]]; then
    echo "$foreign"
    fail "SYMBOLS LEFT OPEN THAT NO MISSING LIBRARY EXPLAINS"
  fi
  echo "${#objects[@]} objects built; libinetmgr links but for ${#open[@]} symbols of Boost.Serialization," \
    "OpenSSL and pugixml (no powerpc builds in Debian 12); $((SECONDS - start)) s"
  ((status)) && echo "=== cross powerpc: FAILED ==="
  exit $status
fi

echo "=== cross $arch: build ==="
configure || {
  fail "CONFIGURE FAILED"
  exit 1
}
cmake --build "$build" -j2 || {
  fail "BUILD FAILED"
  exit 1
}
echo "=== cross $arch: built in $((SECONDS - start)) s ==="

# How a cross-built program is started: as the toolchain's emulator does.
if [[ $arch == s390x ]]; then
  run_target() {
    /usr/bin/qemu-s390x-static -L "/usr/$triplet" -E "QEMU_LD_PREFIX=/usr/$triplet" \
      -E "LOCPATH=$sysroot/usr/lib/locale" "$@"
  }
  # A death test starts the test program again: the kernel needs qemu
  # registered for s390x programs.
  if [[ ! -e /proc/sys/fs/binfmt_misc/qemu-s390x ]]; then
    sudo=""
    [[ $(id -u) -eq 0 ]] || sudo="sudo"
    $sudo update-binfmts --enable qemu-s390x || echo "(qemu is not registered for s390x programs: the death tests will fail)"
  fi
  # Tests that need what qemu-user does not offer skip themselves.
  export INETMGR_TEST_EMULATED=1
else
  run_target() { "$@"; }
fi

# Files the native build writes, read by this build, and the other way round.
# The native tool comes from the plain build tree (built here when missing).
# A subshell, so that its data directory goes no further.
check_exchange() (
  local native=$root/build/tools/inetmgr cross=$build/tools/inetmgr data=$build/exchange
  if [[ ! -x $native ]]; then
    [[ -f $root/build/build.ninja ]] || cmake -S "$root" -B "$root/build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
    cmake --build "$root/build" -j2 --target inetmgr_cli >/dev/null || exit 1
  fi
  rm -rf "$data"
  mkdir -p "$data/etc"
  export INETMGR_DATA_DIR=$data
  local ok=0 nativeText crossText
  # A site list password is stored as UTF-8 under the fleet's key, the same
  # text on every machine: both builds must write it alike.
  nativeText=$(printf 'Pa\xc3\x9fwort-\xe2\x82\xac\n' | "$native" encrypt-password) || {
    echo "native: encrypt-password failed"
    exit 1
  }
  crossText=$(printf 'Pa\xc3\x9fwort-\xe2\x82\xac\n' | run_target "$cross" encrypt-password) || {
    echo "$arch: encrypt-password failed"
    exit 1
  }
  if [[ $nativeText != "$crossText" ]]; then
    echo "encrypted password differs: native $nativeText, $arch $crossText"
    ok=1
  fi
  sed "s|<UserName>anonymous</UserName>|&<Password>$nativeText</Password>|" "$root/examples/SiteList.xml" \
    >"$data/etc/SiteList.xml"
  # The native tool writes the cache; this build must refuse it, saying why,
  # read the document instead and list the same sites; next it reads the
  # cache it wrote itself, and last the native tool refuses that one.
  local step first=""
  for step in native cross cross-again native-again; do
    local tool=$native runner=""
    [[ $step == cross* ]] && tool=$cross runner=run_target
    if ! $runner "$tool" sites >"$data/$step.out" 2>"$data/$step.err"; then
      echo "$step: inetmgr sites failed"
      cat "$data/$step.err"
      ok=1
      continue
    fi
    [[ -f $data/etc/sitecache.bin ]] || {
      echo "$step: no cache written"
      ok=1
    }
    if [[ $step == native ]]; then
      first=$data/$step.out
    elif ! cmp -s "$first" "$data/$step.out"; then
      echo "$step: the site listing differs from the native one"
      diff "$first" "$data/$step.out"
      ok=1
    fi
    case $step in
      cross | native-again) grep -q 'written by another build' "$data/$step.err" || {
        echo "$step: the other build's cache was not refused as such"
        cat "$data/$step.err"
        ok=1
      } ;;
      cross-again) ! grep -q 'Cannot use cache file' "$data/$step.err" || {
        echo "$step: its own cache was refused"
        cat "$data/$step.err"
        ok=1
      } ;;
    esac
  done
  grep -h 'another build' "$data/cross.err" "$data/native-again.err"
  exit $ok
)
echo "=== cross $arch: cache and password exchange with the native build ==="
if check_exchange; then
  echo "=== cross $arch: exchange passed ==="
else
  fail "EXCHANGE FAILED"
fi

# The unit and public-API tests, in one ctest run for one summary.
suite=$build/cross-suite
mkdir -p "$suite"
printf 'subdirs("%s" "%s")\n' "$build/tests/unit" "$build/tests/api" >"$suite/CTestTestfile.cmake"
echo "=== cross $arch: test ($((SECONDS - start)) s so far) ==="
if ! (cd "$suite" && ctest --output-on-failure -j 2 --timeout 900); then
  fail "TESTS FAILED"
fi
((status)) && echo "=== cross $arch: FAILED ==="
exit $status
