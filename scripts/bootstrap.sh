#!/usr/bin/env bash
# Sets up a fresh Debian machine, builds the optimised library and tools, and
# calibrates the bundled example with the freshly built command-line tool.
# Safe to run again.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
tavric_install_deps

cmake --preset release
cmake --build --preset release

echo
echo "Calibrating the bundled example:"
build/release/cli/tavric calibrate examples/sphere-scan-marked.txt -o build/release/sphere-scan.cal --force
