#!/usr/bin/env bash
# Checks report pages as a reader sees them, in headless Chromium
# (scripts/check-report.py), for the largest data a calibration accepts
# (32,767 samples): the demonstration page, and the page `tavric report`
# writes for simulated data, then for the bundled example against its own
# calibration file (--cal). Keeps the pages, full-page screenshots and the
# printed PDFs in the output folder.
#
#   scripts/check-report.sh [DEMO_PROGRAM [OUTPUT_FOLDER [TAVRIC]]]
#
# Defaults: the dev build's build/dev/tools/report-demo/tavric_report_demo,
# build/report-check and build/dev/cli/tavric. Exit status 77 (a skip for
# ctest) when chromium is not installed.
set -euo pipefail
cd "$(dirname "$0")/.."
demo=${1:-build/dev/tools/report-demo/tavric_report_demo}
out=${2:-build/report-check}
tavric=${3:-build/dev/cli/tavric}

if ! command -v chromium >/dev/null 2>&1; then
  echo "SKIPPED: chromium is not installed, so the report page was not checked in a browser" \
       "(apt-get install chromium)"
  exit 77
fi
# The folder is this check's own: each run replaces what the last one left.
mkdir -p "$out"
check() {  # PAGE: checks it and keeps its screenshot and PDF beside it
  python3 scripts/check-report.py "$1" --max-bytes 5000000 \
    --screenshot "${1%.html}.png" --pdf "${1%.html}.pdf"
}
"$demo" "$out/report-demo.html" 32767
check "$out/report-demo.html"

"$tavric" simulate -o "$out/scan-32767.txt" --samples 32767 --force >/dev/null
"$tavric" report "$out/scan-32767.txt" -o "$out/report-32767.html" --force
check "$out/report-32767.html"

"$tavric" calibrate examples/sphere-scan-marked.txt -o "$out/sphere-scan.cal" --force >/dev/null
"$tavric" report examples/sphere-scan-marked.txt --cal "$out/sphere-scan.cal" \
  -o "$out/report-against-cal.html" --force
check "$out/report-against-cal.html"
