#!/usr/bin/env bash
# Configures and builds. Usage: scripts/build.sh [--sanitize] ; prints the build directory last.
set -euo pipefail
cd "$(dirname "$0")/.."
export CCACHE_BASEDIR="$PWD"
BUILD_DIR=build
EXTRA=()
if [ "${1:-}" = "--sanitize" ]; then
  BUILD_DIR=build-sanitize
  EXTRA=(-DMARQEN_SANITIZE=ON -DMARQEN_BENCH=OFF -DCMAKE_BUILD_TYPE=Debug)
fi
cmake -S . -B "$BUILD_DIR" -G Ninja "${EXTRA[@]}" >/dev/null
cmake --build "$BUILD_DIR" -j "$(nproc)"
