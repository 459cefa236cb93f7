#!/usr/bin/env bash
# The main job: installs what is missing, builds, and runs the inetmgr tool on
# examples/SiteList.xml (copied into a data directory under build/, where the
# library also writes its key, cache and CA bundle). Arguments replace the
# default command: ./scripts/run.sh help
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/deps.sh"
"$root/scripts/build.sh" "$root/build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
export INETMGR_DATA_DIR=${INETMGR_DATA_DIR:-$root/build/example-data}
mkdir -p "$INETMGR_DATA_DIR/etc"
cp "$root/examples/SiteList.xml" "$INETMGR_DATA_DIR/etc/SiteList.xml"
if (($#)); then
  exec "$root/build/tools/inetmgr" "$@"
fi
exec "$root/build/tools/inetmgr" sites
