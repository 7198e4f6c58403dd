#!/usr/bin/env bash
# The Debian packages of a build (cpack -G DEB) as a machine without the source meets them: their
# dependencies are declared, and unpacked into an empty root the library, headers, qftp, its
# manual page and completions are there and work (qftp --version, a consumer built against the
# unpacked headers and library, bash completing a command name). Usage: deb_test.sh BUILD
set -euo pipefail
BUILD=$(cd "$1" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "deb: $*" >&2; exit 1; }
(cd "$work" && cpack -G DEB --config "$BUILD/CPackConfig.cmake" >cpack.log 2>&1) ||
  { cat "$work/cpack.log" >&2; fail "cpack failed"; }
lib_deb=$(ls "$work"/libquorviftp-dev_*.deb) qftp_deb=$(ls "$work"/qftp_*.deb)
dpkg-deb -f "$qftp_deb" Depends | grep -q 'libssl3' || fail "qftp does not depend on libssl3"
dpkg-deb -f "$lib_deb" Depends | grep -q 'libssl' || fail "the library package does not depend on libssl"
root=$work/root
dpkg-deb -x "$qftp_deb" "$root"
"$root/usr/bin/qftp" --version | grep -q '^qftp ' || fail "the unpacked qftp does not start alone"
dpkg-deb -x "$lib_deb" "$root"
head -1 "$root/usr/share/man/man1/qftp.1" | grep -q '^\.TH QFTP 1' || fail "no manual page"
grep -qF -- '\-\-replace' "$root/usr/share/man/man1/qftp.1" || fail "the manual page lacks the options"
[ -f "$root/usr/share/zsh/vendor-completions/_qftp" ] || fail "no zsh completion"
reply=$(bash -c 'source "$1"; COMP_WORDS=(qftp dow); COMP_CWORD=1; _qftp; echo "${COMPREPLY[*]}"' _ \
  "$root/usr/share/bash-completion/completions/qftp")
[ "$reply" = download ] || fail "bash completes 'dow' as '$reply'"

g++ -std=c++20 -I"$root/usr/include" "$(dirname "$0")/../../examples/example_host.cpp" \
  "$root/usr/lib/libquorviftp.a" -lssl -lcrypto -o "$work/consumer" || fail "a consumer does not build"
"$work/consumer" "$work/run" | grep -q QuorviFtp || fail "the consumer does not run"
echo "deb: $(basename "$lib_deb") and $(basename "$qftp_deb") unpack and work"
