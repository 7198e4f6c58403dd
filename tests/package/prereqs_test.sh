#!/usr/bin/env bash
# tools/setup/prereqs.sh against a fake dpkg-query, apt-get and id: what a fresh machine sees.
# Every case runs the script with a PATH whose dpkg-query knows only the packages in $INSTALLED.
set -euo pipefail
SOURCE=$(cd "$1" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/bin"
cat >"$work/bin/dpkg-query" <<'EOS'
#!/bin/sh
for p in $INSTALLED; do [ "$p" = "$3" ] && { printf installed; exit 0; }; done
exit 1
EOS
cat >"$work/bin/apt-get" <<'EOS'
#!/bin/sh
echo "apt-get $*" >>"$LOG"
EOS
printf '#!/bin/sh\necho "$UID_FAKE"\n' >"$work/bin/id"
chmod +x "$work/bin/"*
cat >"$work/list" <<'EOS'
build cmake
build libcli11-dev
test libgtest-dev
EOS
fails=0
check() { # check NAME EXPECTED_RC EXPECTED_TEXT INSTALLED UID ARGS...
  local name=$1 want_rc=$2 want=$3 installed=$4 uid=$5; shift 5
  local rc=0 out
  : >"$work/log"
  out=$(PATH="$work/bin:$PATH" INSTALLED=$installed UID_FAKE=$uid LOG=$work/log \
    QUORVI_PACKAGE_LIST=$work/list "$SOURCE/tools/setup/prereqs.sh" "$@" 2>&1) || rc=$?
  out+=$(cat "$work/log")
  local seen=yes
  if [ "${want#!}" != "$want" ]; then grep -qF -- "${want#!}" <<<"$out" && seen=no
  else grep -qF -- "$want" <<<"$out" || seen=no; fi
  if [ "$rc" != "$want_rc" ] || [ $seen = no ]; then
    echo "FAIL $name: rc $rc (want $want_rc), output: $out"; fails=$((fails + 1))
  else
    echo "ok   $name"
  fi
}
check "all there"            0 "!apt-get"                                        "cmake libcli11-dev" 0    build
check "root installs"        0 "apt-get install -y -qq libcli11-dev"       "cmake"              0    build
check "user gets command"    2 "sudo apt-get update && sudo apt-get install -y cmake libcli11-dev" "" 1000 build
check "groups add up"        2 "libcli11-dev libgtest-dev"                 "cmake"              1000 build test
check "check only"           1 "missing packages (build): cmake"           "libcli11-dev"       0    --check build
check "missing names"        0 "libgtest-dev"                              "cmake"              0    --missing test
check "unknown group"        2 "no package group 'gui'"                    ""                   0    gui
[ "$fails" = 0 ] && echo "7 passed, 0 failed" || { echo "$((7 - fails)) passed, $fails failed"; exit 1; }
