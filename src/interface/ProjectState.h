// The project-wide state: one set of settings and objects per thread.
//
// Every ClsProbeCalibration on a thread reads and writes the same set, and
// creating one resets it (ResetForNewInstance). The calibration model, the
// optimiser and the progress display read and write these variables directly
// rather than being handed them as arguments. Being thread_local, two
// calibrations on different threads never see each other.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "runtime/Narrow.h"
#include "runtime/ObjectRef.h"
#include "tavric/BoundedArray.h"
#include "tavric/RunReport.h"

namespace tavric {

class Polynome3Variables;
class ClsSphere;
class ClsVector;
class FormDisplay;
class IterativeCal;

// Defaults of the settings.
namespace defaults {
inline constexpr double kMu = 0.0001;
inline constexpr double kNu = 10.0;
inline constexpr Byte kConvergenceDetectionMethod = 3;
inline constexpr double kConvergenceGradientNormValue = 0.001;
inline constexpr double kConvergenceSphereValue = 0.00001;
inline constexpr double kConvergencePolyParamValue = 0.000000001;
inline constexpr Byte kIterationMaxNumber = 10;
inline constexpr double kInitialProbeGain = 0.0000625;
}  // namespace defaults

struct ProjectState {
  // The calibration polynomial (replaced by a new, empty one for every new
  // instance; replaced by the fitted one at the end of a successful run).
  Ref<Polynome3Variables> polynomial;
  // The reference sphere; absent until first used.
  Ref<ClsSphere> sphere;
  std::string version_text;

  bool progress_display = false;
  double FitRMS = 0.0;
  double FitMin = 0.0;
  double FitMax = 0.0;

  double Mu = defaults::kMu;
  double nu = defaults::kNu;
  Byte ConvergenceDetectionMethod = defaults::kConvergenceDetectionMethod;
  double ConvergenceGradientNormValue = defaults::kConvergenceGradientNormValue;
  double ConvergenceSphereValue = defaults::kConvergenceSphereValue;
  double ConvergencePolyParamValue = defaults::kConvergencePolyParamValue;
  Byte IterationMaxNumber = defaults::kIterationMaxNumber;
  double InitialProbeGain = defaults::kInitialProbeGain;

  // Head orientation: angles in radians, directions as unit vectors.
  double head_angle_a = 0.0;
  Ref<ClsVector> head_direction_a;
  double head_angle_b = 0.0;
  Ref<ClsVector> head_direction_b;

  // The progress window (created on first use).
  Ref<FormDisplay> form;

  // Copies kept for the progress path of Optimise, the model of the current
  // run, and the last result text of the calibration procedure.
  Array2<double> data_copy;
  Byte order_copy = 0;
  Ref<IterativeCal> current_model;
  std::string last_result;

  // How the last run went (rewritten by every Optimise).
  RunReport run_report;
};

// This thread's project-wide state.
ProjectState& State();

// The reference sphere, created empty if there is none yet (defined with
// ClsSphere).
ClsSphere& StateSphere();

// The progress form, created (not shown) if there is none yet (defined with
// FormDisplay).
FormDisplay& StateForm();

}  // namespace tavric
