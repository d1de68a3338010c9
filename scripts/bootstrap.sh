#!/usr/bin/env bash
# Sets up a fresh Debian machine, builds the optimised library and tools.
# Safe to run again.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
tavric_install_deps

cmake --preset release
cmake --build --preset release
