#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (in build-fuzz/) and runs each for a while, seeded with the
# bundled samples (a fixed seed, so that a run can be repeated).
# Usage: scripts/fuzz.sh [--deep] [--targets NAME,NAME...] [--jobs N] [SECONDS_PER_TARGET]
#   short (default 20 s a target, 64 KB inputs, the targets' own small caps): what CI runs.
#   --deep (default 600 s a target): inputs up to 4 MB, seeded also with scripts/make_hostile_seeds.py,
#   the targets' small caps lifted so that the command line's budgets are what bounds the work.
#   --targets: only the named targets (fuzz_pdf,fuzz_render...), in that order; default all of them.
#   --jobs: build jobs (default: every core); the runs themselves are one target at a time.
set -euo pipefail
cd "$(dirname "$0")/.."
export CCACHE_BASEDIR="$PWD"
DEEP=0
TARGETS=""
JOBS="$(nproc)"
while [ $# -gt 0 ]; do
  case "$1" in
    --deep) DEEP=1; shift ;;
    --targets) TARGETS="${2:?--targets needs a list}"; shift 2 ;;
    --jobs) JOBS="${2:?--jobs needs a count}"; shift 2 ;;
    *) break ;;
  esac
done
if [ "$DEEP" = 1 ]; then
  SECONDS_PER_TARGET="${1:-600}"
  # The wall-clock timeout allows for runs at low priority on a busy machine (a large seed drawn under
  # the sanitizers takes several seconds of CPU time on its own).
  LIMITS=(-max_len=4194304 -timeout=180 -rss_limit_mb=4096 -print_final_stats=1)
  export MARQEN_FUZZ_DEEP=1
else
  SECONDS_PER_TARGET="${1:-20}"
  LIMITS=(-max_len=65536 -timeout=10 -rss_limit_mb=3072 -print_final_stats=0)
fi
scripts/setup.sh
CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DMARQEN_FUZZ=ON -DMARQEN_TESTS=OFF -DMARQEN_BENCH=OFF -DMARQEN_GTK=OFF >/dev/null
cmake --build build-fuzz -j "$JOBS"

WORK=$(mktemp -d /tmp/marqen-fuzz-XXXXXX)
trap 'rm -rf "$WORK"' EXIT
seed() {  # seed TARGET FILES...
  local target=$1
  shift
  mkdir -p "$WORK/$target"
  for file in "$@"; do [ -f "$file" ] && cp "$file" "$WORK/$target/"; done
  return 0
}
seed fuzz_pdf samples/*.pdf
# Encrypted seeds: every method of the standard security handler, with and without object streams.
mkdir -p "$WORK/encrypted"
for sample in samples/*.pdf; do
  [ -f "$sample" ] || continue
  base=$(basename "$sample" .pdf)
  for spec in "rc4-40:'' owner 40" "rc4-128:'' owner 128 --use-aes=n" "aes-128:'' owner 128 --use-aes=y" \
              "aes-256:'' owner 256" "aes-256-user:user owner 256 --annotate=n"; do
    name=${spec%%:*}
    for streams in preserve generate; do
      eval "qpdf --allow-weak-crypto --object-streams=$streams \"\$sample\" --encrypt ${spec#*:} -- \
        \"\$WORK/encrypted/$base-$name-$streams.pdf\"" 2>/dev/null || true
    done
  done
done
seed fuzz_pdf "$WORK"/encrypted/*.pdf
seed fuzz_document samples/*.json
seed fuzz_render samples/*.json
seed fuzz_image_decode samples/resources/*
seed fuzz_rich_image samples/rich/*
seed fuzz_legacy_svg samples/legacy/*.marqen
# The facade's seeds carry the extension byte first: 0 PNG, 1 JPEG, 2 PDF, 3 .marqen.
mkdir -p "$WORK/fuzz_facade"
for pair in "0:samples/rich/sample.png" "1:samples/rich/sample.jpg" "2:samples/pdf-review.pdf" "3:samples/legacy/shapes.marqen"; do
  file=${pair#*:}
  [ -f "$file" ] && { printf "\\$(printf '%03o' "${pair%%:*}")"; cat "$file"; } >"$WORK/fuzz_facade/$(basename "$file")"
done
seed fuzz_events samples/replay-events.json
if [ "$DEEP" = 1 ]; then
  python3 scripts/make_hostile_seeds.py "$WORK"
fi
mkdir -p build-fuzz/artifacts
# libvips' thread pool can trip its own assertion (vips_worker_allocate: !pool->stop) when a damaged
# image stops a pipeline while another worker starts; it is a race inside libvips, not reproducible
# from the input, so the fuzz runs decode on one libvips thread to keep their findings about our code.
export VIPS_CONCURRENCY=1
export ASAN_OPTIONS=detect_leaks=0:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
if [ -n "$TARGETS" ]; then
  FUZZERS=()
  IFS=, read -ra names <<<"$TARGETS"
  for name in "${names[@]}"; do
    [ -x "build-fuzz/fuzz/$name" ] || { echo "fuzz: no target $name" >&2; exit 2; }
    FUZZERS+=("build-fuzz/fuzz/$name")
  done
else
  FUZZERS=(build-fuzz/fuzz/fuzz_*)
fi
for fuzzer in "${FUZZERS[@]}"; do
  [ -x "$fuzzer" ] || continue
  name=$(basename "$fuzzer")
  mkdir -p "$WORK/$name"
  echo "fuzzing $name for ${SECONDS_PER_TARGET}s"
  "$fuzzer" -seed=1 -max_total_time="$SECONDS_PER_TARGET" "${LIMITS[@]}" \
    -artifact_prefix="build-fuzz/artifacts/" "$WORK/$name" 2>"$WORK/$name.log" || {
    tail -40 "$WORK/$name.log"
    echo "fuzz: $name failed"
    exit 1
  }
  grep -h "stat::number_of_executed_units" "$WORK/$name.log" || true
done
echo "fuzz: every target ran clean"
