// Verification of a calibration against the truth it should have found.
//
// A scan made by the simulator (ScanSimulator.h) comes with its ground truth:
// the sphere and the true calibration polynomial. Comparing a calibration of
// that scan with the truth tells how well a scan design pins the calibration
// down, before the design is used on a machine. The deflection error is
// measured at the scan's own readings (when the samples are given), split
// into its component along the sphere's normal at the sample and the part
// across it; without samples, at readings spread over the probe's range: the
// readings whose true deflection has a given size in every direction, the
// true deflection's own direction standing in for the normal.
//
//   tavric::sim::GroundTruth truth = tavric::sim::ReadTruthJson("truth.json");
//   tavric::Calibration cal = tavric::load("scan.cal");
//   tavric::VerificationReport v = tavric::verify(cal, truth, samples);
//   // v.normal.max, v.across.rms, v.radius_error ... (mm)
#pragma once

#include <optional>
#include <span>

#include "tavric/Calibration.h"
#include "tavric/ScanSimulator.h"

namespace tavric {

// Largest, root-mean-square and 95th-percentile size of an error (mm).
struct ErrorSpread {
  double max = 0.0;
  double rms = 0.0;
  double p95 = 0.0;
};

struct VerificationReport {
  // The readings compared: the samples given, or readings spread through the
  // range (`at_samples` false).
  int points = 0;
  bool at_samples = false;
  // The deflection error, calibration minus truth: per axis, along the
  // normal, across it, and its length.
  ErrorSpread x, y, z, normal, across, total;
  // The sphere: fitted minus true centre (mm) and radius (mm).
  Vec3 centre_error{0.0, 0.0, 0.0};
  double radius_error = 0.0;
  // When the calibration carries its uncertainty: the share of the points
  // whose error lies within the calibration's own expanded uncertainty
  // (k = 2) along the normal, across it (the error's component along the
  // direction across the normal in which the deflection is least certain),
  // and along each axis; and whether the radius error does.
  std::optional<double> normal_coverage;
  std::optional<double> across_coverage;
  std::optional<Vec3> axis_coverage;
  std::optional<bool> radius_covered;
  // Whether those coverages use the calibration's bootstrap uncertainty
  // (when it has one for these samples) rather than the linear one.
  bool bootstrap = false;
};

// The largest deflection (mm) of the readings spread through the range when
// no samples are given: five sizes, reach / 5, 2 reach / 5, ... up to
// `reach` (0.1 to 0.5 mm by default), in 400 directions each.
inline constexpr double kDefaultVerificationReach = 0.5;

// Compares `calibration` with `truth`, at the samples when any are given.
// Throws Error (kInvalidData) when the truth's order is not 1 to 3.
VerificationReport verify(const Calibration& calibration, const sim::GroundTruth& truth,
                          std::span<const Sample> samples = {},
                          double reach = kDefaultVerificationReach);

}  // namespace tavric
