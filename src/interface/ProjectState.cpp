#include "interface/ProjectState.h"

#include "geometry/ClsVector.h"
#include "polynomial/Polynome3Variables.h"
#include "tavric/Version.h"

namespace tavric {
namespace {

constexpr const char* kBanner = "Tavric Scanning Probe Calibration ";

thread_local ProjectState* tl_installed = nullptr;

ClsVector& Direction(Ref<ClsVector>& slot) {
  if (!slot) slot = NewVector();
  return *slot;
}

}  // namespace

ProjectState& ThreadState() {
  thread_local ProjectState state;
  return state;
}

ProjectState& State() { return tl_installed != nullptr ? *tl_installed : ThreadState(); }

ContextScope::ContextScope(ProjectState& context) noexcept
    : previous_(std::exchange(tl_installed, &context)) {}

ContextScope::~ContextScope() { tl_installed = previous_; }

void ResetForNewInstance(ProjectState& s) {
  // 1. A new, empty calibration polynomial.
  s.polynomial = std::make_shared<Polynome3Variables>();
  // 2. Optimiser settings.
  s.Mu = defaults::kMu;
  s.nu = defaults::kNu;
  s.ConvergenceDetectionMethod = defaults::kConvergenceDetectionMethod;
  s.ConvergenceGradientNormValue = defaults::kConvergenceGradientNormValue;
  s.ConvergenceSphereValue = defaults::kConvergenceSphereValue;
  s.ConvergencePolyParamValue = defaults::kConvergencePolyParamValue;
  s.IterationMaxNumber = defaults::kIterationMaxNumber;
  // 3. Statistics and display.
  s.FitRMS = s.FitMin = s.FitMax = 0.0;
  s.progress_display = false;
  // 4-6. Gain and head orientation: a = (-1, 0, 0), b = (0, 0, 1) by setting
  // one component of the existing (or new) direction vectors.
  s.InitialProbeGain = defaults::kInitialProbeGain;
  s.head_angle_a = 0.0;
  Direction(s.head_direction_a).C1(-1.0);
  s.head_angle_b = 0.0;
  Direction(s.head_direction_b).C3(1.0);
  // 7. The version text.
  s.version_text = std::string(kBanner) + std::to_string(version::kMajor) + "." +
                   std::to_string(version::kMinor) + "." + std::to_string(version::kRevision);
}

const RunReport& LastRunReport() { return State().run_report; }

}  // namespace tavric
