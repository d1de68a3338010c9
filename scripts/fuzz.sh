#!/usr/bin/env bash
# Builds the libFuzzer targets (fuzz preset, clang) and runs each for SECONDS
# (default 30) on a corpus seeded from the examples and the test data, on
# one core per target in turn. Ends non-zero at the first crash, leak,
# sanitizer report or input slower than 1 s (-timeout=1); libFuzzer then
# leaves the input as crash-*, leak-* or timeout-* in build/fuzz/findings/.
# Inputs that once failed are kept under fuzz/regressions/TARGET/ and are
# run first, every time.
#   scripts/fuzz.sh [SECONDS] [-runs=N ...extra libFuzzer options]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-30}"
shift || true
source scripts/deps.sh
TAVRIC_PACKAGES+=("${TAVRIC_FUZZ_PACKAGES[@]}")
tavric_install_deps

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz

# The readers take a file name: each input goes through a scratch file, kept
# in memory when /dev/shm is there.
if [ -z "${TMPDIR:-}" ] && [ -d /dev/shm ] && [ -w /dev/shm ]; then export TMPDIR=/dev/shm; fi

work=build/fuzz/corpus
findings=build/fuzz/findings
mkdir -p "$findings"

# Seeds: whole example files are too large for useful mutation, so their
# first lines are taken as well, plus the calibration files the tests write.
seed() {
  local target="$1"
  shift
  mkdir -p "$work/$target"
  local n=0
  for f in "$@"; do
    [ -f "$f" ] || continue
    n=$((n + 1))
    head -c 4096 "$f" >"$work/$target/seed-$n-head"
    tail -c 2048 "$f" >"$work/$target/seed-$n-tail"
  done
}
data_seeds=(examples/sphere-scan-marked.txt examples/sphere-scan-generic.txt)
seed marked_reader "${data_seeds[@]}"
seed generic_reader "${data_seeds[@]}"
seed calibration_loader fuzz/seeds/*.cal
seed reading_list fuzz/seeds/*.readings

status=0
for target in marked_reader generic_reader calibration_loader reading_list; do
  regressions=()
  if [ -d "fuzz/regressions/$target" ] && [ -n "$(ls -A "fuzz/regressions/$target")" ]; then
    regressions=("fuzz/regressions/$target"/*)
  fi
  echo "=== fuzz_$target: ${seconds} s ==="
  if [ ${#regressions[@]} -gt 0 ]; then
    "build/fuzz/fuzz/fuzz_$target" "${regressions[@]}" &
    pid=$!
    wait "$pid"
    rm -f "${TMPDIR:-/tmp}/tavric-fuzz-$pid.txt"
  fi
  rc=0
  "build/fuzz/fuzz/fuzz_$target" "$work/$target" -max_total_time="$seconds" -timeout=1 \
    -rss_limit_mb=2048 -print_final_stats=1 \
    -artifact_prefix="$findings/$target-" "$@" >"$findings/$target.log" 2>&1 &
  pid=$!
  wait "$pid" || rc=$?
  # The target's scratch file is named after its process.
  rm -f "${TMPDIR:-/tmp}/tavric-fuzz-$pid.txt"
  grep -E "^(stat::number_of_executed_units|Done [0-9]+ runs|==[0-9]+==ERROR|SUMMARY|==[0-9]+== ERROR)" \
    "$findings/$target.log" || true
  if [ "$rc" -ne 0 ]; then
    echo "fuzz_$target FAILED (status $rc): see $findings/$target.log and $findings/$target-*"
    status=1
  fi
done
exit "$status"
