#!/usr/bin/env bash
# Mutation check: how many small faults does the suite catch?
#
# Each block of mutations.txt is a one-line fault (a flipped comparison, an
# off-by-one, a dropped step, a wrong constant, a lock not taken). For each,
# this script changes the text once in the source tree, rebuilds what depends
# on it, runs the suite (unit and concurrency tests first, stopping at the first
# failure; then the rest), puts the text back, and prints one line:
#   caught   ID  TEST     a test failed (or the build refused the fault)
#   MISSED   ID           the whole suite passed with the fault in place
#   skipped  ID  WHY      the text is not in the file exactly once
# The lines sort and diff: compare two runs with `diff <(sort a) <(sort b)`.
# The packaging tests (label dist) are left out: they check the package's
# contents, not the code's behaviour.
#
# Usage: tests/mutation/run.sh [--src DIR] [--build DIR] [--only REGEX]
#                              [--out FILE] [--check]
#   --src     source tree to mutate (default: the tree holding this script)
#   --build   build folder (default: SRC/build-mutation, configured Release)
#   --only    run only the mutations whose ID or file matches REGEX
#   --out     also write the result lines to FILE
#   --check   only check that every mutation applies, build nothing
# baseline.txt holds a full run's lines: every fault caught there must stay caught.
# The tree is restored after each mutation and on interruption. A test that
# fails is run once more; only a second failure counts (a busy machine can
# make a timed wait in an end-to-end script give up).
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
list="$here/mutations.txt"
src=$(cd "$here/../.." && pwd)
build=""
only=""
out=""
check=0
while [ $# -gt 0 ]; do
  case "$1" in
    --src) src=$(cd "$2" && pwd); shift 2 ;;
    --build) build=$2; shift 2 ;;
    --only) only=$2; shift 2 ;;
    --out) out=$2; shift 2 ;;
    --check) check=1; shift ;;
    -h|--help) awk 'NR > 1 && !/^#/ { exit } NR > 1 { sub(/^# ?/, ""); print }' "$0"; exit 0 ;;
    *) echo "run.sh: unknown argument $1 (see --help)" >&2; exit 2 ;;
  esac
done
build=${build:-$src/build-mutation}
[ -n "$out" ] && : >"$out"

# Applies or reverts one mutation: mutate.py FILE FROM TO prints the original
# file's saved path, or a reason on stderr and exit 1.
apply() {
  python3 - "$@" <<'PY'
import sys
path, old, new, keep = sys.argv[1:5]
text = open(path, encoding="utf-8").read()
count = text.count(old)
if count != 1:
    sys.stderr.write("found %d times" % count)
    sys.exit(1)
open(keep, "w", encoding="utf-8").write(text)
open(path, "w", encoding="utf-8").write(text.replace(old, new, 1))
PY
}

saved=$(mktemp)
log=$(mktemp -d)
current=""
restore() {
  # A fresh write (not a copy keeping the old time) so the build sees it.
  [ -n "$current" ] && cat "$saved" >"$current"
  current=""
}
trap 'restore; rm -rf "$saved" "$log"' EXIT
trap 'exit 130' INT TERM

report() {
  printf '%-8s %-36s %s\n' "$1" "$2" "${3:-}"
  [ -z "$out" ] || printf '%s %s %s\n' "$1" "$2" "${3:-}" >>"$out"
}

launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
if [ "$check" = 0 ]; then
  [ -f "$build/build.ninja" ] ||
    cmake -S "$src" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release "${launcher[@]}" >/dev/null
  cmake --build "$build" >/dev/null || { echo "run.sh: the unmutated tree does not build" >&2; exit 1; }
fi
# Runs ctest with ARGS; on failure runs the failed tests once more, so that a
# test which failed only because the machine was busy does not count.
suite_fails() {
  ctest --test-dir "$build" "$@" -j"$(nproc)" --timeout 300 >"$log/ctest" 2>&1 && return 1
  ! ctest --test-dir "$build" --rerun-failed -j"$(nproc)" --timeout 300 >"$log/rerun" 2>&1
}

# Runs the suite; prints the first failing test, or nothing when all pass.
first_failure() {
  if suite_fails -L 'unit|concurrency' --stop-on-failure || suite_fails -LE 'unit|concurrency|dist'; then
    sed -n 's/^[[:space:]]*[0-9]* - \([^ ]*\) .*/\1/p' "$log/rerun" | head -n 1 | grep . || echo "?"
  fi
}

if [ "$check" = 0 ] && suite_fails -LE dist; then
  echo "run.sh: the suite fails without any mutation; fix that first:" >&2
  grep -A20 'tests FAILED' "$log/rerun" >&2
  exit 1
fi

caught=0 missed=0 skipped=0
id="" file="" from=""
while IFS= read -r line || [ -n "$line" ]; do
  case "$line" in
    "@ "*) read -r _ id file <<<"$line" ;;
    "- "*) from=${line#- } ;;
    "+ "*|"+")
      to=${line#+}; to=${to# }
      if [ -n "$only" ] && ! [[ "$id $file" =~ $only ]]; then continue; fi
      if ! why=$(apply "$src/$file" "$from" "$to" "$saved" 2>&1); then
        report skipped "$id" "$file: $why"; skipped=$((skipped + 1)); continue
      fi
      current="$src/$file"
      if [ "$check" = 1 ]; then
        restore; report ok "$id"; continue
      fi
      if ! cmake --build "$build" >"$log/build" 2>&1; then
        failure="(build)"
      else
        failure=$(first_failure | head -n 1)
      fi
      restore
      if [ -n "$failure" ]; then
        report caught "$id" "$failure"; caught=$((caught + 1))
      else
        report MISSED "$id"; missed=$((missed + 1))
      fi ;;
  esac
done <"$list"

if [ "$check" = 0 ]; then
  cmake --build "$build" >/dev/null   # leave the build as the tree is
  echo "caught $caught of $((caught + missed)) mutations ($skipped skipped)"
fi
