#!/usr/bin/env bash
# A 200-file tree (4 KiB each, two folders) down and up with each client's defaults, on one local
# vsftpd, best of ROUNDS: the library (a FtpLibrary with only the connection set), the Python
# module, curl (one process, connection reused, the file list given) and Python's ftplib.
# usage: sudo bench/defaults.sh [ROUNDS] (3); QFTP_BUILD=build folder (build)
set -euo pipefail
cd "$(dirname "$0")/.."
. bench/lib.sh
ROUNDS=${1:-3}
BUILD=$(cd "${QFTP_BUILD:-build}" && pwd)
bench_prepare 0 curl
work=$(mktemp -d /tmp/quorvi-defaults.XXXXXX)
chmod 755 "$work"
pid=
trap '[ -n "$pid" ] && tests/fixtures/stop.sh "$pid"; rm -rf "$work"' EXIT
g++ -std=c++20 -O2 -Iinclude bench/defaults_host.cpp "$BUILD/libquorviftp.a" -lssl -lcrypto \
  -o "$work/defaults_host"
root=$work/server
mkdir -p "$root/tree/a" "$root/tree/b" "$work/src"
for i in $(seq 0 199); do head -c 4096 /dev/urandom >"$root/tree/$([ $i -lt 100 ] && echo a || echo b)/f$i.bin"; done
cp -r "$root/tree" "$work/src/tree"
port=$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
pid=$(tests/fixtures/start-vsftpd.sh "$root" "$port")
chmod -R a+rwX "$root/pub"

curl_tree() { # curl_tree ROUND: down then up, one curl process each, prints down/up seconds
  local cfg_down=$work/curl-down.cfg cfg_up=$work/curl-up.cfg f rel
  : >"$cfg_down"; : >"$cfg_up"
  for f in "$work"/src/tree/*/*; do
    rel=${f#"$work/src/"}
    printf 'url = "ftp://127.0.0.1:%s/%s"\noutput = "%s/curl-%s/%s"\n' "$port" "$rel" "$work" "$1" "$rel" >>"$cfg_down"
    printf 'upload-file = "%s"\nurl = "ftp://127.0.0.1:%s/pub/curl-%s/%s"\n' "$f" "$port" "$1" "$rel" >>"$cfg_up"
  done
  local t0 t1 t2
  t0=$(date +%s.%N)
  curl -s --create-dirs -u ftptest:ftptest -K "$cfg_down"
  t1=$(date +%s.%N)
  curl -s --ftp-create-dirs -u ftptest:ftptest -K "$cfg_up"
  t2=$(date +%s.%N)
  echo "down $(echo "$t1 - $t0" | bc)"; echo "up $(echo "$t2 - $t1" | bc)"
}

declare -A best
record() { # record CLIENT OUTPUT
  local what secs
  while read -r what secs; do
    local key="$1 $what"
    if [ -z "${best[$key]:-}" ] || (( $(echo "$secs < ${best[$key]}" | bc) )); then best[$key]=$secs; fi
  done <<<"$2"
}
for round in $(seq 1 "$ROUNDS"); do
  record library "$("$work/defaults_host" "$port" /tree/ "$work/lib-$round/" "$work/src/tree/" "/pub/lib-$round/")"
  record python "$(PYTHONPATH=$BUILD/python /usr/bin/python3 bench/defaults_clients.py quorviftp "$port" /tree/ "$work/py-$round/" "$work/src/tree/" "/pub/py-$round/")"
  record curl "$(curl_tree "$round")"
  record ftplib "$(/usr/bin/python3 bench/defaults_clients.py ftplib "$port" /tree "$work/ftplib-$round" "$work/src/tree" "/pub/ftplib-$round")"
done
printf '| client (defaults) | 200 files down, s | 200 files up, s |\n|---|---|---|\n'
for c in library python curl ftplib; do printf '| %s | %s | %s |\n' "$c" "${best[$c down]}" "${best[$c up]}"; done
