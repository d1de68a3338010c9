// Uncertainty: how far a calibration can be trusted.
//
// A sphere scan observes each sample only through its radial residual, the
// distance of the tip centre from the sphere minus the radius. The fit
// therefore pins down the deflection along the sphere's normal well, but the
// deflection across the normal (tangential gains, rotations of the probe's
// axes) only through what little of it shows radially elsewhere on the
// sphere, and the radius against a deflection whose size never varies not at
// all. A small FitRMS says nothing about either. After every successful fit,
// the run report (RunReport::uncertainty) carries the figures below, computed
// at the solution from the undamped normal matrix:
//
//   sigma          sqrt(S / (m - n)), the residual's standard deviation;
//   covariance     sigma^2 (J^T J)^-1, from a symmetric eigen-decomposition of
//                  the column-scaled J^T J (directions whose eigenvalue is
//                  below the numerical rank threshold are left out, and
//                  reported through `rank`);
//   deflection     standard uncertainty of the deflection the calibration
//                  gives, from g^T C g (g the derivative of the deflection
//                  with respect to the parameters), along the sphere's normal
//                  at each sample, the largest component across it, and along
//                  the machine axes; summarised over the scan's own readings
//                  and over readings spread through a ball that reaches the
//                  scan's largest reading;
//   weakest        the parameter combinations the scan pins down least, in
//                  words (which coefficients they mix, and what the
//                  deflection error along them looks like).
//
// All lengths are in millimetres and all uncertainties are standard
// uncertainties (k = 1); multiply by 2 for a 95 % expanded uncertainty.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace tavric {

// Largest value, 95th percentile and median of a quantity over a set of
// points.
struct Spread {
  double max = 0.0;
  double p95 = 0.0;
  double median = 0.0;
};

// Standard uncertainties of the deflection over a set of readings (mm).
struct DeflectionUncertainty {
  int points = 0;
  Spread normal;  // along the sphere's normal (at readings off the scan: along the deflection)
  Spread across;  // the largest component across that direction
  Spread x, y, z;
};

// One combination of parameters that the scan determines weakly: a unit
// eigenvector of the column-scaled normal matrix with a small eigenvalue.
struct WeakDirection {
  // Its eigenvalue relative to the largest one.
  double relative_eigenvalue = 0.0;
  // What it is: "gain-radius", "rotation", "gain-anisotropy", "centre",
  // "higher-order" or "mixed".
  std::string kind;
  // What it is for a reader, e.g. "rotation of the probe's axes about Z",
  // and the same followed by what it mixes and how much it moves the
  // deflection.
  std::string summary;
  std::string description;
  // The parameters it mixes most, largest share first, with their shares
  // (squared components of the scaled unit vector; all shares sum to 1).
  std::vector<std::string> parameters;
  std::vector<double> shares;
  // The change of the deflection over the scan's readings, and of the
  // radius, for one standard uncertainty along this direction (mm).
  double normal_rms = 0.0;
  double across_rms = 0.0;
  double max = 0.0;
  double radius_change = 0.0;
};

struct FitUncertainty {
  // False when the figures could not be formed (no successful fit, no more
  // residuals than parameters); `note` then says why.
  bool available = false;
  std::string note;

  int residuals = 0;   // m, the samples
  int parameters = 0;  // n, the fitted parameters
  double sigma = 0.0;  // sqrt(S / (m - n)), mm
  int rank = 0;        // numerical rank of the scaled normal matrix
  // Ratio of the largest to the smallest eigenvalue of the column-scaled
  // normal matrix (infinite rank loss is reported through `rank`).
  double condition_number = 0.0;

  // The fitted parameters, in order: centre x, y, z, the radius (absent when
  // it was held), then the X, Y and Z coefficients of every term but the
  // constant one, and their covariance (n x n, row-major) in the units of the
  // calibration file: mm for the sphere, mm per count^degree for a
  // coefficient.
  std::vector<std::string> parameter_names;
  std::vector<double> covariance;

  std::array<double, 3> centre_u{0.0, 0.0, 0.0};
  double radius_u = 0.0;  // 0 when the radius was held

  DeflectionUncertainty at_samples;  // at the scan's own readings
  DeflectionUncertainty over_range;  // through the probe's range

  // Per sample, for plots: the standard uncertainty along and across the
  // normal, and the outward unit normal at the tip centre.
  std::vector<double> sample_normal_u;
  std::vector<double> sample_across_u;
  std::vector<std::array<double, 3>> sample_normals;

  // The weakest directions, weakest first.
  std::vector<WeakDirection> weakest;

  // Figures behind the warnings.
  double deflection_mean = 0.0;  // mean size of the fitted deflection, mm
  // How the scan planes are spread: the smallest eigenvalue of the mean of
  // p p^T over the samples, p the unit normal of the plane the scan travels
  // in at the sample (travel direction x sphere normal), and its direction.
  // A rotation of the probe's axes about a direction shows in the residuals
  // only through scans whose plane is tilted towards it (by the friction
  // drag), so a small value (every plane containing one axis, e.g. vertical
  // planes only) leaves that rotation undetermined.
  double plane_spread = 0.0;
  std::array<double, 3> plane_axis{0.0, 0.0, 0.0};
  // How much the deflection's size varies along the scans, relative to its
  // mean: the spread of the machine positions about their own sphere
  // (RunReport::position_deviation_sd) over deflection_mean.
  double deflection_variation = 0.0;
  double residual_autocorrelation = 0.0;  // lag-1, in data order
  double robust_sigma = 0.0;              // 1.4826 x median absolute deviation, mm
  double outlier_fraction = 0.0;          // share of residuals beyond 5 robust sigmas
  // The largest change of the deflection over the scan in the optimiser's
  // last step, along the normal and across it (mm).
  double last_step_normal_change = 0.0;
  double last_step_across_change = 0.0;

  // The bootstrap (when asked for, see Options::bootstrap_fits): the same
  // figures from refits of replicas of the scan, which also take in what the
  // linear figures above leave out (the fit is not linear in the parameters
  // the scan pins down weakly; for third-order fits the linear figure across
  // the normal is optimistic, see docs/calibration.md).
  struct Bootstrap {
    int fits = 0;  // 0: not run
    std::uint64_t seed = 0;
    DeflectionUncertainty at_samples;
    std::array<double, 3> centre_u{0.0, 0.0, 0.0};
    double radius_u = 0.0;
    // Per sample, the second moments of the replicas' deflection about the
    // calibration's (mm^2): xx, xy, xz, yy, yz, zz.
    std::vector<std::array<double, 6>> sample_covariance;
  } bootstrap;

  // With the radius held: the same figures had the radius been fitted, to
  // show what knowing it gains.
  bool radius_held = false;
  DeflectionUncertainty at_samples_radius_fitted;
  double radius_u_fitted = 0.0;
};

}  // namespace tavric
