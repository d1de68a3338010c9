#!/usr/bin/env bash
# Installs what is missing, builds the dev and asan presets and runs every
# test in both, then the tests of calibrations on many threads under
# ThreadSanitizer (tsan preset). Safe to run again.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
tavric_install_deps

for preset in dev asan tsan; do
  echo "=== ${preset} ==="
  cmake --preset "$preset"
  cmake --build --preset "$preset"
  ctest --preset "$preset"
done
