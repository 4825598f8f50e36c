#!/usr/bin/env bash
# Installs the built library into a temporary prefix, then builds and runs a small host program
# against it twice: through find_package(MarqenKit) and through pkg-config. Nothing of the source
# tree is on the host's include path, so a public header that reaches a private one, or a
# declaration that is not exported, fails here.
# Usage: install_and_build.sh BUILD_DIR SOURCE_DIR [EXTRA_CXX_FLAGS]
# (a sanitizer build passes its -fsanitize flags, since an instrumented library needs an instrumented host)
set -euo pipefail
BUILD_DIR=$1
HOST_SOURCE=$2/tests/host
EXTRA_FLAGS=${3:-}
WORK=$(mktemp -d /tmp/marqen-host-XXXXXX)
trap 'rm -rf "$WORK"' EXIT
PREFIX=$WORK/prefix
cmake --install "$BUILD_DIR" --prefix "$PREFIX" >/dev/null
LIBDIR=$(dirname "$(find "$PREFIX" -name 'libmarqenkit.so' | head -n 1)")

# No private header and no third-party header other than nlohmann/json may be installed.
if find "$PREFIX/include/marqenkit" -name '*.h' -print0 | xargs -0 grep -lE \
    '#include *[<"](vips|poppler|pango|glib|gio|cairo|openssl|zlib|pugixml|gtk)' ; then
  echo "a public header includes a third-party header"; exit 1
fi

# The installed command line runs its PDF commands itself and finds the program that holds the others.
"$PREFIX/bin/marqen" pdf-info --help | grep -q '^usage: marqen pdf-info'
"$PREFIX/bin/marqen" --help | grep -q '^  normalize '

cmake -S "$HOST_SOURCE" -B "$WORK/cmake-host" -G Ninja -DCMAKE_PREFIX_PATH="$PREFIX" \
  -DCMAKE_CXX_FLAGS="$EXTRA_FLAGS" -DCMAKE_EXE_LINKER_FLAGS="$EXTRA_FLAGS" >/dev/null
cmake --build "$WORK/cmake-host" >/dev/null
LD_LIBRARY_PATH="$LIBDIR" "$WORK/cmake-host/host_program" "$WORK"

export PKG_CONFIG_PATH="$LIBDIR/pkgconfig"
# shellcheck disable=SC2046
c++ -std=c++20 $EXTRA_FLAGS -o "$WORK/pkgconfig-host" "$HOST_SOURCE/host_program.cpp" $(pkg-config --define-variable=prefix="$PREFIX" --cflags --libs marqenkit)
LD_LIBRARY_PATH="$LIBDIR" "$WORK/pkgconfig-host" "$WORK"
