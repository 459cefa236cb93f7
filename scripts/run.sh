#!/usr/bin/env bash
# The main job: installs what is missing, builds, and runs the inetmgr tool.
# Extra arguments go to the tool (default: the overview of the library).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/deps.sh"
"$root/scripts/build.sh" "$root/build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
export INETMGR_DATA_DIR=${INETMGR_DATA_DIR:-$root/build/example-data}
mkdir -p "$INETMGR_DATA_DIR/etc"
exec "$root/build/tools/inetmgr" "$@"
