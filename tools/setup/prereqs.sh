#!/usr/bin/env bash
# prereqs.sh [--check] GROUP...: the Debian packages of deps/debian-packages.txt in GROUPs.
# Prints what is missing; as root it installs them (apt-get), otherwise it prints the exact
# command and exits 2. --check only reports: exit 0 when everything is there, 1 otherwise.
# `prereqs.sh --missing GROUP...` prints the missing package names only (for scripts).
set -euo pipefail
here=$(cd "$(dirname "$0")/../.." && pwd)
list=${QUORVI_PACKAGE_LIST:-$here/deps/debian-packages.txt}
mode=install
case "${1:-}" in --check|--missing) mode=${1#--}; shift ;; esac
[ $# -gt 0 ] || { echo "usage: prereqs.sh [--check|--missing] GROUP..." >&2; exit 2; }

wanted=()
for group in "$@"; do
  found=$(awk -v g="$group" '$1 == g { print $2 }' "$list")
  [ -n "$found" ] || { echo "prereqs: no package group '$group' in $list" >&2; exit 2; }
  wanted+=($found)
done
missing=()
for p in "${wanted[@]}"; do
  dpkg-query -W -f='${db:Status-Status}' "$p" 2>/dev/null | grep -qx installed || missing+=("$p")
done

case $mode in
  missing) printf '%s\n' "${missing[@]}"; exit 0 ;;
  check) [ ${#missing[@]} -eq 0 ] && exit 0
         echo "prereqs: missing packages (${*}): ${missing[*]}" >&2; exit 1 ;;
esac
[ ${#missing[@]} -eq 0 ] && exit 0
echo "prereqs: these Debian packages are needed for ${*} and are not installed:" >&2
echo "  ${missing[*]}" >&2
if [ "$(id -u)" != 0 ]; then
  echo "prereqs: not root, so nothing was installed; run:" >&2
  echo "  sudo apt-get update && sudo apt-get install -y ${missing[*]}" >&2
  exit 2
fi
command -v apt-get >/dev/null || { echo "prereqs: no apt-get on this system; install them by hand" >&2; exit 2; }
echo "prereqs: installing them with apt-get" >&2
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq "${missing[@]}" >/dev/null
