#!/usr/bin/env bash
# Builds the Windows automation server (Tavric.dll) for 64-bit and 32-bit
# Windows with mingw-w64 and tests it under Wine:
#   - the DLL exports exactly its four entry points, undecorated, needs no
#     mingw runtime DLL, and embeds a type library of its own architecture;
#   - per architecture, in a fresh Wine prefix: regsvr32 and the registry
#     keys (each architecture's own registry view); the test client
#     (windows/tests/client.cpp) early and late bound; the calibration files
#     the DLL writes, byte for byte against the Linux build (the simulated
#     scan, a 32,767-sample third-order scan, every example, and tavric.exe
#     against the Linux tavric, when the tool exists); the progress window
#     under Xvfb with a decimal-comma user's locale (LC_ALL=de_DE.UTF-8:
#     texts read while it runs, a screenshot, the locale's effects on data
#     and calibration files); unregistering and the keys gone.
# 32-bit runs need wine32 (i386 multiarch). When the plain install fails
# (the mirror's i386 security index mid-sync), ../shared/tools/install-wine32.sh
# beside the checkout installs it; when that fails too, or is absent, the
# 32-bit build is still made and inspected, and the output says so loudly.
# The last lines give the number of checks passed and failed per
# architecture.
#
# Usage: scripts/test-windows.sh          (run by .ci/run after the portable tests)
# Builds in build/windows-linux, build/windows-x64, build/windows-x86; the
# screenshots are build/windows-<arch>/progress-window.png.
set -euo pipefail

if [ "${1:-}" = "__display" ]; then
  # Internal: the progress-window step, run inside xvfb-run (see below).
  shift
  arch_dir=$1 client=$2 scan=$3 out=$4
  ready=$arch_dir/display-ready done_file=$arch_dir/display-done
  rm -f "$ready" "$done_file"
  timeout 60 wine reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /d N /f >/dev/null 2>&1 ||
    echo "note: could not ask Wine to draw window frames"
  timeout 300 wine "$client" display --scan "$(winepath -w "$scan")" --out "$(winepath -w "$out")" \
    --ready "$(winepath -w "$ready")" --done "$(winepath -w "$done_file")" \
    >"$arch_dir/client-display.log" 2>&1 &
  pid=$!
  for _ in $(seq 1 1200); do
    [ -e "$ready" ] && break
    kill -0 "$pid" 2>/dev/null || break
    sleep 0.1
  done
  if [ -e "$ready" ]; then
    sleep 0.5
    import -window root "$arch_dir/progress-window.png" || echo "import failed"
  else
    echo "the progress window never signalled that it was ready for the screenshot"
  fi
  touch "$done_file"
  rc=0
  wait "$pid" || rc=$?
  exit "$rc"
fi

cd "$(dirname "$0")/.."
ROOT=$PWD
START=$(date +%s)
FAILURES=()
NOTES=()
# Checks passed and failed per architecture ("x64", "x86"; "all" for the
# checks of neither).
declare -A PASSED=() FAILED=()
ARCH=all

log() { echo "[windows $(($(date +%s) - START))s] $*"; }
fail() {
  echo "FAIL: $*"
  FAILURES+=("$*")
  FAILED[$ARCH]=$((${FAILED[$ARCH]:-0} + 1))
}
pass() {
  echo "ok: $*"
  PASSED[$ARCH]=$((${PASSED[$ARCH]:-0} + 1))
}
note() {
  echo "NOTE: $*"
  NOTES+=("$*")
}
# Stops at once: nothing after this step could mean anything.
die() {
  echo "FAILED (Windows): $*" >&2
  exit 1
}

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
apt_install() {
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "$@"
}
installed() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q "install ok installed"; }

# --- Packages -------------------------------------------------------------------------
log "packages"
PACKAGES=(cmake g++ make g++-mingw-w64-i686 g++-mingw-w64-x86-64 mingw-w64-tools libwine-dev
  wine wine64 xvfb xauth imagemagick fonts-wine libcli11-dev nlohmann-json3-dev locales-all)
# A user's locale with a decimal comma, for the locale checks (Wine takes the
# user's locale from the Unix one).
COMMA_LOCALE=de_DE.UTF-8
missing=()
for p in "${PACKAGES[@]}"; do installed "$p" || missing+=("$p"); done
# A mirror in the middle of a sync fails apt-get update for one index; the
# lists it did get are still good enough.
$SUDO apt-get update -qq || note "apt-get update reported errors (mirror mid-sync?); using the package lists it has"
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  apt_install "${missing[@]}" || die "cannot install ${missing[*]}"
fi

mkdir -p build
# 32-bit Wine, after the amd64 packages: the plain install, else the shared
# installer that copes with a mirror whose i386 security index is mid-sync.
WINE32_LOG=$ROOT/build/wine32-install.log
WINE32_INSTALLER=$ROOT/../shared/tools/install-wine32.sh
if ! installed wine32:i386; then
  log "32-bit Wine"
  if ! dpkg --print-foreign-architectures | grep -qx i386; then
    $SUDO dpkg --add-architecture i386 || true
  fi
  $SUDO apt-get update -qq || note "apt-get update (with i386) reported errors"
  if ! apt_install wine32:i386 >"$WINE32_LOG" 2>&1; then
    echo "The plain install of wine32:i386 failed (build/wine32-install.log):"
    tail -n 5 "$WINE32_LOG"
    if [ -f "$WINE32_INSTALLER" ]; then
      echo "Installing it with ../shared/tools/install-wine32.sh"
      if ! bash "$WINE32_INSTALLER" >>"$WINE32_LOG" 2>&1; then
        echo "../shared/tools/install-wine32.sh FAILED; its last lines:"
        tail -n 15 "$WINE32_LOG"
        # The installer stops (set -e with pipefail) when a -dev package that
        # its plan would remove has no library version to move along with
        # it (python3-dev, for one). Once more with that lookup allowed to
        # find nothing, from a copy; the copy is left unchanged when the
        # installer no longer has the line.
        patched=$(mktemp)
        sed 's/| head -n1 | cut -d= -f2)$/| head -n1 | cut -d= -f2 || true)/' \
          "$WINE32_INSTALLER" >"$patched"
        if ! cmp -s "$patched" "$WINE32_INSTALLER"; then
          echo "Trying again with the -dev lookup allowed to find nothing"
          bash "$patched" >>"$WINE32_LOG" 2>&1 || tail -n 15 "$WINE32_LOG"
        fi
        rm -f "$patched"
      fi
    else
      echo "../shared/tools/install-wine32.sh IS ABSENT (expected at $WINE32_INSTALLER):"
      echo "nothing more can be tried to install 32-bit Wine."
    fi
  fi
fi
RUN_X86=1
if ! installed wine32:i386; then
  RUN_X86=0
  echo "=================================================================================="
  echo "32-BIT WINE IS NOT AVAILABLE: wine32:i386 could not be installed (see"
  echo "build/wine32-install.log; usually the i386 index of the mirror is mid-sync)."
  echo "The 32-bit DLL is built and inspected, but NOT run: no 32-bit result below is a pass."
  echo "=================================================================================="
  NOTES+=("32-bit Wine unavailable: the x86 DLL was built and inspected but not run")
fi

# --- Linux build and reference ----------------------------------------------------------
log "Linux build (reference)"
LINUX=build/windows-linux
cmake -S . -B "$LINUX" -DCMAKE_BUILD_TYPE=Release -DTAVRIC_BUILD_TESTS=OFF \
  -DTAVRIC_WARNINGS_AS_ERRORS=ON >"$ROOT/build/windows-linux-configure.log" ||
  die "configuring the Linux build (build/windows-linux-configure.log)"
HAVE_CLI=0
if cmake --build "$LINUX" --target help | grep -qw tavric_cli; then HAVE_CLI=1; fi
linux_targets=(tavric)
[ "$HAVE_CLI" = 1 ] && linux_targets+=(tavric_cli)
cmake --build "$LINUX" -j2 --target "${linux_targets[@]}" || die "building the Linux library"

COMPARE=$ROOT/build/windows-compare
rm -rf "$COMPARE"
mkdir -p "$COMPARE"
g++ -std=c++20 -O2 -ffp-contract=off -Iinclude -I"$LINUX/src/generated" \
  windows/tests/linux_reference.cpp "$LINUX/src/libtavric.a" -pthread -o "$COMPARE/linux_reference" ||
  die "building windows/tests/linux_reference.cpp"

EXAMPLES=()
if [ -d examples ]; then
  while IFS= read -r f; do EXAMPLES+=("$ROOT/$f"); done < <(find examples -maxdepth 1 -type f \
    \( -name '*.txt' -o -name '*.dat' -o -name '*.csv' \) ! -iname 'readme*' | sort)
fi
if [ ${#EXAMPLES[@]} -eq 0 ]; then
  note "examples/ holds no data files: OptimiseFromFile on the examples was not compared"
fi
"$COMPARE/linux_reference" "$COMPARE" "${EXAMPLES[@]}" | tee "$COMPARE/linux.log" ||
  die "the Linux reference calibration failed"

# The tavric command-line tool on Linux, for comparison with tavric.exe.
if [ "$HAVE_CLI" = 1 ]; then
  LINUX_CLI=$(find "$LINUX" -type f -name tavric -perm -u+x | head -1)
  [ -n "$LINUX_CLI" ] || die "the Linux tavric tool was built but cannot be found"
  for f in "${EXAMPLES[@]}"; do
    "$LINUX_CLI" calibrate "$f" -o "$COMPARE/linux-cli-$(basename "$f").cal" --order 3 --force \
      >"$COMPARE/linux-cli-$(basename "$f").log" 2>&1 ||
      die "tavric calibrate $(basename "$f") failed on Linux"
  done
else
  # Hook: once the command-line tool (target tavric_cli, cli/) is in the tree,
  # the cross builds make tavric.exe and its calibrations are compared here.
  note "no tavric command-line tool in the tree (target tavric_cli): tavric.exe not built or compared"
fi

# --- Cross builds -------------------------------------------------------------------
declare -A TRIPLET=([x64]=x86_64-w64-mingw32 [x86]=i686-w64-mingw32)
for arch in x64 x86; do
  log "cross build $arch"
  dir=build/windows-$arch
  cmake -S . -B "$dir" -DCMAKE_TOOLCHAIN_FILE="cmake/toolchains/${TRIPLET[$arch]}.cmake" \
    -DCMAKE_BUILD_TYPE=Release -DTAVRIC_WARNINGS_AS_ERRORS=ON -DTAVRIC_BUILD_TESTS=OFF \
    >"$dir.configure.log" 2>&1 || die "configuring the $arch build ($dir.configure.log)"
  targets=(TavricCom TavricComClient)
  [ "$HAVE_CLI" = 1 ] && targets+=(tavric_cli)
  cmake --build "$dir" -j2 --target "${targets[@]}" || die "building $arch"
done

# --- Static checks ---------------------------------------------------------------------
log "static checks"
EXPECTED_EXPORTS="DllCanUnloadNow DllGetClassObject DllRegisterServer DllUnregisterServer"
ALLOWED_IMPORTS="advapi32.dll gdi32.dll kernel32.dll msvcrt.dll ole32.dll oleaut32.dll user32.dll version.dll"
for arch in x64 x86; do
  ARCH=$arch
  dir=build/windows-$arch
  objdump=${TRIPLET[$arch]}-objdump
  dll=$dir/windows/Tavric.dll
  [ -f "$dll" ] || die "$dll was not built"
  format=$($objdump -f "$dll" | sed -n 's/.*file format //p')
  expected_format=$([ "$arch" = x64 ] && echo pei-x86-64 || echo pei-i386)
  [ "$format" = "$expected_format" ] && pass "$arch: Tavric.dll is $format" ||
    fail "$arch: Tavric.dll is '$format', expected $expected_format"
  exports=$($objdump -p "$dll" | sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' |
    sed -n 's/^\s*\[ *[0-9]*\] //p' | sort | xargs)
  [ "$exports" = "$EXPECTED_EXPORTS" ] && pass "$arch: exports exactly $exports" ||
    fail "$arch: exports '$exports', expected '$EXPECTED_EXPORTS'"
  binaries=("$dll" "$dir/windows/TavricComClient.exe")
  if [ "$HAVE_CLI" = 1 ]; then
    exe=$(find "$dir" -type f -name tavric.exe | head -1)
    [ -n "$exe" ] && binaries+=("$exe") || fail "$arch: tavric.exe was not built"
  fi
  for bin in "${binaries[@]}"; do
    for imported in $($objdump -p "$bin" | sed -n 's/^\s*DLL Name: //p' | tr 'A-Z' 'a-z'); do
      case " $ALLOWED_IMPORTS " in
        *" $imported "*) ;;
        *) fail "$arch: $(basename "$bin") needs $imported (not on a plain Windows)" ;;
      esac
    done
  done
  tlb=$dir/windows/generated/Tavric.tlb
  magic=$(head -c 4 "$tlb")
  syskind=$(($(od -An -tu1 -j 20 -N 1 "$tlb") & 15))
  expected_syskind=$([ "$arch" = x64 ] && echo 3 || echo 1)
  [ "$magic" = MSFT ] && [ "$syskind" = "$expected_syskind" ] &&
    pass "$arch: type library SYSKIND $syskind ($([ "$syskind" = 1 ] && echo SYS_WIN32 || echo SYS_WIN64))" ||
    fail "$arch: type library magic '$magic' SYSKIND $syskind, expected MSFT and $expected_syskind"
  # The embedded copy is the one built for this architecture.
  if grep -qF "$(head -c 64 "$tlb" | od -An -tx1 | tr -d ' \n')" \
    <(od -An -tx1 -v "$dll" | tr -d ' \n'); then
    pass "$arch: the DLL embeds this type library"
  else
    fail "$arch: the DLL does not embed this architecture's type library"
  fi
done
ARCH=all

# --- Wine runs -----------------------------------------------------------------------------
CLSID='{7DF9006F-2689-4B56-88BB-55FCD70AC51C}'
LIBID='{7441726E-66D4-46CB-B91B-960E2BA94B7B}'
IID='{9C0600D6-B442-4E23-A550-8C80A9A0B9C9}'
PROGID='Tavric.ClsProbeCalibration'

# The registry view of the architecture under test: in a prefix that runs
# both, a 64-bit server registers in the 64-bit view, a 32-bit one in the
# 32-bit view, and `wine reg` alone would read only one of them.
REG_VIEW=/reg:64
reg_value() { # KEY [VALUE]: prints the value's data ((Default) without VALUE)
  local key=$1 name=${2:-}
  local args=(/ve)
  [ -n "$name" ] && args=(/v "$name")
  { timeout 60 wine reg query "$key" "${args[@]}" "$REG_VIEW" 2>/dev/null || true; } |
    tr -d '\r' | sed -n 's/^ *\S\+ \+REG_SZ \+//p' | head -1
}
key_exists() { timeout 60 wine reg query "$1" "$REG_VIEW" >/dev/null 2>&1; }
expect_value() { # KEY VALUE-NAME EXPECTED DESCRIPTION
  local got
  got=$(reg_value "$1" "$2")
  [ "$got" = "$3" ] && pass "$4" || fail "$4: '$got', expected '$3'"
}
# Judges one run of the test client: its FAIL lines shown, a pass when it
# exited 0 with "RESULT: N passed, 0 failed" (N > 0), and its own checks
# added to the architecture's client counts.
declare -A CLIENT_PASSED=() CLIENT_FAILED=()
client_run() { # LOG EXIT-CODE DESCRIPTION
  local log=$1 rc=$2 what=$3 line
  tr -d '\r' <"$log" 2>/dev/null | grep -E '^(FAIL|==|progress window)' || true
  line=$(tr -d '\r' <"$log" 2>/dev/null | grep -E '^RESULT: [0-9]+ passed, [0-9]+ failed$' |
    tail -1 || true)
  echo "${line:-no RESULT line}"
  if [[ "$line" =~ ^RESULT:\ ([0-9]+)\ passed,\ ([0-9]+)\ failed$ ]]; then
    CLIENT_PASSED[$ARCH]=$((${CLIENT_PASSED[$ARCH]:-0} + BASH_REMATCH[1]))
    CLIENT_FAILED[$ARCH]=$((${CLIENT_FAILED[$ARCH]:-0} + BASH_REMATCH[2]))
  fi
  if [[ "$line" =~ ^RESULT:\ [1-9][0-9]*\ passed,\ 0\ failed$ ]] && [ "$rc" = 0 ]; then
    pass "$ARCH: $what"
  else
    fail "$ARCH: $what: exit code $rc, see $log"
  fi
}
same_file() { # A B DESCRIPTION
  if [ -f "$1" ] && [ -f "$2" ] && cmp -s "$1" "$2"; then
    pass "$3"
  else
    fail "$3 ($1 vs $2)"
    [ -f "$1" ] && [ -f "$2" ] && diff <(tr -d '\r' <"$1") <(tr -d '\r' <"$2") | head -10
  fi
}

run_arch() {
  local arch=$1
  ARCH=$arch
  REG_VIEW=$([ "$arch" = x64 ] && echo /reg:64 || echo /reg:32)
  local dir=$ROOT/build/windows-$arch
  local out=$dir/out
  rm -rf "$out" "$dir/wineprefix" "$dir/progress-window.png"
  mkdir -p "$out"
  export WINEPREFIX=$dir/wineprefix WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
  export WINEARCH=$([ "$arch" = x64 ] && echo win64 || echo win32)
  unset DISPLAY
  log "$arch: fresh Wine prefix"
  timeout 300 wineboot -u >"$dir/wineboot.log" 2>&1 || die "$arch: wineboot failed"
  timeout 120 wineserver -w || true

  local dll_win client
  dll_win=$(winepath -w "$dir/windows/Tavric.dll")
  client=$dir/windows/TavricComClient.exe

  log "$arch: regsvr32"
  local rc=0
  timeout 120 wine regsvr32 /s "$dll_win" || rc=$?
  [ "$rc" = 0 ] || die "$arch: regsvr32 failed (exit code $rc)"
  pass "$arch: regsvr32 Tavric.dll"
  expect_value "HKCR\\$PROGID\\CLSID" "" "$CLSID" "$arch: ProgID -> CLSID"
  expect_value "HKCR\\CLSID\\$CLSID\\InprocServer32" "" "$dll_win" "$arch: InprocServer32 is the DLL"
  expect_value "HKCR\\CLSID\\$CLSID\\InprocServer32" ThreadingModel Apartment "$arch: ThreadingModel"
  expect_value "HKCR\\CLSID\\$CLSID\\ProgID" "" "$PROGID" "$arch: CLSID -> ProgID"
  expect_value "HKCR\\CLSID\\$CLSID\\TypeLib" "" "$LIBID" "$arch: CLSID -> TypeLib"
  local tlb_kind
  tlb_kind=$([ "$arch" = x64 ] && echo win64 || echo win32)
  expect_value "HKCR\\TypeLib\\$LIBID\\1.0\\0\\$tlb_kind" "" "$dll_win" \
    "$arch: type library registered under $tlb_kind"
  key_exists "HKCR\\Interface\\$IID" && pass "$arch: interface registered" ||
    fail "$arch: HKCR\\Interface\\$IID missing"

  log "$arch: test client (early and late binding)"
  cp "$COMPARE/scan.bin" "$COMPARE/big.bin" "$dir/"
  local example_args=()
  local f
  for f in "${EXAMPLES[@]}"; do example_args+=(--example "$(winepath -w "$f")"); done
  rc=0
  timeout 900 wine "$client" api --scan "$(winepath -w "$dir/scan.bin")" \
    --big "$(winepath -w "$dir/big.bin")" --out "$(winepath -w "$out")" "${example_args[@]}" \
    >"$dir/client-api.log" 2>&1 || rc=$?
  client_run "$dir/client-api.log" "$rc" "test client (api)"

  log "$arch: calibration files against the Linux build"
  same_file "$COMPARE/linux-scan.cal" "$out/windows-scan.cal" \
    "$arch: Optimise (bounds 0 To 5, 3 To N+2, order 3): file identical to Linux"
  same_file "$COMPARE/linux-big.cal" "$out/windows-big.cal" \
    "$arch: Optimise of 32,767 samples (order 3): file identical to Linux"
  same_file "$COMPARE/linux-scan.cal" "$out/windows-scan-headless-display.cal" \
    "$arch: the same with ProgressDisplay on (no desktop): identical to Linux"
  for f in "${EXAMPLES[@]}"; do
    local name linux_result windows_result
    name=$(basename "$f")
    linux_result=$(grep -F "EXAMPLE $name: " "$COMPARE/linux.log" | head -1 || true)
    windows_result=$(tr -d '\r' <"$dir/client-api.log" | grep -F "EXAMPLE $name: " | head -1 || true)
    [ -n "$linux_result" ] && [ "$linux_result" = "$windows_result" ] &&
      pass "$arch: $name: same result text as Linux (${linux_result#*: })" ||
      fail "$arch: $name: Linux '$linux_result', Windows '$windows_result'"
    if [ "${linux_result#*: }" = OK ]; then
      same_file "$COMPARE/linux-$name.cal" "$out/windows-$name.cal" \
        "$arch: OptimiseFromFile $name: file identical to Linux"
    fi
  done

  if [ "$HAVE_CLI" = 1 ]; then
    local exe
    exe=$(find "$dir" -type f -name tavric.exe | head -1)
    for f in "${EXAMPLES[@]}"; do
      local name
      name=$(basename "$f")
      rc=0
      timeout 300 wine "$exe" calibrate "$(winepath -w "$f")" \
        -o "$(winepath -w "$out/cli-$name.cal")" --order 3 --force >"$out/cli-$name.log" 2>&1 || rc=$?
      [ "$rc" = 0 ] || fail "$arch: tavric.exe calibrate $name exit code $rc"
      same_file "$COMPARE/linux-cli-$name.cal" "$out/cli-$name.cal" \
        "$arch: tavric.exe calibrate $name: file identical to the Linux tavric"
    done
  fi

  log "$arch: progress window under Xvfb"
  timeout 120 wineserver -w || true
  rc=0
  # The display run also checks the user's locale: a decimal comma.
  timeout 600 xvfb-run -a -s "-screen 0 1024x768x24" env LC_ALL="$COMMA_LOCALE" \
    "$ROOT/scripts/test-windows.sh" __display "$dir" "$client" "$dir/scan.bin" "$out" || rc=$?
  client_run "$dir/client-display.log" "$rc" \
    "progress window (texts read while running) and the decimal-comma locale"
  if [ -f "$dir/progress-window.png" ]; then
    local colours
    colours=$(convert "$dir/progress-window.png" -format '%k' info: || echo 0)
    [ "$colours" -gt 2 ] && pass "$arch: screenshot build/windows-$arch/progress-window.png ($colours colours)" ||
      fail "$arch: the screenshot is blank ($colours colours)"
  else
    fail "$arch: no screenshot of the progress window"
  fi
  same_file "$COMPARE/linux-scan.cal" "$out/windows-scan-display.cal" \
    "$arch: the calibration shown in the window: file identical to Linux"
  same_file "$COMPARE/linux-scan.cal" "$out/windows-comma.cal" \
    "$arch: the scan read with decimal commas: file identical to Linux"
  timeout 120 wineserver -w || true

  log "$arch: unregister"
  rc=0
  timeout 120 wine regsvr32 /u /s "$dll_win" || rc=$?
  [ "$rc" = 0 ] && pass "$arch: regsvr32 /u" || fail "$arch: regsvr32 /u exit code $rc"
  local key
  for key in "HKCR\\$PROGID" "HKCR\\CLSID\\$CLSID" "HKCR\\TypeLib\\$LIBID" "HKCR\\Interface\\$IID"; do
    key_exists "$key" && fail "$arch: $key still there after unregistering" ||
      pass "$arch: $key removed"
  done
  timeout 60 wineserver -k || true
}

run_arch x64
if [ "$RUN_X86" = 1 ]; then
  run_arch x86
fi
ARCH=all

# --- Summary ---------------------------------------------------------------------------
echo
log "done"
for n in "${NOTES[@]}"; do echo "NOTE: $n"; done
if [ ${#FAILURES[@]} -gt 0 ]; then
  echo "Windows tests FAILED (${#FAILURES[@]}):"
  for f in "${FAILURES[@]}"; do echo "  - $f"; done
fi
total_passed=${PASSED[all]:-0}
total_failed=${FAILED[all]:-0}
for arch in x64 x86; do
  p=$((${PASSED[$arch]:-0} + ${CLIENT_PASSED[$arch]:-0}))
  f=$((${FAILED[$arch]:-0} + ${CLIENT_FAILED[$arch]:-0}))
  total_passed=$((total_passed + p))
  total_failed=$((total_failed + f))
  ran=$([ "$arch" = x64 ] || [ "$RUN_X86" = 1 ] && echo "run under Wine" ||
    echo "built and inspected only, NOT RUN (no 32-bit Wine)")
  echo "$arch: $p checks passed, $f failed (script ${PASSED[$arch]:-0}/${FAILED[$arch]:-0}," \
    "test client ${CLIENT_PASSED[$arch]:-0}/${CLIENT_FAILED[$arch]:-0}; $ran)"
done
echo "windows: $total_passed passed, $total_failed failed"
[ ${#FAILURES[@]} -eq 0 ] || exit 1
