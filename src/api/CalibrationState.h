// What a tavric::Calibration holds, and how the modern API runs the engine.
//
// Every call that runs the engine creates an engine context of its own
// (ProjectState), installs it on the calling thread for the duration of the
// call (ContextScope) and drives it through ClsProbeCalibration, exactly as a
// host of the specified class would: the same setters, the same Optimise, the
// same file functions. That is what makes the numbers and the files
// bit-identical between the two APIs. The results are then copied out into
// an immutable State shared by the copies of a Calibration.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "tavric/Calibration.h"
#include "uncertainty/DeflectionCovariance.h"

namespace tavric {

class Polynome3Variables;
class ClsProbeCalibration;
struct ProjectState;

struct Calibration::State {
  int order = 1;
  Sphere sphere;
  FitStatistics statistics;
  Vec3 offsets{0.0, 0.0, 0.0};
  // The calibration polynomial as the file holds it (constant term = the
  // negated offsets), and the same without its constant term.
  std::shared_ptr<const Polynome3Variables> polynomial;
  std::shared_ptr<const Polynome3Variables> deflection_polynomial;
  RunReport report;
  std::vector<Warning> warnings;
  // The covariance of the deflection over the offset-corrected readings
  // (counts), when the fit's uncertainty is available.
  std::optional<uncertainty::DeflectionCovarianceField> covariance;
};

// Runs `body` with a fresh engine context installed and a
// ClsProbeCalibration constructed in it (every setting at its default).
void WithEngine(const std::function<void(ProjectState&, ClsProbeCalibration&)>& body);

// Copies the calibration held by `context` out into a State.
std::shared_ptr<Calibration::State> StateFrom(ProjectState& context,
                                              const WarningThresholds& thresholds);

// Installs a State's calibration (polynomial, sphere, statistics) in
// `context`.
void InstallState(const Calibration::State& state, ProjectState& context);

// Turns a failure of a library call that returned a RuntimeError into an
// Error with `code` ("Error <number> : <description>").
[[noreturn]] void RethrowAsError(ErrorCode code);

}  // namespace tavric
