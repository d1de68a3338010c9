#!/usr/bin/env bash
# Installs what is missing, builds the dev and asan presets and runs every
# test in both, then the tests of calibrations on many threads under
# ThreadSanitizer (tsan preset). Safe to run again.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
tavric_install_deps

if ! command -v chromium >/dev/null 2>&1; then
  echo "NOTE: chromium is not installed: the browser check of the report page" \
       "(report.PageShowsEveryPanelInChromium) is skipped. Install it with: apt-get install chromium"
fi

for preset in dev asan tsan; do
  echo "=== ${preset} ==="
  cmake --preset "$preset"
  cmake --build --preset "$preset"
  ctest --preset "$preset"
done
