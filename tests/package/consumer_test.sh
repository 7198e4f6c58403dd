#!/usr/bin/env bash
# The installed package as a consumer meets it, in two layouts under temporary prefixes:
#   lib        the main build, installed as it is configured;
#   multiarch  a second build of the library and its tools alone, libdir lib/x86_64-linux-gnu,
#              configured without the tests and with GoogleTest out of reach.
# For each: pkg-config names the installed include and library folders; the examples build with
# find_package (static and shared library) and with pkg-config (shared, with the rpath flag of
# docs/getting-started.md); every program, the installed qftp included, runs without
# LD_LIBRARY_PATH and loads the library of its own prefix. Usage: consumer_test.sh SOURCE BUILD
set -euo pipefail
SOURCE=$(cd "$1" && pwd) BUILD=$(cd "$2" && pwd)
unset LD_LIBRARY_PATH PKG_CONFIG_PATH
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
version=$(sed -n 's/^project(QuorviFtp VERSION \([0-9.]*\).*/\1/p' "$SOURCE/CMakeLists.txt")

fail() { echo "package consumer: $*" >&2; exit 1; }
quiet() { "$@" >"$work/log" 2>&1 || { cat "$work/log" >&2; fail "failed: $*"; }; }

# The folder a program loads libquorviftp from ("" when it does not link it, "not" when the
# loader cannot find it).
loaded_from() {
  local lib
  lib=$(ldd "$1" | awk '$1 ~ /^libquorviftp\.so/ { print $3 }')
  if [ -z "$lib" ] || [ "$lib" = not ]; then echo "$lib"; else dirname "$(realpath "$lib")"; fi
}

runs_from() { # runs_from NAME PROGRAM LIBDIR: runs the example; a shared link loads LIBDIR's library
  local name=$1 exe=$2 libdir=$3 from
  from=$(loaded_from "$exe")
  [ "$from" != not ] || fail "$name: $exe cannot find libquorviftp"
  [ -z "$from" ] || [ "$from" = "$libdir" ] || fail "$name: $exe loads libquorviftp from $from, not $libdir"
  "$exe" "$work/run" | grep -q "QuorviFtp $version" || fail "$name: $exe did not run"
}

check_layout() { # check_layout NAME BUILD_FOLDER LIBDIR
  local name=$1 build=$2 libdir_rel=$3
  local prefix=$work/$name/prefix
  quiet cmake --install "$build" --prefix "$prefix"
  prefix=$(realpath "$prefix")
  local libdir=$prefix/$libdir_rel
  [ -f "$libdir/pkgconfig/quorviftp.pc" ] || fail "$name: no $libdir_rel/pkgconfig/quorviftp.pc"
  export PKG_CONFIG_PATH=$libdir/pkgconfig

  # pkg-config: the folders it names are the installed ones (compared resolved: the .pc file
  # names them relative to itself).
  local include flag
  for flag in $(pkg-config --cflags-only-I quorviftp); do include=${flag#-I}; done
  [ "$(realpath -m "$include")" = "$prefix/include" ] ||
    fail "$name: pkg-config --cflags gives $include, not $prefix/include"
  [ "$(realpath -m "$(pkg-config --variable=libdir quorviftp)")" = "$libdir" ] ||
    fail "$name: pkg-config libdir is $(pkg-config --variable=libdir quorviftp), not $libdir"

  # find_package: static and shared.
  quiet cmake -S "$SOURCE/examples" -B "$work/$name/consumer" -G Ninja -DCMAKE_PREFIX_PATH="$prefix"
  quiet cmake --build "$work/$name/consumer"
  runs_from "$name" "$work/$name/consumer/example_host" "$libdir"
  runs_from "$name" "$work/$name/consumer/example_host_shared" "$libdir"
  [ -n "$(loaded_from "$work/$name/consumer/example_host_shared")" ] ||
    fail "$name: example_host_shared does not link the shared library"

  # pkg-config: the command docs/getting-started.md gives.
  # shellcheck disable=SC2046
  quiet g++ -std=c++20 "$SOURCE/examples/example_host.cpp" $(pkg-config --cflags --libs quorviftp) \
    -Wl,-rpath,"$(pkg-config --variable=libdir quorviftp)" -o "$work/$name/example_pc"
  runs_from "$name" "$work/$name/example_pc" "$libdir"
  [ -n "$(loaded_from "$work/$name/example_pc")" ] || fail "$name: the pkg-config build is not shared"

  # The installed qftp starts, and would find the installed library through its RUNPATH.
  readelf -d "$prefix/bin/qftp" | grep -qF "[\$ORIGIN/../$libdir_rel]" ||
    fail "$name: qftp's RUNPATH is not \$ORIGIN/../$libdir_rel"
  [ "$(loaded_from "$prefix/bin/qftp")" != not ] || fail "$name: qftp cannot find libquorviftp"
  "$prefix/bin/qftp" --version 2>&1 | grep -q "$version" || fail "$name: installed qftp did not start"
  unset PKG_CONFIG_PATH
}

main_libdir=$(sed -n 's/^CMAKE_INSTALL_LIBDIR:[A-Z]*=//p' "$BUILD/CMakeCache.txt")
check_layout lib "$BUILD" "${main_libdir:-lib}"

# The second build stays inside the main build folder, so that later runs only rebuild what
# changed; it is unoptimised (an unknown build type adds no flags) because only its layout matters.
multiarch=$BUILD/package-multiarch
quiet cmake -S "$SOURCE" -B "$multiarch" -G Ninja --no-warn-unused-cli -DQUORVI_TESTS=OFF \
  -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON -DCMAKE_BUILD_TYPE=PackageCheck \
  -DCMAKE_INSTALL_LIBDIR=lib/x86_64-linux-gnu
[ ! -e "$multiarch/tests" ] || fail "QUORVI_TESTS=OFF still configured tests/"
quiet cmake --build "$multiarch"
check_layout multiarch "$multiarch" lib/x86_64-linux-gnu

echo "package consumer: lib and lib/x86_64-linux-gnu prefixes: find_package (static, shared)" \
  "and pkg-config builds and the installed qftp ran without LD_LIBRARY_PATH"
