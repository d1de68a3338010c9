#!/usr/bin/env bash
# Writes the demonstration report page for the largest data a calibration
# accepts (32,767 simulated samples) and checks it as a reader sees it, in
# headless Chromium (scripts/check-report.py). Keeps the page, a full-page
# screenshot and the printed PDF in the output folder.
#
#   scripts/check-report.sh [DEMO_PROGRAM [OUTPUT_FOLDER]]
#
# Defaults: the dev build's build/dev/tools/report-demo/tavric_report_demo
# and build/report-check. Exit status 77 (a skip for ctest) when chromium is
# not installed.
set -euo pipefail
cd "$(dirname "$0")/.."
demo=${1:-build/dev/tools/report-demo/tavric_report_demo}
out=${2:-build/report-check}

if ! command -v chromium >/dev/null 2>&1; then
  echo "SKIPPED: chromium is not installed, so the report page was not checked in a browser" \
       "(apt-get install chromium)"
  exit 77
fi
mkdir -p "$out"
"$demo" "$out/report-demo.html" 32767
python3 scripts/check-report.py "$out/report-demo.html" --max-bytes 5000000 \
  --screenshot "$out/report-demo.png" --pdf "$out/report-demo.pdf"
