#!/usr/bin/env bash
# Throughput, CPU and memory of qftp against curl and lftp on one local vsftpd, in one run.
#   bench/run.sh [--rounds N] [--sizes "1M 64M 1G"] [--no-build] [--out FILE]
# Needs root on a fresh machine (installs the server and the tools). Writes a Markdown table
# to docs/benchmark-results.md (or --out) and prints it.
set -euo pipefail
cd "$(dirname "$0")/.."
ROOT_DIR=$(pwd)
ROUNDS=3 SIZES="1M 64M 1G" BUILD=1 OUT="$ROOT_DIR/docs/benchmark-results.md" TREE_FILES=2000
while [ $# -gt 0 ]; do
  case "$1" in
    --rounds) ROUNDS=$2; shift 2 ;;
    --sizes) SIZES=$2; shift 2 ;;
    --no-build) BUILD=0; shift ;;
    --out) OUT=$2; shift 2 ;;
    --tree-files) TREE_FILES=$2; shift 2 ;;
    *) echo "bench: unknown option $1" >&2; exit 2 ;;
  esac
done

. bench/lib.sh
bench_prepare "$BUILD" curl lftp

work=$(mktemp -d /tmp/quorvi-bench.XXXXXX)
chmod 755 "$work"
# The server's files live in memory when /dev/shm allows it: the table compares clients, and
# the server's own disk (truncating or flushing the previous run's upload) would blur it.
# The clients read and write their files on disk.
served=$work
if [ -d /dev/shm ] && [ -w /dev/shm ]; then served=$(mktemp -d /dev/shm/quorvi-bench.XXXXXX); fi
chmod 755 "$served"
server_pid=""
cleanup() {
  [ -n "$server_pid" ] && tests/fixtures/stop.sh "$server_pid" >/dev/null 2>&1 || true
  rm -rf "$work" "$served"
}
trap cleanup EXIT

root="$served/root"
mkdir -p "$root/bench/tree" "$work/out"
for size in $SIZES; do head -c "$size" /dev/urandom >"$root/bench/file-$size.bin"; done
for ((i = 0; i < TREE_FILES; i++)); do
  d="$root/bench/tree/d$((i / 100))"
  mkdir -p "$d"
  head -c 4096 /dev/urandom >"$d/f$i.dat"
done
for size in $SIZES; do cp "$root/bench/file-$size.bin" "$work/up-$size.bin"; done

port=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])')
server_pid=$(tests/fixtures/start-vsftpd.sh "$root" "$port")
USERPASS=ftptest:ftptest
URL="ftp://$USERPASS@127.0.0.1:$port"
QARGS=(-H 127.0.0.1 -P "$port" -u ftptest -p ftptest -q)
LFTP=(lftp -u ftptest,ftptest -p "$port" -e)
LSET="set ftp:ssl-allow no; set xfer:clobber on; set net:max-retries 1;"

rows=()
# measure LABEL OP SIZE_BYTES COMMAND...: runs the command under /usr/bin/time.
measure() {
  local label=$1 op=$2 bytes=$3; shift 3
  rm -rf "$work/out" && mkdir -p "$work/out"
  if ! /usr/bin/time -o "$work/time" -f '%e %U %S %M' "$@" >/dev/null 2>"$work/err"; then
    echo "bench: $label $op failed: $(tail -n 3 "$work/err")" >&2
    rows+=("$label|$op|$bytes|fail|fail|fail|fail")
    return
  fi
  read -r secs user sys rss <"$work/time"
  rows+=("$label|$op|$bytes|$secs|$user|$sys|$rss")
}

for ((round = 1; round <= ROUNDS; round++)); do
  for size in $SIZES; do
    bytes=$(stat -c %s "$root/bench/file-$size.bin")
    f="bench/file-$size.bin"
    measure curl "download $size" "$bytes" curl -s -o "$work/out/f.bin" "$URL/$f"
    measure lftp "download $size" "$bytes" "${LFTP[@]}" "$LSET get $f -o $work/out/f.bin; quit" 127.0.0.1
    measure "qftp" "download $size" "$bytes" "$QFTP" "${QARGS[@]}" download "/$f" "$work/out/"
    measure "qftp pause 10" "download $size" "$bytes" "$QFTP" "${QARGS[@]}" --pause-ms 10 download "/$f" "$work/out/"
    # Every upload creates its file: the server never truncates the previous run's copy.
    measure curl "upload $size" "$bytes" curl -s -T "$work/up-$size.bin" "$URL/bench/up-$size.bin"
    rm -f "$root/bench/up-$size.bin"
    measure lftp "upload $size" "$bytes" "${LFTP[@]}" "$LSET put $work/up-$size.bin -o bench/up-$size.bin; quit" 127.0.0.1
    rm -f "$root/bench/up-$size.bin"
    measure "qftp" "upload $size" "$bytes" "$QFTP" "${QARGS[@]}" upload "$work/up-$size.bin" "/bench/"
    rm -f "$root/bench/up-$size.bin"
    measure "qftp pause 10" "upload $size" "$bytes" "$QFTP" "${QARGS[@]}" --pause-ms 10 upload "$work/up-$size.bin" "/bench/"
    rm -f "$root/bench/up-$size.bin"
    # A host's choice for links with a tiny round-trip time (docs/transfers.md, socket buffers).
    measure "qftp sndbuf 128K" "upload $size" "$bytes" "$QFTP" "${QARGS[@]}" --sndbuf 128k upload "$work/up-$size.bin" "/bench/"
    rm -f "$root/bench/up-$size.bin"
  done
  tree_bytes=$((TREE_FILES * 4096))
  # Each tree goes to a folder of its own that stays until the end: ext4 creates files slowly
  # right after thousands were deleted (it scans for recently freed inodes), which would
  # measure the previous run's clean-up instead of the tool.
  trees="$work/trees/$round"
  mkdir -p "$trees/lftp" "$trees/qftp"
  measure lftp "tree $TREE_FILES files" "$tree_bytes" "${LFTP[@]}" "$LSET mirror bench/tree $trees/lftp/tree; quit" 127.0.0.1
  measure "qftp" "tree $TREE_FILES files" "$tree_bytes" "$QFTP" "${QARGS[@]}" download /bench/tree/ "$trees/qftp/"
done

python3 "$ROOT_DIR/bench/report.py" "$OUT" "${rows[@]}"
cat "$OUT"
