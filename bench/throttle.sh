#!/usr/bin/env bash
# Speed-limit accuracy of qftp, curl and lftp side by side (limits 100, 500, 5000 KiB/s, both
# directions) against one local vsftpd.
#   bench/throttle.sh [--no-build] [--limits "100 500 5000"] [--seconds 12] [--out FILE]
# Writes a Markdown table to docs/throttle-results.md (or --out) and prints it.
set -euo pipefail
cd "$(dirname "$0")/.."
ROOT_DIR=$(pwd)
BUILD=1 LIMITS="100 500 5000" SECONDS_EACH=12 OUT="$ROOT_DIR/docs/throttle-results.md"
while [ $# -gt 0 ]; do
  case "$1" in
    --no-build) BUILD=0; shift ;;
    --limits) LIMITS=$2; shift 2 ;;
    --seconds) SECONDS_EACH=$2; shift 2 ;;
    --out) OUT=$2; shift 2 ;;
    *) echo "throttle: unknown option $1" >&2; exit 2 ;;
  esac
done
. bench/lib.sh
bench_prepare "$BUILD" curl lftp

work=$(mktemp -d /tmp/quorvi-throttle.XXXXXX)
chmod 755 "$work"
server_pid=""
cleanup() {
  [ -n "$server_pid" ] && tests/fixtures/stop.sh "$server_pid" >/dev/null 2>&1 || true
  rm -rf "$work"
}
trap cleanup EXIT
mkdir -p "$work/root"
port=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])')
server_pid=$(tests/fixtures/start-vsftpd.sh "$work/root" "$port")
python3 bench/throttle.py "$QFTP" "$work/root" "$port" "$OUT" --limits "$LIMITS" --seconds "$SECONDS_EACH"
cat "$OUT"
