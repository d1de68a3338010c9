#!/usr/bin/env bash
# Builds the optimised library, tool and benchmarks and prints the table of
# docs/performance.md: every calibration case with Tavric's time, the Ceres
# Solver anchor's time on the same problem (when libceres-dev is installed,
# which this script does), their ratio, the floor (outer iterations x the
# normal-matrix kernel alone), Tavric / floor, the iterations and the peak
# memory of `tavric calibrate` on the case's file; then the readers, saving
# and loading, batch deflections, the kernel alone and the whole tool; last, the time to gather a
# calibration's report content, to render and to write the report page for
# 4,000 and 32,767 samples with the page's size, and `tavric report` on
# 32,767 samples as a whole process beside `tavric calibrate`.
#
# Usage: scripts/bench.sh [--smoke] [--repetitions N]
#   --smoke          one repetition of everything, minimal time per benchmark:
#                    checks that the benchmarks run (CI), not how fast.
#   --repetitions N  repetitions per benchmark (median reported), default 5.
# Times are wall-clock medians; run it on a quiet machine (see `uptime`).
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
tavric_install_deps

repetitions=5
min_time=0.5
smoke=0
while [ $# -gt 0 ]; do
  case "$1" in
    --smoke) smoke=1 repetitions=1 min_time=0.000001 ;;
    --repetitions) shift; repetitions=$1 ;;
    *) echo "usage: scripts/bench.sh [--smoke] [--repetitions N]" >&2; exit 2 ;;
  esac
  shift
done

# The anchor: Ceres Solver from Debian, for the benchmarks only.
if ! dpkg-query -W -f='${Status}' libceres-dev 2>/dev/null | grep -q "install ok installed"; then
  sudo=""
  if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends libceres-dev \
    >/dev/null || echo "warning: libceres-dev could not be installed; no Ceres column"
fi

cmake --preset release -DTAVRIC_BUILD_BENCHMARKS=ON >/dev/null
cmake --build --preset release --target tavric_benchmarks tavric_cli
build=build/release
data_dir=$build/bench-data
mkdir -p "$data_dir"
out=$build/benchmarks.json
echo "Running the benchmarks (load: $(cut -d' ' -f1-3 /proc/loadavg))..." >&2
TAVRIC_BENCH_DATA_DIR=$data_dir $build/bench/tavric_benchmarks --benchmark_format=json \
  --benchmark_out="$out" --benchmark_out_format=json --benchmark_repetitions="$repetitions" \
  --benchmark_min_time="$min_time" --benchmark_report_aggregates_only=true >/dev/null

python3 - "$out" "$build/cli/tavric" "$data_dir" "$repetitions" "$smoke" <<'PY'
import json, os, statistics, subprocess, sys, time

out, tool, data_dir, repetitions, smoke = sys.argv[1], sys.argv[2], sys.argv[3], int(sys.argv[4]), sys.argv[5] == "1"
report = json.load(open(out))
runs = {}
for r in report["benchmarks"]:
    if r.get("aggregate_name", "median") != "median" and r.get("run_type") == "aggregate":
        continue
    runs[r["run_name"]] = r

def ms(r):
    unit = {"ms": 1.0, "us": 1e-3, "ns": 1e-6, "s": 1e3}[r["time_unit"]]
    return r["real_time"] * unit

def find(name, required=True):
    r = runs.get(name)
    if r is None or r.get("error_occurred"):
        if required:
            sys.exit(f"benchmark {name} failed or missing")
        return None
    return r

def tool_run(args):
    """Wall time (ms) and peak resident set (MB) of one run of the tool."""
    start = time.perf_counter()
    pid = os.fork()
    if pid == 0:
        devnull = os.open(os.devnull, os.O_WRONLY)
        os.dup2(devnull, 1)
        os.dup2(devnull, 2)
        os.execv(tool, [tool] + args)
    _, status, usage = os.wait4(pid, 0)
    elapsed = (time.perf_counter() - start) * 1000.0
    if os.waitstatus_to_exitcode(status) != 0:
        sys.exit(f"tavric {' '.join(args)} failed")
    return elapsed, usage.ru_maxrss / 1024.0

def dash(x, fmt):
    return "–" if x is None else format(x, fmt)

parameters = {1: 13, 2: 31, 3: 61}
isa_arg = 1 if find("BM_NormalMatrixKernel/parameters:61/samples:32767/isa:1", False) else 0
isa = "avx2" if isa_arg else "sse2"
print("| case | Tavric ms | Ceres ms | ratio | floor ms | Tavric / floor | iterations | peak RSS |")
print("|---|---:|---:|---:|---:|---:|---:|---:|")
cal_file = os.path.join(data_dir, "bench-result.cal")
optimise_3 = None
for samples in (2000, 8000, 32767):
    for order in (1, 2, 3):
        t = find(f"BM_Optimise/order:{order}/samples:{samples}")
        c = find(f"BM_Ceres/order:{order}/samples:{samples}", False)
        k = find(f"BM_NormalMatrixKernel/parameters:{parameters[order]}/samples:{samples}/isa:{isa_arg}")
        iterations = int(t["iterations"])
        floor = iterations * ms(k)
        data = os.path.join(data_dir, f"scan-o{order}-n{samples}-marked.txt")
        _, rss = tool_run(["calibrate", data, "--order", str(order), "-o", cal_file, "--force"])
        ceres = ms(c) if c else None
        ratio = ceres / ms(t) if c else None
        if order == 3 and samples == 32767:
            optimise_3 = ms(t)
        print(f"| Optimise, order {order}, {samples:,} samples | {ms(t):.1f} | {dash(ceres, '.1f')} "
              f"| {dash(ratio, '.1f')} | {floor:.1f} | {ms(t) / floor:.2f} | {iterations} | {rss:.0f} MB |")

data = os.path.join(data_dir, "scan-o3-n32767-marked.txt")
whole = [tool_run(["calibrate", data, "-o", cal_file, "--force"]) for _ in range(max(repetitions, 1))]
whole_ms = statistics.median(w[0] for w in whole)
whole_rss = max(w[1] for w in whole)
print(f"| `tavric calibrate`, order 3, 32,767 samples (whole process) | {whole_ms:.1f} | – | – | – "
      f"| {whole_ms / optimise_3:.2f} × Optimise | – | {whole_rss:.0f} MB |")
for name, label in (("BM_ReadMarkedFile", "Read a marked file, 32,767 samples"),
                    ("BM_ReadGenericFile", "Read a generic file, 32,767 samples"),
                    ("BM_SaveCalibration", "Save a calibration (order 3)"),
                    ("BM_LoadCalibration", "Load a calibration (order 3)")):
    print(f"| {label} | {ms(find(name)):.3f} | – | – | – | – | – | – |")
d = find("BM_DeflectionsBatch")
print(f"| Batch deflections, 1,000,000 readings (order 3): "
      f"{d['readings_per_s'] / 1e6:.0f} M readings/s | {ms(d):.1f} | – | – | – | – | – | – |")
for k_isa, label in ((0, "sse2"), (1, "avx2")):
    k = find(f"BM_NormalMatrixKernel/parameters:61/samples:32767/isa:{k_isa}", False)
    if k is None:
        continue
    print(f"| Normal-matrix kernel alone, 61 parameters, 32,767 samples, {label}: "
          f"{k['madds_per_s'] / 1e9:.1f} G multiply-adds/s | {ms(k):.2f} | – | – | – | – | – | – |")
for order in (1, 2, 3):
    c = find(f"BM_Ceres/order:{order}/samples:32767", False)
    if c:
        print(f"\nCeres order {order}, 32,767 samples: {int(c['iterations'])} iterations, "
              f"RMS {c['rms_um']:.4f} um (Tavric {c['tavric_rms_um']:.4f} um), "
              f"{'reached' if c['reached'] else 'did not reach'} Tavric's final cost", end="")
print()
print()
print("| report page | samples | time (ms) | page size (bytes) |")
print("|---|---:|---:|---:|")
for samples in (4000, 32767):
    r = find(f"BM_CalibrationReportContent/samples:{samples}")
    print(f"| content gathered from a calibration | {samples:,} | {ms(r):.1f} | – |")
for name, step in (("BM_RenderReportPage", "rendered in memory"), ("BM_WriteReportPage", "written to a file")):
    for samples in (4000, 32767):
        r = find(f"{name}/samples:{samples}")
        print(f"| {step} | {samples:,} | {ms(r):.1f} | {int(r['bytes'])} |")
page = os.path.join(data_dir, "report-32767.html")
report_runs = [tool_run(["report", data, "-o", page, "--force"]) for _ in range(max(repetitions, 1))]
report_ms = statistics.median(w[0] for w in report_runs)
print(f"| `tavric report` (whole process: read, fit, page) | 32,767 | {report_ms:.1f} "
      f"| {os.path.getsize(page)} |")
print(f"| `tavric calibrate` (whole process: read, fit, save) | 32,767 | {whole_ms:.1f} | – |")
print(f"\nKernels: {isa}; load average while running: {open('/proc/loadavg').read().split()[0:3]}")
if smoke:
    print("(smoke run: one repetition, minimal times; the figures mean nothing)")
PY
