#!/usr/bin/env bash
# Installs the Debian packages of scripts/packages.txt, and of any further
# package lists given (scripts/deps.sh scripts/packages-fuzz.txt), that are not
# installed yet. Does nothing (and needs no network) when everything is there.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
missing=()
for list in "$here/packages.txt" "$@"; do
  while read -r pkg; do
    [[ -z "$pkg" || "$pkg" == \#* ]] && continue
    status=$(dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null || true)
    [[ "$status" == "install ok installed" ]] || missing+=("$pkg")
  done < "$list"
done
if ((${#missing[@]})); then
  echo "Installing missing packages: ${missing[*]}"
  sudo=""
  [[ $(id -u) -eq 0 ]] || sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
