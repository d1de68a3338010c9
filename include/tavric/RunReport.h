// RunReport: how the last calibration run on this thread went.
//
// The result text of Optimise says "OK" both when the optimiser's stop test
// held and when it ran into IterationMaxNumber; the run report tells them
// apart, records the course of the fit and, after a successful fit, how far
// the calibration can be trusted (its uncertainty, see Uncertainty.h). It is
// per thread, like the rest of the calibration state, and is rewritten by
// every Optimise call.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tavric/Uncertainty.h"

namespace tavric {

// One accepted iteration of the Levenberg-Marquardt optimiser.
struct IterationRecord {
  int iteration = 0;        // outer iteration number, 1-based
  double S = 0.0;           // sum of squared residuals after the step (mm^2)
  double FitRMS = 0.0;      // RMS residual (mm)
  double FitMin = 0.0;      // smallest (signed) residual (mm)
  double FitMax = 0.0;      // largest (signed) residual (mm)
  double Mu = 0.0;          // damping used for the accepted step
  int rejected_trials = 0;  // trial steps rejected before this one was accepted
};

enum class StopReason {
  kNotRun,          // the optimiser did not start (a failure before it)
  kConverged,       // the stop test of ConvergenceDetectionMethod held
  kIterationLimit,  // IterationMaxNumber + 1 outer iterations ran
  kFailed,          // the optimiser returned a failure text
};

// The step of a calibration run that ended it, when it failed.
enum class RunStage {
  kNone,       // no failure (or no run)
  kReading,    // the data file could not be read (OptimiseFromFile)
  kData,       // the data array itself (shape, sample count, values)
  kSphereFit,  // the sphere fit to the machine positions
  kScanPath,   // too few planes scanned in both senses
  kModelInit,  // the calibration model's initialisation
  kOptimiser,  // the Levenberg-Marquardt optimisation
};

struct RunReport {
  int samples = 0;  // samples in the data
  int order = 0;    // polynomial order fitted (after clamping)
  RunStage failed_stage = RunStage::kNone;
  // What the scan-path check found (scans, plane groups, planes scanned in
  // both senses); zero when it did not run.
  int scans = 0;
  int planes = 0;
  int bidirectional_planes = 0;
  // The sphere fitted to the machine positions: the standard deviation of
  // their radial deviations from it (mm). The positions lie inside the
  // reference sphere by the deflection, so this is how much the deflection's
  // size varies along the scans (plus the noise).
  double position_deviation_sd = 0.0;
  // The sphere radius was held at a known value (the modern API's option);
  // the fit then has one parameter fewer.
  bool radius_held = false;
  int outer_iterations = 0;  // outer iterations performed
  int rejected_trials = 0;   // trial steps rejected over the whole run
  StopReason stop_reason = StopReason::kNotRun;
  double final_mu = 0.0;   // the damping when the optimiser ended
  double initial_S = 0.0;  // sum of squared residuals at the start point
  std::string result;      // the result text returned to the host
  std::vector<IterationRecord> iterations;
  // The residual of every sample at the fitted parameters (mm), in data
  // order; empty unless the fit succeeded.
  std::vector<double> residuals;
  // The last accepted step of the optimiser, in the model's parameters
  // (sphere first, then the coefficients in thousands of counts).
  std::vector<double> last_step;
  // How far the calibration can be trusted; filled after a successful fit.
  FitUncertainty uncertainty;

  // A readable multi-line summary.
  std::string ToString() const;
};

// The report of the last run on this thread.
const RunReport& LastRunReport();

// Text of a stop reason ("converged", "iteration limit", ...).
const char* ToString(StopReason reason);

}  // namespace tavric
