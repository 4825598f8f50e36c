#!/usr/bin/env bash
# Builds the benchmarks in Release (build-bench/), runs them and prints one table of their ratios.
# Usage: scripts/bench.sh [--repetitions N] [--no-build] [bench_name ...]
#   With no names, every bench/bench_*.cpp program runs. Each program runs its cases N times (default 3)
#   in random interleaved order and keeps the fastest run of each, so that a busy machine disturbs the
#   ratios as little as possible. The logs are kept in build-bench/bench-logs/.
# Exits non-zero when a program fails or misses a goal by more than the noise it states.
set -euo pipefail
cd "$(dirname "$0")/.."
export CCACHE_BASEDIR="$PWD"
BUILD_DIR=build-bench
REPETITIONS=3
BUILD=1
NAMES=()
while [ $# -gt 0 ]; do
  case "$1" in
    --repetitions) REPETITIONS="$2"; shift 2 ;;
    --no-build) BUILD=0; shift ;;
    -h|--help) sed -n '2,7p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
    *) NAMES+=("$1"); shift ;;
  esac
done
if [ ${#NAMES[@]} -eq 0 ]; then
  for source in bench/bench_*.cpp; do NAMES+=("$(basename "$source" .cpp)"); done
fi

if [ "$BUILD" = 1 ]; then
  cmake -S . -B "$BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE=Release -DMARQEN_BENCH=ON -DMARQEN_TESTS=OFF >/dev/null
  cmake --build "$BUILD_DIR" -j 2 --target marqen "${NAMES[@]}"
fi

LOGS="$BUILD_DIR/bench-logs"
mkdir -p "$LOGS"
TABLE="$LOGS/table.txt"
: > "$TABLE"
STATUS=0
for name in "${NAMES[@]}"; do
  program="$BUILD_DIR/bench/$name"
  if [ ! -x "$program" ]; then
    echo "$name: not built" >&2
    STATUS=1
    continue
  fi
  echo "== $name" >&2
  set +e
  MARQEN_CLI="$BUILD_DIR/marqen" "$program" --benchmark_repetitions="$REPETITIONS" \
    --benchmark_enable_random_interleaving=true --benchmark_color=false >"$LOGS/$name.txt" 2>&1
  code=$?
  set -e
  if [ "$code" != 0 ]; then STATUS=1; fi
  found=0
  while IFS= read -r line; do
    found=1
    printf '%s\t%s\n' "$name" "${line#ratio: }" >>"$TABLE"
  done < <(grep '^ratio: ' "$LOGS/$name.txt" || true)
  if [ "$found" = 0 ]; then
    printf '%s\t(no ratio printed; exit %s, see %s)\n' "$name" "$code" "$LOGS/$name.txt" >>"$TABLE"
  elif [ "$code" != 0 ] && ! grep -q ' MISS$' "$LOGS/$name.txt"; then
    printf '%s\t(exit %s, see %s)\n' "$name" "$code" "$LOGS/$name.txt" >>"$TABLE"
  fi
done

# One row per ratio: program, what is compared, the measured ratio, the goal and the verdict.
awk -F'\t' '
  BEGIN { printf "| %-14s | %-62s | %8s | %-26s | %-4s |\n", "Benchmark", "Ratio", "Measured", "Goal", "";
          printf "|%s|%s|%s|%s|%s|\n", "----------------", "----------------------------------------------------------------", "----------", "----------------------------", "------" }
  {
    text = $2; value = ""; goal = ""; verdict = ""
    if (match(text, / = [-+0-9.einf]+/)) {
      label = substr(text, 1, RSTART - 1); rest = substr(text, RSTART + 3)
      split(rest, parts, " "); value = parts[1]
      if (match(rest, /\(goal [^)]*\)/)) goal = substr(rest, RSTART + 1, RLENGTH - 2)
      if (rest ~ / ok$/) verdict = "ok"; else if (rest ~ / MISS$/) verdict = "MISS"
    } else { label = text }
    printf "| %-14s | %-62s | %8s | %-26s | %-4s |\n", $1, label, value, goal, verdict
  }' "$TABLE"
exit "$STATUS"
