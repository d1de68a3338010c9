// RunReport: how the last calibration run on this thread went.
//
// The result text of Optimise says "OK" both when the optimiser's stop test
// held and when it ran into IterationMaxNumber; the run report tells them
// apart and records the course of the fit. It is per thread, like the rest of
// the calibration state, and is rewritten by every Optimise call.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

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

struct RunReport {
  int samples = 0;           // samples in the data
  int order = 0;             // polynomial order fitted (after clamping)
  int outer_iterations = 0;  // outer iterations performed
  int rejected_trials = 0;   // trial steps rejected over the whole run
  StopReason stop_reason = StopReason::kNotRun;
  double final_mu = 0.0;   // the damping when the optimiser ended
  double initial_S = 0.0;  // sum of squared residuals at the start point
  std::string result;      // the result text returned to the host
  std::vector<IterationRecord> iterations;

  // A readable multi-line summary.
  std::string ToString() const;
};

// The report of the last run on this thread.
const RunReport& LastRunReport();

// Text of a stop reason ("converged", "iteration limit", ...).
const char* ToString(StopReason reason);

}  // namespace tavric
