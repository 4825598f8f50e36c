#!/usr/bin/env bash
# Sets everything up, builds and runs the main job on the bundled samples.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh
./build/marqen demo -o demo-out
