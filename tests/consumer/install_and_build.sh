#!/usr/bin/env bash
# Installs a built Tavric into a temporary prefix, then builds and runs
# a consumer against it, once through CMake's find_package and once through
# pkg-config; checks the installed command-line tool too.
#
# usage: install_and_build.sh BUILD_DIR CONSUMER_DIR EXAMPLES_DIR CXX CXXFLAGS LDFLAGS cli|nocli
set -euo pipefail
build_dir=$1 consumer_dir=$2 examples_dir=$3 cxx=$4 cxxflags=$5 ldflags=$6 with_cli=$7

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
data=$examples_dir/sphere-scan-marked.txt

cmake --install "$build_dir" --prefix "$prefix" > "$work/install.log"

# The library folder: lib, or lib/<multiarch> for a /usr prefix.
pc=$(find "$prefix" -name tavric.pc -print -quit)
[ -n "$pc" ] || { echo "not installed: tavric.pc"; exit 1; }
libdir=$(dirname "$(dirname "$pc")")
for f in "$prefix/include/tavric/ClsProbeCalibration.h" "$prefix/include/tavric/Version.h" \
         "$libdir/cmake/tavric/tavricConfig.cmake" "$libdir/cmake/tavric/tavricConfigVersion.cmake" \
         "$libdir/cmake/tavric/tavricTargets.cmake" "$libdir/libtavric.a"; do
  [ -f "$f" ] || { echo "not installed: $f"; exit 1; }
done
# The licence: its text, and its SPDX identifier in the package metadata.
[ -f "$prefix/share/doc/tavric/LICENSE" ] || { echo "not installed: LICENSE"; exit 1; }
grep -qx "License: Apache-2.0" "$pc" || { echo "tavric.pc names no licence"; exit 1; }
grep -q 'set(tavric_LICENSE "Apache-2.0")' "$libdir/cmake/tavric/tavricConfig.cmake" ||
  { echo "tavricConfig.cmake names no licence"; exit 1; }
if grep -q "tavric_flags\|tavric::flags" "$libdir"/cmake/tavric/*.cmake; then
  echo "the internal flags target leaked into the exported targets"; exit 1
fi

# CMake consumer.
cmake -S "$consumer_dir" -B "$work/build" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_CXX_FLAGS="$cxxflags" -DCMAKE_EXE_LINKER_FLAGS="$ldflags" \
  > "$work/configure.log" || { cat "$work/configure.log"; exit 1; }
cmake --build "$work/build" > "$work/build.log" || { cat "$work/build.log"; exit 1; }
"$work/build/consumer" "$data" | tee "$work/cmake-consumer.txt"
grep -qx "result OK" "$work/cmake-consumer.txt"
grep -qx "samples 4000" "$work/cmake-consumer.txt"

# pkg-config consumer, same source.
export PKG_CONFIG_PATH=$libdir/pkgconfig
# shellcheck disable=SC2046,SC2086
"$cxx" -std=c++20 $cxxflags "$consumer_dir/main.cpp" -o "$work/pc-consumer" \
  $(pkg-config --cflags --libs tavric) $ldflags
"$work/pc-consumer" "$data" > "$work/pc-consumer.txt"
cmp "$work/cmake-consumer.txt" "$work/pc-consumer.txt"

if [ "$with_cli" = cli ]; then
  "$prefix/bin/tavric" version | grep -q "^Tavric"
  "$prefix/bin/tavric" check "$data" > /dev/null
  [ -f "$prefix/share/bash-completion/completions/tavric" ] ||
    { echo "not installed: the bash completion"; exit 1; }
  if command -v help2man > /dev/null; then
    [ -f "$prefix/share/man/man1/tavric.1" ] || { echo "not installed: the manual page"; exit 1; }
  fi
fi
echo "packaging OK"
