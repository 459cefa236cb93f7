#!/usr/bin/env bash
# The main job: installs what is missing, builds, and runs the inetmgr tool for
# real on examples/SiteList.xml (copied into a data directory under build/,
# where the library also writes its key, cache and CA bundle): the site list as
# the library reads it, its sites ranked by ping time, and a download that walks
# the sites nearest first until one serves the file. The example's company
# servers do not exist, so each fails in turn (quickly: connections are bounded
# by INETMGR_CONNECT_TIMEOUT, 5 s here) and the example's local-path repository,
# examples/repository (a path relative to the repository root, where the tool
# runs), serves the file into build/example-download.
# Arguments replace the default commands: ./scripts/run.sh help
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
cd "$root"
export INETMGR_CONNECT_TIMEOUT=${INETMGR_CONNECT_TIMEOUT:-5}
tool=$root/build/tools/inetmgr
if (($#)); then
  exec "$tool" "$@"
fi
rm -rf "$root/build/example-download"
echo "\$ inetmgr sites"
"$tool" sites
echo
echo "\$ inetmgr rank --method ping --timeout 1"
"$tool" rank --method ping --timeout 1
echo
echo "\$ inetmgr download --file catalog.txt --from /Software --to build/example-download"
"$tool" download --file catalog.txt --from /Software --to build/example-download
cmp -s examples/repository/Software/catalog.txt build/example-download/catalog.txt
echo "build/example-download/catalog.txt matches examples/repository/Software/catalog.txt"
