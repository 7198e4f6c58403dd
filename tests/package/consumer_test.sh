#!/usr/bin/env bash
# Installs the built project into a temporary prefix and builds the examples against it twice:
# as a CMake consumer (find_package) and with pkg-config. Usage: consumer_test.sh SOURCE BUILD
set -euo pipefail
SOURCE=$1 BUILD=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$BUILD" --prefix "$work/prefix" >/dev/null
cmake -S "$SOURCE/examples" -B "$work/consumer" -G Ninja -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/consumer" >/dev/null
"$work/consumer/example_host" "$work/run-cmake" | grep -q "QuorviFtp 4.5.10"

libdir=$(find "$work/prefix" -name quorviftp.pc -printf '%h\n' | head -n 1)
flags=$(PKG_CONFIG_PATH="$libdir" pkg-config --cflags --libs quorviftp)
# shellcheck disable=SC2086
g++ -std=c++20 "$SOURCE/examples/example_host.cpp" -o "$work/example_pc" $flags
LD_LIBRARY_PATH="$libdir/.." "$work/example_pc" "$work/run-pc" | grep -q "QuorviFtp 4.5.10"
echo "package consumer: cmake and pkg-config builds ran"
