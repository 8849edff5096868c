#!/usr/bin/env bash
# Sets up and passes the tests: installs the Debian packages, checks the include order of the
# layers and the formatting, then builds and runs every test in a debug build (whose sources
# clang-tidy then checks), under AddressSanitizer with UndefinedBehaviorSanitizer, and under
# ThreadSanitizer, and runs each fuzz target for a short while.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh

jobs="${JOBS:-$(nproc)}"
fuzz_seconds="${FUZZ_SECONDS:-20}"

echo "== layers"
python3 scripts/check-layers.py
echo "== format"
scripts/check-format.sh

suite() {
  local preset="$1"
  echo "== $preset: build"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  echo "== $preset: tests"
  ctest --preset "$preset" -j "$jobs" --timeout 600
}

suite debug
echo "== debug: clang-tidy"
JOBS="$jobs" scripts/run-clang-tidy.sh
ASAN_OPTIONS="detect_leaks=1:abort_on_error=1" UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1" suite asan
TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1" suite tsan

echo "== fuzz: build"
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j "$jobs"
corpus_root="build/fuzz/corpus"
for target in build/fuzz/fuzz/halvex_fuzz_*; do
  name="$(basename "$target")"
  mkdir -p "$corpus_root/$name"
  # Inputs that once failed are kept under fuzz/seeds and run first, every time.
  seeds=()
  [ -d "fuzz/seeds/$name" ] && seeds=("fuzz/seeds/$name")
  echo "== fuzz: $name for ${fuzz_seconds}s"
  log="build/fuzz/$name.log"
  if ! "$target" -max_total_time="$fuzz_seconds" -max_len=256 -print_final_stats=1 \
      -artifact_prefix="build/fuzz/$name-" "$corpus_root/$name" "${seeds[@]}" >"$log" 2>&1; then
    tail -n 60 "$log"
    echo "fuzz target $name found a failure" >&2
    exit 1
  fi
  grep -E 'stat::number_of_executed_units' "$log" || true
done
echo "== all suites passed"
