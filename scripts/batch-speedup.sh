#!/usr/bin/env bash
# Measures the speed-up of batch calibration: simulates N scans (default 32,
# 4,000 samples each, third order, with noise), calibrates them all with
# `tavric calibrate --output-dir` on 1 thread and on J threads (default: the
# number of processor cores), checks that both give byte-identical files, and
# prints the wall times (median of R runs, default 3).
#
# Usage: scripts/batch-speedup.sh [FILES] [REPEATS]
set -euo pipefail
cd "$(dirname "$0")/.."
files=${1:-32}
repeats=${2:-3}
jobs=$(nproc)
source scripts/deps.sh
tavric_install_deps
cmake --preset release >/dev/null
cmake --build --preset release --target tavric_cli >/dev/null
tool=$PWD/build/release/cli/tavric
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for i in $(seq 1 "$files"); do
  "$tool" simulate -o "$work/scan$i.txt" --seed "$i" --counts-noise 1.5 --position-noise 0.2 >/dev/null
done
median() { sort -n | awk '{a[NR]=$1} END {print a[int((NR + 1) / 2)]}'; }
run() {  # run THREADS: the median wall time in seconds
  for _ in $(seq 1 "$repeats"); do
    rm -rf "$work/out$1" && mkdir "$work/out$1"
    local start end
    start=$(date +%s.%N)
    "$tool" calibrate "$work"/scan*.txt --output-dir "$work/out$1" -j "$1" >/dev/null
    end=$(date +%s.%N)
    awk "BEGIN { printf \"%.2f\\n\", $end - $start }"
  done | median
}
one=$(run 1)
many=$(run "$jobs")
diff -r "$work/out1" "$work/out$jobs" >/dev/null || { echo "the files differ" >&2; exit 1; }
echo "| files | threads | wall time (s, median of $repeats) | speed-up |"
echo "|---:|---:|---:|---:|"
echo "| $files | 1 | $one | 1.00 |"
echo "| $files | $jobs | $many | $(awk "BEGIN { printf \"%.2f\", $one / $many }") |"
echo "(byte-identical calibration files; load average before: $(cut -d' ' -f1-3 /proc/loadavg))"
