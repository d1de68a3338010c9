#!/usr/bin/env bash
# Builds the optimised benchmarks and prints, as tables, the time of Optimise
# at orders 1 to 3 on 2,000, 8,000 and 32,000 simulated samples, and the time
# to render and to write the report page for 4,000 and 32,767 samples with
# the page's size.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
tavric_install_deps

cmake --preset release -DTAVRIC_BUILD_BENCHMARKS=ON >/dev/null
cmake --build --preset release --target tavric_benchmarks
out=build/release/benchmarks.json
build/release/bench/tavric_benchmarks --benchmark_format=json --benchmark_out="$out" \
  --benchmark_out_format=json --benchmark_repetitions=3 --benchmark_report_aggregates_only=true \
  >/dev/null
python3 - "$out" <<'PY'
import json, sys
runs = json.load(open(sys.argv[1]))["benchmarks"]
rows, pages = {}, {}
for r in runs:
    if r.get("aggregate_name") != "median":
        continue
    name, *params = r["run_name"].split("/")
    args = dict(kv.split(":") for kv in params)
    if name == "BM_Optimise":
        rows[(int(args["order"]), int(args["samples"]))] = (r["real_time"], r["lm_iterations"])
    else:
        pages[(name, int(args["samples"]))] = (r["real_time"], r["bytes"])
print("| order | samples | Optimise (ms, median of 3) | optimiser iterations |")
print("|------:|--------:|---------------------------:|---------------------:|")
for (order, samples), (ms, its) in sorted(rows.items()):
    print(f"| {order} | {samples} | {ms:.1f} | {int(its)} |")
print()
print("| report page | samples | time (ms, median of 3) | page size (bytes) |")
print("|-------------|--------:|-----------------------:|------------------:|")
for (name, samples), (ms, size) in sorted(pages.items()):
    step = "rendered in memory" if name == "BM_RenderReportPage" else "written to a file"
    print(f"| {step} | {samples} | {ms:.1f} | {int(size)} |")
PY
