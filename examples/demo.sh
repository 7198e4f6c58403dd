#!/usr/bin/env bash
# The main job, run by `./run demo` with the build folder as $1: a sample folder tree goes up to
# a throw-away vsftpd on a free loopback port and comes back byte for byte, through qftp.
# `demo.sh --plan` prints only what the demo will do to the machine; `./run demo` shows it before
# building and sets QUORVI_DEMO_PLAN_SHOWN so that it is not shown twice.
set -euo pipefail

plan() {
    cat <<'EOF'
What this demo does to the machine: it needs root, because the FTP server it talks to
(vsftpd) runs as a throw-away local daemon on a free 127.0.0.1 port, only while the demo runs.
The first time (when vsftpd or the user ftptest is missing) it runs tests/fixtures/install.sh,
which apt-installs vsftpd, nginx, tinyproxy, python3-pyftpdlib, curl, lftp, openssl, perl,
iproute2, procps and a few libraries, unpacks pure-ftpd and proftpd under /opt/ftpsrv, creates
the users ftp and ftptest (password ftptest, shell nologin: no interactive login) and writes
/etc/pam.d/vsftpd-ftptest. Installing starts no service; the demo stops its vsftpd at the end
and removes its /tmp folder.
EOF
}
if [ "${1:-}" = --plan ]; then plan; exit 0; fi
[ -n "${QUORVI_DEMO_PLAN_SHOWN:-}" ] || plan

BUILD=$(cd "${1:?build folder}" && pwd)
HERE=$(cd "$(dirname "$0")/.." && pwd)
FIXTURES=$HERE/tests/fixtures
QFTP=$BUILD/tools/qftp/qftp

say() { printf '\n\033[1m== %s\033[0m\n' "$*"; }
run() { printf '$ %s\n' "$*"; "$@"; }

say "1. A host program against the public API (example_host)"
"$BUILD/examples/example_host"

if [ "$(id -u)" != 0 ]; then
    echo "demo: the test server needs root (vsftpd runs as a local daemon); run as root" >&2
    exit 1
fi
if [ ! -x /usr/sbin/vsftpd ] || ! id ftptest >/dev/null 2>&1; then
    say "Installing the test servers (first run only)"
    "$FIXTURES/install.sh"
fi

WORK=$(mktemp -d /tmp/quorvi-demo.XXXXXX)
chmod 755 "$WORK"
SERVER_PID=
cleanup() {
    if [ -n "$SERVER_PID" ]; then "$FIXTURES/stop.sh" "$SERVER_PID" || true; fi
    rm -rf "$WORK"
}
trap cleanup EXIT

PORT=$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
say "2. Starting vsftpd on 127.0.0.1:$PORT (root $WORK/server)"
SERVER_PID=$("$FIXTURES/start-vsftpd.sh" "$WORK/server" "$PORT")
echo "vsftpd runs as PID $SERVER_PID"

say "3. A sample tree: nested folders, an empty folder, a zero-byte file, names with spaces and non-ASCII letters, a 24 MiB file"
SRC=$WORK/sample
mkdir -p "$SRC/docs/2026/drafts" "$SRC/empty folder" "$SRC/photos"
echo "hello from QuorviFtp" > "$SRC/readme.txt"
: > "$SRC/zero-bytes.dat"
printf 'notes\n%.0s' {1..200} > "$SRC/docs/meeting notes.txt"
echo "Grüße aus Köln" > "$SRC/docs/2026/Übersicht ß.txt"
echo "draft" > "$SRC/docs/2026/drafts/v1.md"
head -c $((24 << 20)) /dev/urandom > "$SRC/photos/large image.raw"
(cd "$SRC" && find . | sort | sed 's/^/  /')

Q=("$QFTP" -H 127.0.0.1 -P "$PORT" -u ftptest -p ftptest)
say "4. Upload the tree (passive mode)"
run "${Q[@]}" --replace overwrite upload "$SRC/" /demo/

say "5. What the server has"
run "${Q[@]}" ls /demo
run "${Q[@]}" ls /demo/docs/2026

say "6. Download it back into a new folder (active mode, job totals)"
run "${Q[@]}" --active --total --replace overwrite download /demo/ "$WORK/back/"

say "7. Compare"
if diff -r "$SRC" "$WORK/back"; then
    echo "identical: $(find "$SRC" -type f | wc -l) files, $(find "$SRC" -type d | wc -l) folders, $(du -sb "$SRC" | cut -f1) bytes"
else
    echo "demo: the trees differ" >&2
    exit 1
fi

say "8. Resume: cut the local copy of the large file, download again with --replace resume"
truncate -s $((10 << 20)) "$WORK/back/photos/large image.raw"
run "${Q[@]}" --replace resume download "/demo/photos/large image.raw" "$WORK/back/photos/"
cmp "$SRC/photos/large image.raw" "$WORK/back/photos/large image.raw" && echo "resumed: identical again"
grep -a 'REST' "$WORK/vsftpd-$PORT/vsftpd.log" | tail -1 | sed 's/^/server log: /'

say "9. Stopping vsftpd"
"$FIXTURES/stop.sh" "$SERVER_PID"
SERVER_PID=
echo "done"
