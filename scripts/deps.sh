#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need, when missing.
# Sourced by bootstrap.sh and test.sh; safe to run again. chromium is for the
# browser check of the report pages (scripts/check-report.sh).
set -euo pipefail

TAVRIC_PACKAGES=(cmake g++ make libgtest-dev libgmock-dev libbenchmark-dev locales-all
                 libcli11-dev nlohmann-json3-dev pkg-config libeigen3-dev
                 pybind11-dev python3-dev python3-numpy python3-pytest python3-jsonschema
                 chromium help2man)
# The fuzz targets (scripts/fuzz.sh): clang and its libFuzzer and sanitizer
# runtimes.
TAVRIC_FUZZ_PACKAGES=(clang-14 libclang-rt-14-dev)

tavric_install_deps() {
  local missing=()
  for p in "${TAVRIC_PACKAGES[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
  done
  if [ ${#missing[@]} -eq 0 ]; then
    return 0
  fi
  echo "Installing: ${missing[*]}"
  local sudo=""
  if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi
  # A mirror caught mid-sync fails the update of one index (seen for i386);
  # the install below still works with the indexes that did update.
  $sudo apt-get update -qq || echo "warning: apt-get update reported errors; trying the install anyway"
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
}
