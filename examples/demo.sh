#!/usr/bin/env bash
# The main job, run by `./run demo`.
set -euo pipefail
BUILD=${1:?build folder}
exec "$BUILD/examples/example_host"
