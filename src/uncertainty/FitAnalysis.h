// FitAnalysis: how far a fitted calibration can be trusted (see
// include/tavric/Uncertainty.h for what is computed and why).
//
// The calibration procedure calls it once the optimiser has returned "OK",
// while the calibration model still holds the fit: the Jacobian is formed
// again at the solution (the model's own analytic Jacobian), its normal
// matrix decomposed, and the deflection's uncertainty evaluated at every
// sample and through the probe's range. It only writes
// RunReport::uncertainty: the calibration, its result text and the
// floating-point state of the run are left exactly as they were, and a
// failure of the analysis only leaves the block unavailable with a note.
#pragma once

namespace tavric {

class IterativeCal;
struct RunReport;

void AnalyseFit(IterativeCal& model, RunReport& report) noexcept;

}  // namespace tavric
