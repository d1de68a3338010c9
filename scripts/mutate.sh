#!/usr/bin/env bash
# Mutation testing: does the test suite notice small mistakes? Applies each
# single-line mutation of the list below on its own to a copy of the source
# tree, rebuilds incrementally, runs the tests that should notice it and prints
# a table: mutation, killed by (the first failing test), time.
#
# Usage: scripts/mutate.sh [--list | --check] [PATTERN]
#   --list    print the mutations and stop
#   --check   only say which mutations no longer apply to the working tree
#             (seconds; exit status 1 if any)
#   PATTERN   run only the mutations whose number, text or file matches this
#             extended regular expression (e.g. 'cli/' or '^12$')
#
# Everything happens in build/mutate/: src/ is a copy of the working tree
# (refreshed at every start, so your checkout is never changed, even by a run
# that is killed), build/ its Debug build with the tests, windows-x64/ and
# wine/ the cross build and the Wine prefix of the Windows adapter's
# mutations (those are reported as not run where mingw-w64 or Wine is
# missing). The table is also written to build/mutate/table.md.
#
# A mutation names its file, a text that occurs exactly once in it (one line
# or part of one) and its replacement; when the text is not found, or found
# more than once, the mutation is reported as not applicable: edit the list.
# A mutation that no test can tell from the original must say why with
# `equivalent "reason"` right after it; it is then listed, not run.
#
# Too slow for CI (half an hour on two shared cores once build/mutate/ is
# built; the first run builds for ten minutes more, twenty with the Windows
# cross build): run it before closing work that changes the engine, and copy
# the table into docs/testing.md. Exit status: 0 when every mutation that was
# run was killed, 1 otherwise (a survivor, a mutation that no longer applies
# or does not build).
set -euo pipefail
# The whole script is one block, read before it runs: editing this file while
# it runs cannot change what it does.
{
cd "$(dirname "$0")/.."
ROOT=$PWD
WORK=$ROOT/build/mutate
SRC=$WORK/src
BUILD=$WORK/build
WIN=$WORK/windows-x64
WINE_DIR=$WORK/wine
REFERENCE=$WORK/reference
TEST_TIMEOUT=900

# --- The mutations -----------------------------------------------------------------
# mutation DESCRIPTION FILE FROM TO TEST...
#   TEST: a test folder (its executable tests/tavric_<folder>_tests) or
#   "windows" (the Windows adapter under Wine), in the order to try them.
DESCRIPTIONS=() FILES=() FROMS=() TOS=() TESTS=() EQUIVALENT=()
mutation() {
  DESCRIPTIONS+=("$1")
  FILES+=("$2")
  FROMS+=("$3")
  TOS+=("$4")
  shift 4
  TESTS+=("$*")
  EQUIVALENT+=("")
}
# shellcheck disable=SC2317  # called by the mutations that are equivalent, when there are any
equivalent() { EQUIVALENT[${#EQUIVALENT[@]} - 1]=$1; }

# Engine: optimiser, statistics, model, polynomial, geometry, sphere, data.
mutation "LM rejects a trial step that leaves S unchanged" \
  src/solvers/Levenberg_Marquardt.cpp 'if (!(S1 > S)) break;' 'if (!(S1 >= S)) break;' \
  solvers interface
mutation "outer loop bound: one iteration fewer" \
  src/solvers/Levenberg_Marquardt.cpp '} while (k <= state.IterationMaxNumber);' \
  '} while (k < state.IterationMaxNumber);' solvers interface cli
mutation "damping not divided at the start of an outer iteration" \
  src/solvers/Levenberg_Marquardt.cpp 'const double mu_divided = state.Mu / state.nu;' \
  'const double mu_divided = state.Mu;' solvers interface cli
mutation "a rejected trial divides the damping instead of multiplying it" \
  src/solvers/Levenberg_Marquardt.cpp 'const double mu_next = state.Mu * state.nu;' \
  'const double mu_next = state.Mu / state.nu;' solvers interface
mutation "gradient norm not doubled" \
  src/solvers/Levenberg_Marquardt.cpp 'double gradient_norm = 2.0 * Tools::Norm(g);' \
  'double gradient_norm = 1.0 * Tools::Norm(g);' solvers interface cli
mutation "FitRMS from the mean over m - 1 residuals" \
  src/solvers/Levenberg_Marquardt.cpp 'const double mean_square = s / static_cast<double>(m);' \
  'const double mean_square = s / static_cast<double>(m - 1);' solvers interface
mutation "Cholesky pivot without the damping" \
  src/solvers/ModCholesky.cpp 'pivot = (A.Unchecked(i, i) + mu) - s;' \
  'pivot = A.Unchecked(i, i) - s;' solvers interface
mutation "variance divided by n instead of n - 1" \
  src/solvers/Tools.cpp 'const double var = s / static_cast<double>(hi - lo);' \
  'const double var = s / static_cast<double>(hi - lo + 1);' solvers interface
mutation "sphere stability checks 3 parameters instead of 4" \
  src/model/IterativeCal.cpp 'for (Int32 i = 1; i <= sphere_params_; ++i)' \
  'for (Int32 i = 1; i < sphere_params_; ++i)' model interface
mutation "polynomial stability threshold 100 x the setting instead of 1000 x" \
  src/model/IterativeCal.cpp 's.ConvergencePolyParamValue * 1000.0' \
  's.ConvergencePolyParamValue * 100.0' model interface cli
mutation "gradient test not strict" \
  src/model/IterativeCal.cpp 'std::fabs(GradientNorm) < s.ConvergenceGradientNormValue' \
  'std::fabs(GradientNorm) <= s.ConvergenceGradientNormValue' model
mutation "Jacobian: radius derivative +1" \
  src/model/IterativeCal.cpp 'column[3] = -1.0;' 'column[3] = 1.0;' model interface
mutation "normal-matrix kernel: the second half of a tile multiplies the first half's rows" \
  src/solvers/NormalEquations.cpp 'hi[c] = hi[c] + x_hi * x_j;' 'hi[c] = hi[c] + x_lo * x_j;' \
  solvers interface
mutation "normal-matrix kernel: the tiles on the diagonal skipped" \
  src/solvers/NormalEquations.cpp 'for (std::size_t j0 = i0; j0 < n; j0 += kTileColumns) {' \
  'for (std::size_t j0 = i0 + kTileColumns; j0 < n; j0 += kTileColumns) {' solvers interface
mutation "Jacobian kernel: the normal's direction not negated" \
  src/model/ModelKernels.cpp 'const V4 j = -wk / wk[3];' 'const V4 j = wk / wk[3];' model interface
mutation "Jacobian kernel: the last, partial vector of a row not written" \
  src/model/ModelKernels.cpp \
  'if (count % L != 0) Store(out + count - L, Load<V>(m + count - L) * s);' '(void)0;' \
  model interface
mutation "residual kernel: w3 from the centre's y" \
  src/model/ModelKernels.cpp 'const V w3 = z + Load<V>(in.z + k) - in.centre[2];' \
  'const V w3 = z + Load<V>(in.z + k) - in.centre[1];' model interface
mutation "deflection covariance in lanes: the powers of R from Q" \
  src/uncertainty/DeflectionCovariance.cpp 'pr[e] = pr[e - 1] * r;' 'pr[e] = pr[e - 1] * q;' \
  uncertainty interface
mutation "uncertainty at the samples: every chunk from the first sample" \
  src/uncertainty/FitAnalysis.cpp \
  'field.AtEach(readings.Data() + 3 * first, chunk, covariances.data());' \
  'field.AtEach(readings.Data(), chunk, covariances.data());' uncertainty interface
mutation "file reading: a file that reports no size is read as empty" \
  src/runtime/TextFile.cpp 'content.resize(std::max<std::size_t>(2 * used, 65536));' \
  'content.resize(used);' runtime data
mutation "first-order terms seeded x 100 instead of x 1000" \
  src/model/IterativeCal.cpp 'M0.Mij(r1, col) * 1000.0' 'M0.Mij(r1, col) * 100.0' \
  model interface
mutation "offset subtracted from the P reading instead of added" \
  src/model/IterativeCal.cpp '(o1 + fp::RequireFinite(Data.Unchecked(lower1, col))) / 1000.0' \
  '(-o1 + fp::RequireFinite(Data.Unchecked(lower1, col))) / 1000.0' model interface cli
mutation "PolyScale exponent: total degree + 1" \
  src/polynomial/Polynome3Variables.cpp 'const double f = fp::Power(s, d);' \
  'const double f = fp::Power(s, d + 1);' polynomial interface
mutation "quaternion product: sign of one term of C" \
  src/geometry/ClsQuaternion.cpp 'r->C(a1 * Q.C() - b1 * Q.D() + c1 * Q.A() + d1 * Q.B());' \
  'r->C(a1 * Q.C() + b1 * Q.D() + c1 * Q.A() + d1 * Q.B());' geometry interface
mutation "conjugate keeps the sign of D" \
  src/geometry/ClsQuaternion.cpp 'return NewQuaternion(a_, -b_, -c_, -d_);' \
  'return NewQuaternion(a_, -b_, -c_, d_);' geometry interface
mutation "Normer leaves the third component unscaled" \
  src/geometry/ClsVector.cpp 'c3_ /= length;' 'c3_ /= 1.0;' geometry interface
mutation "sphere fit: one Gauss-Newton step fewer allowed" \
  src/sphere/ClsSphere.cpp 'if (converged || iteration > MaxIter) break;' \
  'if (converged || iteration >= MaxIter) break;' sphere interface
mutation "sphere fit: starting radius from n - 1" \
  src/sphere/ClsSphere.cpp 'const double mean_square = SumOfSquaredDistances(centre) / static_cast<double>(n_points_);' \
  'const double mean_square = SumOfSquaredDistances(centre) / static_cast<double>(n_points_ - 1);' sphere interface
mutation "sphere deviations: smallest and largest swapped" \
  src/sphere/ClsSphere.cpp 'max_ = rhs_(index_max);' 'max_ = rhs_(index_min);' sphere interface
mutation "two planes scanned in both senses are enough" \
  src/data/ModBiDirDetection.h 'inline constexpr Int16 kRequiredPlanes = 3;' \
  'inline constexpr Int16 kRequiredPlanes = 2;' data interface cli
mutation "looser same-plane limit between scan normals" \
  src/data/ModBiDirDetection.cpp 'constexpr double kSamePlane = 0.95;' \
  'constexpr double kSamePlane = 0.5;' data interface
mutation "record numbers: fixed notation up to 1E15" \
  src/runtime/NumberText.cpp 'if (exponent >= -4 && exponent <= 14) {' \
  'if (exponent >= -4 && exponent <= 15) {' runtime polynomial interface

# The calibration interface (the library's specified behaviour).
mutation "calibration accepts two planes scanned in both senses" \
  src/interface/CalibrationProcedure.cpp \
  'if (found.bidirectional_planes < ModBiDirDetection::kRequiredPlanes) {' \
  'if (found.bidirectional_planes < ModBiDirDetection::kRequiredPlanes - 1) {' interface cli
mutation "order clamp: above 3 becomes 2" \
  src/interface/CalibrationProcedure.cpp 'if (order > 3) order = 3;' 'if (order > 3) order = 2;' \
  interface
mutation "fitted polynomial scaled back with 100 instead of 1000" \
  src/interface/CalibrationProcedure.cpp 'fitted.PolyScale(1000.0);' 'fitted.PolyScale(100.0);' \
  interface cli
mutation "probe offsets not put back after the fit" \
  src/interface/CalibrationProcedure.cpp 'fitted.TheCoeff(0, 0, 0, kept);' '(void)kept;' \
  interface cli
mutation "damping left as the run ended it" \
  src/interface/CalibrationProcedure.cpp 'State().Mu = defaults::kMu;' '(void)defaults::kMu;' \
  interface
mutation "sign of the head-A rotation flipped" \
  src/interface/HeadOrientation.cpp 'qa.From_u(-s.head_angle_a, Deref(a_carried));' \
  'qa.From_u(s.head_angle_a, Deref(a_carried));' interface cli
mutation "head rotations composed in the other order" \
  src/interface/HeadOrientation.cpp 'Ref<ClsQuaternion> q = qa.Mul(qb);' \
  'Ref<ClsQuaternion> q = qb.Mul(qa);' interface
mutation "degrees to radians over 360" \
  src/interface/HeadOrientation.cpp 'const double r = degrees * kPi / 180.0;' \
  'const double r = degrees * kPi / 360.0;' interface
mutation "convergence method clamped to 2 above" \
  src/interface/ClsProbeCalibration.cpp '(value > 3 ? 3 : value)' '(value > 3 ? 2 : value)' \
  interface
mutation "saved fit statistics: FitMin written twice" \
  src/interface/CalibrationFile.cpp 'file.WriteRecord({s.FitRMS, s.FitMin, s.FitMax});' \
  'file.WriteRecord({s.FitRMS, s.FitMin, s.FitMin});' interface cli

# The product layer: data check, modern API, simulator, run report.
mutation "data check: centre x and y swapped" \
  src/interface/DataCheck.cpp 'report.centre = {centre.C1(), centre.C2(), centre.C3()};' \
  'report.centre = {centre.C2(), centre.C1(), centre.C3()};' interface cli
mutation "data check accepts two planes" \
  src/interface/DataCheck.cpp 'found.bidirectional_planes >= ModBiDirDetection::kRequiredPlanes;' \
  'found.bidirectional_planes >= ModBiDirDetection::kRequiredPlanes - 1;' interface cli
mutation "simulator: friction pushes along the travel" \
  src/simulation/ScanSimulator.cpp \
  'Minus(Times(delta, normal), Times(profile.friction * delta, travel))' \
  'Plus(Times(delta, normal), Times(profile.friction * delta, travel))' simulation cli
mutation "modern API: the deflection keeps the constant term" \
  src/api/Calibration.cpp 'deflection->TheCoeff(0, 0, 0, CoefficientTriple(0.0, 0.0, 0.0));' \
  '(void)deflection;' api
mutation "modern API: probe offsets reported with the constant term's sign" \
  src/api/Calibration.cpp 'state->offsets = {-constant[0] + 0.0,' \
  'state->offsets = {constant[0] + 0.0,' api
mutation "modern API: a rejected scan path reported as a failed read" \
  src/api/Calibration.cpp 'return ErrorCode::kScanPathRejected;' 'return ErrorCode::kReadFailed;' api
mutation "run report calls the iteration limit convergence" \
  src/solvers/RunReport.cpp 'return "iteration limit";' 'return "converged";' cli

# The command-line tool.
mutation "--mu applied as nu" \
  cli/FitOptions.cpp 'sub.add_option("--mu", o.mu,' 'sub.add_option("--mu", o.nu,' cli
mutation "--head-b applied to the head-A angle" \
  cli/FitOptions.cpp 'sub.add_option("--head-b", o.head.b_deg,' \
  'sub.add_option("--head-b", o.head.a_deg,' cli
mutation "--radius ignored" \
  cli/FitOptions.cpp 'if (radius_option_->count() > 0) o.known_radius = radius_;' '(void)radius_;' \
  cli
mutation "--max-across-uncertainty read as the normal threshold" \
  cli/FitOptions.cpp 'o.thresholds.across_uncertainty = max_across_um_ / 1000.0;' \
  'o.thresholds.normal_uncertainty = max_across_um_ / 1000.0;' cli
mutation "calibrate prints FitRMS with 3 decimals" \
  cli/Results.cpp 'PrintField("FitRMS", Format("%.4f"' 'PrintField("FitRMS", Format("%.3f"' cli
mutation "uncertainty line shows the standard, not the expanded, uncertainty" \
  cli/Results.cpp 'const double um = 2.0 * Micrometres(standard_mm);' \
  'const double um = 1.0 * Micrometres(standard_mm);' cli
mutation "--strict ignored" \
  cli/Results.cpp 'return strict && !cal.warnings().empty() ? kExitWarnings : kExitOk;' \
  'return kExitOk;' cli
mutation "check --json keeps the sphere keys after a failed fit" \
  cli/Check.cpp 'const bool fitted = r.result == "OK" && r.sphere_result == "OK";' \
  'const bool fitted = r.result == "OK";' cli
mutation "show --json prints no object when loading fails" \
  cli/LoadCalibration.cpp 'Fail(e.text(), json, command, input, nullptr, settings, e.diagnostic());' \
  '(void)json, Fail(e.text(), false, command, input, nullptr, settings, e.diagnostic());' cli
mutation "calibrate --output-dir ignored" \
  cli/Calibrate.cpp 'if (!o.output_dir.empty()) return (fs::path(o.output_dir) / name).string();' \
  'if (false) return (fs::path(o.output_dir) / name).string();' cli
mutation "verify --reach ignored" \
  cli/Verify.cpp 'const VerificationReport v = verify(*cal, truth, samples, o.reach);' \
  'const VerificationReport v = verify(*cal, truth, samples);' cli
mutation "simulate --no-equator ignored" \
  cli/Simulate.cpp 'o.scenario.plan.include_equator = !o.no_equator;' \
  'o.scenario.plan.include_equator = true;' cli
mutation "negative zero printed as -0" \
  cli/Output.cpp 'if (value == 0.0) value = 0.0;' '(void)0;' cli

# The Windows adapter (Tavric.dll under Wine).
mutation "SAFEARRAY bounds read in declaration order" \
  windows/SafeArrayData.cpp 'array->rgsabound[array->cDims - dimension].cElements' \
  'array->rgsabound[dimension - 1].cElements' windows
mutation "put InitialHX7b sets head angle A" \
  windows/ComProbeCalibration.cpp 'return Call([&] { calibration_.InitialHX7b(value); });' \
  'return Call([&] { calibration_.InitialHX7a(value); });' windows
mutation "run-time errors as FACILITY_ITF HRESULTs" \
  windows/ComErrors.cpp 'MAKE_HRESULT(SEVERITY_ERROR, FACILITY_CONTROL,' \
  'MAKE_HRESULT(SEVERITY_ERROR, FACILITY_ITF,' windows
mutation "texts to BSTR through the ANSI code page" \
  windows/WideText.cpp 'MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), n);' \
  'MultiByteToWideChar(CP_ACP, 0, text.data(), size, wide.data(), n);' windows

# --- Options -------------------------------------------------------------------------
LIST=0
CHECK=0
PATTERN=""
for arg in "$@"; do
  case $arg in
    --list) LIST=1 ;;
    --check) CHECK=1 ;;
    -h | --help)
      sed -n '2,/^set -euo/p' "$0" | sed '$d; s/^# \{0,1\}//'
      exit 0
      ;;
    *) PATTERN=$arg ;;
  esac
done

# How many times TEXT occurs in CONTENT.
occurrences() {
  local rest=${1//"$2"/}
  echo $(((${#1} - ${#rest}) / ${#2}))
}

SELECTED=()
for i in "${!DESCRIPTIONS[@]}"; do
  n=$((i + 1))
  if [ -z "$PATTERN" ] ||
    grep -Eq -- "$PATTERN" <<<"$n"$'\n'"${DESCRIPTIONS[i]}"$'\n'"${FILES[i]}"; then
    SELECTED+=("$i")
  fi
done
if [ "$LIST" = 1 ]; then
  for i in "${SELECTED[@]}"; do
    printf '%3d  %s\n     %s [%s]%s\n     - %s\n     + %s\n' $((i + 1)) "${DESCRIPTIONS[i]}" \
      "${FILES[i]}" "${TESTS[i]}" "${EQUIVALENT[i]:+ equivalent: ${EQUIVALENT[i]}}" \
      "${FROMS[i]}" "${TOS[i]}"
  done
  exit 0
fi
[ ${#SELECTED[@]} -gt 0 ] || { echo "no mutation matches '$PATTERN'" >&2; exit 2; }
if [ "$CHECK" = 1 ]; then
  stale=0
  for i in "${SELECTED[@]}"; do
    count=0
    [ -f "${FILES[i]}" ] && count=$(occurrences "$(cat "${FILES[i]}")" "${FROMS[i]}")
    if [ "$count" != 1 ]; then
      printf '%3d  %s: the text occurs %s times in %s\n' $((i + 1)) "${DESCRIPTIONS[i]}" \
        "$count" "${FILES[i]}"
      stale=$((stale + 1))
    fi
  done
  echo "${#SELECTED[@]} mutations, $stale not applicable"
  [ "$stale" = 0 ]
  exit
fi

START=$(date +%s)
log() { echo "[mutate $(($(date +%s) - START))s] $*" >&2; }

# --- The copy of the tree --------------------------------------------------------------
# Files that differ are copied with a new time stamp, so that the build sees
# them; the others keep theirs, so that the build stays incremental.
sync_copy() {
  mkdir -p "$SRC"
  local listed=$WORK/files
  git -C "$ROOT" ls-files -z --cached --others --exclude-standard |
    while IFS= read -r -d '' f; do [ -f "$ROOT/$f" ] && printf '%s\n' "$f"; done | sort >"$listed"
  while IFS= read -r f; do
    if ! cmp -s "$ROOT/$f" "$SRC/$f"; then
      mkdir -p "$(dirname "$SRC/$f")"
      cp "$ROOT/$f" "$SRC/$f"
    fi
  done <"$listed"
  (cd "$SRC" && find . -type f | sed 's|^\./||' | sort) | comm -23 - "$listed" |
    while IFS= read -r gone; do rm -f "$SRC/$gone"; done
}

# --- Restoring the mutated file, also on Ctrl-C ----------------------------------------
CURRENT=""
BACKUP=$WORK/original
restore() {
  if [ -n "$CURRENT" ]; then
    cp "$BACKUP" "$CURRENT"  # a new time stamp: the next build recompiles it
    CURRENT=""
  fi
}
trap restore EXIT
trap 'restore; echo "interrupted; the copy is restored" >&2; exit 130' INT TERM

# Replaces the one occurrence of FROM in FILE by TO; when FROM occurs zero or
# several times, fails and says why in NOT_APPLICABLE. (Not to be run in a
# subshell: it records the file to restore.)
NOT_APPLICABLE=""
apply_mutation() {
  local file=$1 from=$2 to=$3 content count
  if [ ! -f "$file" ]; then
    NOT_APPLICABLE="not applicable: no such file"
    return 1
  fi
  content=$(cat "$file"; printf x)
  content=${content%x}
  count=$(occurrences "$content" "$from")
  if [ "$count" -ne 1 ]; then
    NOT_APPLICABLE="not applicable: the text occurs $count times"
    return 1
  fi
  cp "$file" "$BACKUP"
  CURRENT=$file
  printf '%s' "${content/"$from"/"$to"}" >"$file"
}

# --- Linux tests ----------------------------------------------------------------------------
configure_linux() {
  cmake -S "$SRC" -B "$BUILD" -DCMAKE_BUILD_TYPE=Debug -DTAVRIC_BUILD_TESTS=ON \
    -DTAVRIC_WARNINGS_AS_ERRORS=OFF -DTAVRIC_INSTALL=OFF >"$WORK/configure.log" 2>&1 ||
    { echo "configuring failed: $WORK/configure.log" >&2; exit 2; }
}

# Runs one test executable; prints the first failing test when it fails.
run_linux_tests() {
  local group=$1 log=$WORK/test.log rc=0
  # The shared reference data beside the checkout, not beside the copy.
  TAVRIC_SHARED_DIR=${TAVRIC_SHARED_DIR:-$ROOT/../shared} timeout "$TEST_TIMEOUT" \
    "$BUILD/tests/tavric_${group}_tests" --gtest_brief=1 --gtest_fail_fast >"$log" 2>&1 || rc=$?
  [ "$rc" = 0 ] && return 0
  if [ "$rc" = 124 ]; then
    echo "$group (timeout after ${TEST_TIMEOUT} s)"
  else
    local first
    first=$(grep -m1 '^\[  FAILED  \] .* ([0-9]* ms)$' "$log" | sed -e 's/^\[  FAILED  \] //' \
      -e 's/ ([0-9]* ms)$//' -e 's/, where GetParam() = \(.*\)/ (\1)/' || true)
    echo "$group: ${first:-exit status $rc}"
  fi
  return 1
}

# --- The Windows adapter ----------------------------------------------------------------------
WINDOWS_READY="not set up"  # "yes", or why the Windows mutations cannot run
windows_tools() {
  command -v x86_64-w64-mingw32-g++ >/dev/null && command -v wine >/dev/null
}

# Once per run, before any mutation: the cross build, the Linux reference
# calibration the DLL's must equal, and a Wine prefix whose registry is kept
# to be put back before every run.
windows_setup() {
  if ! windows_tools; then
    WINDOWS_READY="no mingw-w64 or Wine"
    log "$WINDOWS_READY: the Windows mutations are not run"
    return 1
  fi
  WINDOWS_READY="the Windows setup failed (build/mutate/windows-*.log)"
  log "Windows: cross build (from scratch this takes minutes)"
  cmake -S "$SRC" -B "$WIN" -DCMAKE_TOOLCHAIN_FILE="$SRC/cmake/toolchains/x86_64-w64-mingw32.cmake" \
    -DCMAKE_BUILD_TYPE=Release -DTAVRIC_WARNINGS_AS_ERRORS=OFF -DTAVRIC_BUILD_TESTS=OFF \
    -DTAVRIC_BUILD_CLI=OFF -DTAVRIC_INSTALL=OFF >"$WORK/windows-configure.log" 2>&1 || return 1
  windows_build || return 1
  log "Windows: Linux reference"
  mkdir -p "$REFERENCE"
  cmake --build "$BUILD" -j2 --target tavric >"$WORK/windows-reference.log" 2>&1 || return 1
  g++ -std=c++20 -O2 -ffp-contract=off -I"$SRC/include" -I"$BUILD/src/generated" \
    "$SRC/windows/tests/linux_reference.cpp" "$BUILD/src/libtavric.a" -pthread \
    -o "$REFERENCE/linux_reference" >>"$WORK/windows-reference.log" 2>&1 || return 1
  "$REFERENCE/linux_reference" "$REFERENCE" >>"$WORK/windows-reference.log" 2>&1 || return 1
  export WINEPREFIX=$WINE_DIR/prefix WINEARCH=win64 WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
  unset DISPLAY
  if [ ! -f "$WINE_DIR/pristine/system.reg" ]; then
    log "Windows: new Wine prefix"
    rm -rf "$WINE_DIR"
    mkdir -p "$WINE_DIR/pristine"
    timeout 300 wineboot -u >"$WORK/windows-wineboot.log" 2>&1 || return 1
    timeout 120 wineserver -w || true
    cp "$WINEPREFIX"/*.reg "$WINE_DIR/pristine/"
  fi
  WINDOWS_READY=yes
}

windows_build() {
  cmake --build "$WIN" -j2 --target TavricCom TavricComClient >"$WORK/windows-build.log" 2>&1
}

# Registers the DLL in a fresh registry, runs the test client's checks and
# compares its calibration with the Linux one; prints what failed.
run_windows_tests() {
  local out=$WORK/windows-out log=$WORK/windows-client.log rc=0
  timeout 60 wineserver -k >/dev/null 2>&1 || true
  cp "$WINE_DIR/pristine"/*.reg "$WINEPREFIX/"
  rm -rf "$out"
  mkdir -p "$out"
  if ! timeout 120 wine regsvr32 /s "$(winepath -w "$WIN/windows/Tavric.dll")" >/dev/null 2>&1; then
    echo "windows: regsvr32 failed"
    return 1
  fi
  timeout "$TEST_TIMEOUT" wine "$WIN/windows/TavricComClient.exe" api \
    --scan "$(winepath -w "$REFERENCE/scan.bin")" --big "$(winepath -w "$REFERENCE/big.bin")" \
    --out "$(winepath -w "$out")" >"$log" 2>&1 || rc=$?
  if [ "$rc" != 0 ] || ! tr -d '\r' <"$log" | grep -Eq '^RESULT: [1-9][0-9]* passed, 0 failed$'; then
    local first
    first=$(tr -d '\r' <"$log" | grep -m1 '^FAIL' || true)
    echo "windows: ${first:-client exit status $rc}"
    return 1
  fi
  local name
  for name in scan big; do
    if ! cmp -s "$REFERENCE/linux-$name.cal" "$out/windows-$name.cal"; then
      echo "windows: the calibration file of $name.bin differs from the Linux one"
      return 1
    fi
  done
}

# --- Baseline -------------------------------------------------------------------------------------
log "copying the working tree to $SRC"
sync_copy
configure_linux
declare -A NEEDED=()
for i in "${SELECTED[@]}"; do
  [ -n "${EQUIVALENT[i]}" ] && continue
  for t in ${TESTS[i]}; do NEEDED[$t]=1; done
done
LINUX_TARGETS=()
for t in "${!NEEDED[@]}"; do [ "$t" != windows ] && LINUX_TARGETS+=("tavric_${t}_tests"); done
if [ ${#LINUX_TARGETS[@]} -gt 0 ]; then
  log "building ${LINUX_TARGETS[*]}"
  cmake --build "$BUILD" -j2 --target "${LINUX_TARGETS[@]}" >"$WORK/build.log" 2>&1 ||
    { echo "the unmutated copy does not build: $WORK/build.log" >&2; exit 2; }
fi
for t in "${!NEEDED[@]}"; do
  [ "$t" = windows ] && continue
  log "baseline: $t"
  if failed=$(run_linux_tests "$t"); then :; else
    echo "the tests fail without any mutation ($failed): fix them first" >&2
    exit 2
  fi
done
if [ -n "${NEEDED[windows]:-}" ] && windows_setup; then
  log "baseline: windows"
  if failed=$(run_windows_tests); then :; else
    echo "the Windows checks fail without any mutation ($failed): fix them first" >&2
    exit 2
  fi
fi

# --- The mutations ------------------------------------------------------------------------------------
ROWS=()
KILLED=0 SURVIVED=0 INAPPLICABLE=0 EQUIVALENTS=0 BROKEN=0 NOT_RUN=0
for i in "${SELECTED[@]}"; do
  n=$((i + 1))
  t0=$(date +%s)
  verdict=""
  if [ -n "${EQUIVALENT[i]}" ]; then
    verdict="equivalent: ${EQUIVALENT[i]}"
    EQUIVALENTS=$((EQUIVALENTS + 1))
  elif ! apply_mutation "$SRC/${FILES[i]}" "${FROMS[i]}" "${TOS[i]}"; then
    verdict=$NOT_APPLICABLE
    INAPPLICABLE=$((INAPPLICABLE + 1))
  else
    log "$n: ${DESCRIPTIONS[i]}"
    verdict="SURVIVED"
    targets=()
    for t in ${TESTS[i]}; do [ "$t" != windows ] && targets+=("tavric_${t}_tests"); done
    if [ ${#targets[@]} -gt 0 ] &&
      ! cmake --build "$BUILD" -j2 --target "${targets[@]}" >"$WORK/build.log" 2>&1; then
      verdict="did not build"
    fi
    for t in ${TESTS[i]}; do
      [ "$verdict" = SURVIVED ] || break
      if [ "$t" = windows ]; then
        if [ "$WINDOWS_READY" != yes ]; then
          verdict="not run: $WINDOWS_READY"
        elif ! windows_build; then
          verdict="did not build"
        elif ! verdict=$(run_windows_tests); then :; else verdict=SURVIVED; fi
      elif ! verdict=$(run_linux_tests "$t"); then :; else verdict=SURVIVED; fi
    done
    restore
    case $verdict in
      SURVIVED) SURVIVED=$((SURVIVED + 1)) ;;
      "did not build") BROKEN=$((BROKEN + 1)) ;;
      "not run"*) NOT_RUN=$((NOT_RUN + 1)) ;;
      *) KILLED=$((KILLED + 1)) ;;
    esac
  fi
  seconds=$(($(date +%s) - t0))
  cell=${verdict//|/\\|}
  [ ${#cell} -le 100 ] || cell="${cell:0:97}..."
  ROWS+=("| $n | ${DESCRIPTIONS[i]} | \`${FILES[i]}\` | $cell | $seconds s |")
  log "$n: $verdict ($seconds s)"
done
# The Windows adapter's objects are rebuilt from the restored copy next time.

# --- The table -------------------------------------------------------------------------------------
RUN=$((KILLED + SURVIVED))
{
  echo "| # | mutation | file | killed by | time |"
  echo "|---|---|---|---|---|"
  printf '%s\n' "${ROWS[@]}"
  echo
  printf 'Killed %d of %d run (%s %%); survived %d; not applicable %d; did not build %d; ' \
    "$KILLED" "$RUN" "$([ "$RUN" -gt 0 ] && echo $((100 * KILLED / RUN)) || echo -)" \
    "$SURVIVED" "$INAPPLICABLE" "$BROKEN"
  printf 'equivalent %d; not run %d. %d min in all.\n' "$EQUIVALENTS" "$NOT_RUN" \
    $((($(date +%s) - START + 59) / 60))
} | tee "$WORK/table.md"
[ "$SURVIVED" = 0 ] && [ "$INAPPLICABLE" = 0 ] && [ "$BROKEN" = 0 ]
exit
}
