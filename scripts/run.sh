#!/usr/bin/env bash
# The main job: installs what is missing, builds, and runs the inetmgr tool on
# examples/SiteList.xml (copied into a data directory under build/, where the
# library also writes its key, cache and CA bundle). Arguments replace the
# default command: ./scripts/run.sh help
# It builds only the tool, in the tree (and with the options) of the plain test
# build, so the two commands do not reconfigure each other's tree.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/deps.sh"
# The build's progress goes to stderr; stdout is the tool's alone.
"$root/scripts/build.sh" --target inetmgr_cli "$root/build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DINETMGR_BUILD_BENCH=OFF >&2
export INETMGR_DATA_DIR=${INETMGR_DATA_DIR:-$root/build/example-data}
mkdir -p "$INETMGR_DATA_DIR/etc"
cp "$root/examples/SiteList.xml" "$INETMGR_DATA_DIR/etc/SiteList.xml"
# The example as it is now: no cache or CA bundle of an earlier run (the key
# stays, so encrypted passwords of the example keep reading).
rm -rf "$INETMGR_DATA_DIR/etc/sitecache.bin" "$INETMGR_DATA_DIR/etc/cabundle.cer" "$INETMGR_DATA_DIR/var"
if (($#)); then
  exec "$root/build/tools/inetmgr" "$@"
fi
exec "$root/build/tools/inetmgr" sites
