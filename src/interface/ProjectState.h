// The engine's state: one calibration context, the set of settings and
// objects that a calibration run reads and writes.
//
// The calibration model, the optimiser and the progress display read and
// write these variables directly (through State()) rather than being handed
// them as arguments. State() is the context installed on the calling thread
// for the current call (ContextScope), or else the thread's own context.
//
// ClsProbeCalibration uses its thread's own context: every instance on a
// thread reads and writes the same set, and creating one resets it
// (ResetForNewInstance). The modern API gives every calibration a context of
// its own and installs it for the duration of each call, so any number of
// independent calibrations can live on one thread, and calibrations on
// different threads never see each other. No mutable state of the engine
// lives outside a context.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
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
class ProgressView;

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

  // A sphere radius to hold fixed in the fit (mm), or none. Only the modern
  // API sets it; ClsProbeCalibration always fits the radius.
  std::optional<double> held_radius;
  // Whether a successful fit is followed by its uncertainty analysis. The
  // refits of a bootstrap, which only need the fitted calibration, skip it.
  bool analyse_fit = true;

  // How long computations yield to the host's message loop (DoEvents), the
  // progress view the host installed (SetProgressView) and the default one,
  // and the stop request of the Gram-Schmidt kit.
  std::function<void()> do_events_hook;
  std::shared_ptr<ProgressView> progress_view;
  std::shared_ptr<ProgressView> default_progress_view;
  bool gram_schmidt_stop_requested = false;
};

// The context of the current call: the one installed on this thread by the
// innermost live ContextScope, else this thread's own.
ProjectState& State();

// This thread's own context (the one ClsProbeCalibration uses).
ProjectState& ThreadState();

// Installs `context` as State() on the calling thread until destroyed, then
// puts back the previous one. Scopes nest; each belongs to the thread that
// created it.
class ContextScope {
 public:
  explicit ContextScope(ProjectState& context) noexcept;
  ~ContextScope();
  ContextScope(const ContextScope&) = delete;
  ContextScope& operator=(const ContextScope&) = delete;

 private:
  ProjectState* previous_;
};

// What creating a ClsProbeCalibration does to the context: a new, empty
// calibration polynomial, every setting at its default, zero fit statistics,
// the default head orientation and the version text. The sphere and the
// progress form are left as they are.
void ResetForNewInstance(ProjectState& s);

// The reference sphere, created empty if there is none yet (defined with
// ClsSphere).
ClsSphere& StateSphere();

// The progress form, created (not shown) if there is none yet (defined with
// FormDisplay).
FormDisplay& StateForm();

}  // namespace tavric
