#!/usr/bin/env bash
# Makes the small rich PNG, JPEG and HEIC of samples/rich/ (fuzzing seeds): an 8x8 picture carrying a
# tiny document and one resource. Usage: scripts/make_rich_samples.sh [path/to/marqen] (default build/marqen)
set -euo pipefail
cd "$(dirname "$0")/.."
MARQEN="${1:-build/marqen}"
WORK=$(mktemp -d /tmp/marqen-rich-samples-XXXXXX)
trap 'rm -rf "$WORK"' EXIT
mkdir -p samples/rich
for format in png jpg heic; do
  bundle="$WORK/$format"
  mkdir -p "$bundle/Contents/Resources"
  vips black "$WORK/black.v" 8 8 --bands 3
  vips linear "$WORK/black.v" "$bundle/Contents/Resources/preview.png.$format" 1 90
  mv "$bundle/Contents/Resources/preview.png.$format" "$bundle/Contents/Resources/preview.png"
  printf '{"type":"Document","children":[]}' > "$bundle/Contents/Resources/index.json"
  printf 'resource bytes' > "$bundle/Contents/Resources/0a1b2c3d-4e5f-4061-8293-a4b5c6d7e8f9"
  "$MARQEN" pack "$bundle" -o "samples/rich/sample.$format" >/dev/null
done
echo "samples/rich: $(ls samples/rich | tr '\n' ' ')"
