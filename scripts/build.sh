#!/usr/bin/env bash
# Configures and builds. Usage: scripts/build.sh [--sanitize | --tsan] ; prints the build directory last.
#   --sanitize: AddressSanitizer + UndefinedBehaviorSanitizer build of everything, in build-sanitize
#   --tsan:     ThreadSanitizer build of the test programs whose code runs work on several threads, in build-tsan
set -euo pipefail
cd "$(dirname "$0")/.."
export CCACHE_BASEDIR="$PWD"
BUILD_DIR=build
EXTRA=()
TARGETS=()
case "${1:-}" in
  --sanitize)
    BUILD_DIR=build-sanitize
    EXTRA=(-DMARQEN_SANITIZE=ON -DMARQEN_BENCH=OFF -DCMAKE_BUILD_TYPE=Debug)
    ;;
  --tsan)
    BUILD_DIR=build-tsan
    # -O1 as ThreadSanitizer advises; without NDEBUG, so that the main-thread assertions run too.
    EXTRA=(-DMARQEN_TSAN=ON -DMARQEN_BENCH=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo
           "-DCMAKE_C_FLAGS_RELWITHDEBINFO=-O1 -g" "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O1 -g")
    # shellcheck source=scripts/tsan_suites.sh
    source scripts/tsan_suites.sh
    TARGETS=(--target "${MARQEN_TSAN_TARGETS[@]}")
    ;;
esac
cmake -S . -B "$BUILD_DIR" -G Ninja "${EXTRA[@]}" >/dev/null
cmake --build "$BUILD_DIR" -j "$(nproc)" "${TARGETS[@]}"
