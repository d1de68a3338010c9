#!/usr/bin/env bash
# Runs the full study of how well the reported uncertainty covers the truth:
# simulated scans of several designs, orders and noise levels, each
# calibrated and compared with its truth. Prints one Markdown table (the one
# kept in docs/calibration.md). Takes a few minutes.
#
# Usage: scripts/coverage-study.sh [SEEDS_PER_DESIGN (default 12)] [SAMPLES (default 4000)]
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
tavric_install_deps
cmake -S . -B build/study -DCMAKE_BUILD_TYPE=Release -DTAVRIC_BUILD_TESTS=ON \
  -DTAVRIC_BUILD_CLI=OFF -DTAVRIC_INSTALL=OFF >/dev/null
cmake --build build/study --target tavric_coverage_study -j2 >/dev/null
build/study/tests/tavric_coverage_study "$@"
