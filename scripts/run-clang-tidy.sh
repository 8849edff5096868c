#!/usr/bin/env bash
# Runs clang-tidy, as .clang-tidy configures it, over the translation units of src/ and tools/ in
# the debug build's compilation database, in parallel; any finding fails the run. Headers under
# src/ and tools/ are checked through the units that include them.
#   scripts/run-clang-tidy.sh [REGEX]    (only the units whose path matches REGEX)
# JOBS sets the parallelism (default: the number of processors); CLANG_TIDY names another binary.
set -euo pipefail
cd "$(dirname "$0")/.."

build="build/debug"
clang_tidy="${CLANG_TIDY:-$(command -v clang-tidy-14 || command -v clang-tidy || true)}"
jobs="${JOBS:-$(nproc)}"
filter="${1:-}"
if [ -z "$clang_tidy" ]; then
  echo "run-clang-tidy: clang-tidy not found (scripts/install-deps.sh installs it)" >&2
  exit 2
fi
if [ ! -f "$build/compile_commands.json" ]; then
  echo "run-clang-tidy: no $build/compile_commands.json; configure first: cmake --preset debug" >&2
  exit 2
fi

start=$(date +%s)
mapfile -t units < <(python3 - "$build/compile_commands.json" "$PWD" "$filter" <<'PY'
import json, os, re, sys
database, root, pattern = sys.argv[1], sys.argv[2], sys.argv[3]
units = set()
for entry in json.load(open(database)):
    path = os.path.normpath(os.path.join(entry["directory"], entry["file"]))
    rel = os.path.relpath(path, root)
    if rel.split(os.sep)[0] in ("src", "tools") and re.search(pattern, rel):
        units.add(rel)
print("\n".join(sorted(units)))
PY
)
if [ ${#units[@]} -eq 0 ] || [ -z "${units[0]}" ]; then
  echo "run-clang-tidy: no translation unit matches" >&2
  exit 2
fi

# Each unit reports into a file of its own, so that parallel reports do not interleave. The build
# passes g++-only warning flags, which clang does not know.
reports="$(mktemp -d)"
trap 'rm -rf "$reports"' EXIT
export RUN_CLANG_TIDY_REPORTS="$reports"
status=0
# shellcheck disable=SC2016 # the inner shell expands its own arguments
printf '%s\n' "${units[@]}" | xargs -r -P "$jobs" -I{} sh -c \
  'out="$RUN_CLANG_TIDY_REPORTS/$(printf "%s" "$2" | tr / _).log"
   "$1" -p "$3" --quiet --warnings-as-errors="*" --extra-arg=-Wno-unknown-warning-option "$2" >"$out" 2>&1 ||
     { echo "$2" >>"$out.failed"; exit 1; }' run-clang-tidy "$clang_tidy" {} "$build" || status=$?

for unit in "${units[@]}"; do
  log="$reports/$(printf '%s' "$unit" | tr / _).log"
  if [ -e "$log.failed" ]; then
    echo "== $unit"
    grep -v -E '^[0-9]+ (warnings?|errors?)( and [0-9]+ errors?)? generated\.$|^Suppressed [0-9]+ warnings|^Use -header-filter' \
      "$log" || true
  fi
done
findings="$(cat "$reports"/*.log | grep -E '^/.*:[0-9]+:[0-9]+: (warning|error): .*\[[a-z0-9.,-]+\]$' | sort -u ||
  true)"
elapsed=$(($(date +%s) - start))
count=0
[ -n "$findings" ] && count=$(printf '%s\n' "$findings" | wc -l)
echo "run-clang-tidy: ${#units[@]} translation units, $count distinct findings, ${elapsed}s with $jobs jobs"
exit "$status"
