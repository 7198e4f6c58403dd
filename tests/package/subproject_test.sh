#!/usr/bin/env bash
# QuorviFtp as a subproject (FetchContent from a local path), in Release and Debug with the
# consumer's warnings strict: it must build with only the library (no qftp, examples, Python
# module, tests or install rules of ours) and the consumer must run.
# Usage: subproject_test.sh SOURCE [WORKDIR]
set -euo pipefail
SOURCE=$(cd "$1" && pwd)
work=${2:-$(mktemp -d)}
mkdir -p "$work"
fail() { echo "subproject: $*" >&2; exit 1; }
for type in Release Debug; do
  dir=$work/$type
  cmake -S "$SOURCE/tests/package/subproject" -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=$type \
    -DQUORVI_SOURCE="$SOURCE" -DCMAKE_CXX_FLAGS="-Wall -Wextra -Werror" >"$work/$type.log" 2>&1 ||
    { cat "$work/$type.log" >&2; fail "$type: configure failed"; }
  cmake --build "$dir" -j "${JOBS:-2}" >>"$work/$type.log" 2>&1 ||
    { tail -40 "$work/$type.log" >&2; fail "$type: build failed"; }
  for unwanted in qftp qftp-cipher example_host quorviftp_python loop_glib; do
    ! grep -q "^build[^:]*\b$unwanted\b:" "$dir/build.ninja" 2>/dev/null ||
      fail "$type: the subproject added the target $unwanted to the consumer's build"
  done
  ! grep -q 'QuorviFtpTargets\|quorviftp.pc' "$dir/cmake_install.cmake" "$dir"/_deps/*/cmake_install.cmake 2>/dev/null ||
    fail "$type: the subproject added its install rules"
  "$dir/consumer" "$work/run-$type" | grep -q QuorviFtp || fail "$type: the consumer did not run"
done
echo "subproject: Release and Debug built and ran"
