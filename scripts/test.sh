#!/usr/bin/env bash
# Sets everything up, builds and runs the whole test suite.
# Usage: scripts/test.sh [--sanitize]   (--sanitize: AddressSanitizer + UndefinedBehaviorSanitizer build)
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh "$@"
BUILD_DIR=build
[ "${1:-}" = "--sanitize" ] && BUILD_DIR=build-sanitize
export ASAN_OPTIONS=detect_leaks=0:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
ctest --test-dir "$BUILD_DIR" --output-on-failure -j "$(nproc)" --timeout 600
