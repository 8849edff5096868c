#!/usr/bin/env bash
# Fails, listing them, when C++ files under src, tests, bench, fuzz or tools are not formatted as
# .clang-format says. Changes nothing; `clang-format -i FILE...` formats. clang-format 14 is the
# reference: other versions break some lines differently. CLANG_FORMAT names another binary.
#   scripts/check-format.sh [FILE...]    (default: every .h, .hpp, .cc and .cpp in those folders)
set -euo pipefail
cd "$(dirname "$0")/.."

clang_format="${CLANG_FORMAT:-$(command -v clang-format-14 || command -v clang-format || true)}"
if [ -z "$clang_format" ]; then
  echo "check-format: clang-format not found (scripts/install-deps.sh installs it)" >&2
  exit 2
fi
version="$("$clang_format" --version)"
case "$version" in
  *"version 14."*) ;;
  *) echo "check-format: warning: $version is not clang-format 14; results may differ from CI" >&2 ;;
esac

files=()
if [ $# -gt 0 ]; then
  files=("$@")
else
  while IFS= read -r -d '' f; do files+=("$f"); done < <(
    find src tests bench fuzz tools -type f \( -name '*.h' -o -name '*.hpp' -o -name '*.cc' -o -name '*.cpp' \) \
      -print0 | sort -z)
fi

# Batches of files run in parallel, each batch reporting into a file of its own. --dry-run reports
# each change as "FILE:LINE:COL: error: code should be clang-formatted".
reports="$(mktemp -d)"
trap 'rm -rf "$reports"' EXIT
export CHECK_FORMAT_REPORTS="$reports"
status=0
# shellcheck disable=SC2016 # the inner shell expands its own arguments
printf '%s\0' "${files[@]}" | xargs -0 -r -n 24 -P "$(nproc)" sh -c \
  'exec "$0" --style=file --dry-run --Werror "$@" 2>"$(mktemp -p "$CHECK_FORMAT_REPORTS")"' "$clang_format" ||
  status=$?
unformatted="$(sed -n 's/^\(.*\):[0-9]*:[0-9]*: error: code should be clang-formatted.*/\1/p' "$reports"/* | sort -u)"

if [ -n "$unformatted" ]; then
  echo "check-format: $(printf '%s\n' "$unformatted" | wc -l) of ${#files[@]} files are not formatted:" >&2
  printf '%s\n' "$unformatted" | sed 's/^/  /' >&2
  exit 1
fi
if [ "$status" -ne 0 ]; then
  cat "$reports"/* >&2
  echo "check-format: clang-format failed" >&2
  exit 2
fi
echo "check-format: ${#files[@]} files formatted"
