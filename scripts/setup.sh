#!/usr/bin/env bash
# Installs every Debian package that the build, the tests, the benchmarks and the demo need.
# Idempotent and quick when everything is present.
set -euo pipefail

PACKAGES=(
  build-essential cmake ninja-build pkg-config clang libclang-rt-14-dev
  libcairo2-dev libpixman-1-dev libpango1.0-dev libvips-dev libvips-tools libpoppler-glib-dev libpoppler-cpp-dev
  zlib1g-dev libssl-dev nlohmann-json3-dev libpugixml-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  fonts-urw-base35 fonts-dejavu-core
  qpdf ghostscript mupdf-tools poppler-utils libnss3-tools ccache
  libgtk-4-dev xvfb xauth libxtst-dev
  pngcheck libheif-examples libimage-exiftool-perl
)

missing=()
for package in "${PACKAGES[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$package")
  fi
done

if [ ${#missing[@]} -gt 0 ]; then
  echo "setup: installing ${missing[*]}"
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
