#!/usr/bin/env bash
# Sets everything up, builds and runs the whole test suite.
# Usage: scripts/test.sh [--sanitize | --tsan]
#   --sanitize: AddressSanitizer + UndefinedBehaviorSanitizer build of the whole suite
#   --tsan:     ThreadSanitizer build of the programs listed in scripts/tsan_suites.sh, which run only those
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh "$@"
BUILD_DIR=build
SELECT=()
case "${1:-}" in
  --sanitize) BUILD_DIR=build-sanitize ;;
  --tsan)
    BUILD_DIR=build-tsan
    source scripts/tsan_suites.sh
    SELECT=(-L "^($(IFS='|'; echo "${MARQEN_TSAN_TARGETS[*]}"))\$")
    export TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1 suppressions=$PWD/scripts/tsan.supp"
    ;;
esac
# Leaks are checked (CTest hands the test programs their suppressions).
export ASAN_OPTIONS=abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
ctest --test-dir "$BUILD_DIR" --output-on-failure -j "$(nproc)" --timeout 600 "${SELECT[@]}"
