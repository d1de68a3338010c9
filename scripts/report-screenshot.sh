#!/usr/bin/env bash
# Makes docs/report.png again: the report page of the bundled example
# (README.md's tour ends with it), written by the built tool and shot in
# headless Chromium by scripts/check-report.py, which also checks the page.
# The page is dated at a fixed time so that only a change of the tool or
# the data changes the picture.
#
#   scripts/report-screenshot.sh [TAVRIC]     (default: build/dev/cli/tavric)
set -euo pipefail
cd "$(dirname "$0")/.."
tavric=${1:-build/dev/cli/tavric}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

SOURCE_DATE_EPOCH=1767225600 "$tavric" report examples/sphere-scan-marked.txt \
  -o "$work/sphere-scan-marked.html" >/dev/null
python3 scripts/check-report.py "$work/sphere-scan-marked.html" --screenshot docs/report.png
echo "Written docs/report.png ($(stat -c %s docs/report.png) bytes)"
