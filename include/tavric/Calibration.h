// The modern C++ API of Tavric: independent calibration objects.
//
//   #include "tavric/Calibration.h"
//
//   tavric::Options options;                    // every setting at its default
//   options.order = 3;
//   tavric::Calibration cal = tavric::calibrate_file("scan.txt", options);
//   std::cout << cal.statistics().rms * 1000.0 << " um\n";
//   for (const tavric::Warning& w : cal.warnings()) std::cout << w.text << '\n';
//   tavric::Vec3 d = cal.deflection({1200.0, -350.0, 80.0});   // mm
//   cal.save("scan.cal");
//
// Every Calibration is a value of its own: any number of them can live on one
// thread, and calibrations run on any number of threads at once (each call
// runs the engine in a context of its own). A Calibration is immutable after
// it is made, so one object may be read from several threads.
//
// The numbers are bit for bit those of ClsProbeCalibration on the same data
// and settings, and save() writes the same calibration file byte for byte.
// Two things differ on purpose from that class:
//   - settings out of their documented range are refused (Error with
//     ErrorCode::kInvalidOption) rather than clamped or wrapped;
//   - deflection() gives the physical deflection: the polynomial without its
//     constant term at the offset-corrected readings, which is what the fit
//     modelled. ClsProbeCalibration::Transform evaluates the polynomial with
//     its constant term (the negated offsets) at the raw readings; the two
//     agree when the offsets are zero.
//
// Errors: every failure throws tavric::Error (see Error.h), which carries the
// library's failure text unchanged (e.g. "Bi-directionnal scans detection
// error.") and a stable ErrorCode. No function of this header returns a
// result text.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tavric/BoundedArray.h"
#include "tavric/Error.h"
#include "tavric/RunReport.h"
#include "tavric/Uncertainty.h"

namespace tavric {

using Vec3 = std::array<double, 3>;

// One sample of a calibration scan: the probe's raw readings (counts) and the
// machine position (mm).
struct Sample {
  double P = 0.0, Q = 0.0, R = 0.0;
  double X = 0.0, Y = 0.0, Z = 0.0;
};

// Which tests stop the optimiser.
enum class ConvergenceTest : std::uint8_t {
  kGradient = 1,    // the gradient norm is below gradient_tolerance
  kParameters = 2,  // every parameter step is below its tolerance
  kBoth = 3,        // both (the default)
};

// The orientation of the two-axis probe head during the scan: the angles
// (degrees) and axes of rotation (machine coordinates; normalised). They turn
// the starting gain into the starting first-order matrix.
struct HeadOrientation {
  double a_deg = 0.0;
  double b_deg = 0.0;
  Vec3 a_axis{-1.0, 0.0, 0.0};  // the A axis when B is 0
  Vec3 b_axis{0.0, 0.0, 1.0};
};

// When a calibration is flagged as not to be trusted (see warnings()).
struct WarningThresholds {
  // Largest expanded uncertainty (k = 2, 95th percentile over the scan) of the
  // deflection along the sphere's normal, mm.
  double normal_uncertainty = 0.001;
  // The same across the normal, mm. The across-normal uncertainty of a sphere
  // scan is large even for good designs; this flags designs worse than a
  // good one.
  double across_uncertainty = 0.1;
  // Smallest relative variation of the deflection's size along the scans.
  double deflection_variation = 0.1;
  // Smallest spread of the scan planes (FitUncertainty::plane_spread): below
  // it every plane contains nearly one axis.
  double plane_spread = 0.05;
  // At the iteration limit, the largest change of the deflection in the last
  // step, as a share of its standard uncertainty (along and across).
  double last_step_share = 0.25;
  // Largest lag-1 autocorrelation of the residuals in data order.
  double residual_autocorrelation = 0.25;
  // Largest share of residuals beyond 5 robust standard deviations.
  double outlier_fraction = 0.001;
};

struct Options {
  // Order of the calibration polynomial, 1..3.
  int order = 3;
  // Starting probe gain, mm per count; finite and not 0.
  double initial_probe_gain = 0.0000625;
  // At most max_iterations + 1 outer iterations run; 0..254.
  int max_iterations = 10;
  ConvergenceTest convergence = ConvergenceTest::kBoth;
  // Stop tests; each finite and >= 0. The polynomial tolerance applies to
  // coefficient steps in thousands of counts times 1000.
  double gradient_tolerance = 0.001;
  double sphere_tolerance = 0.00001;
  double polynomial_tolerance = 0.000000001;
  // Levenberg-Marquardt damping (> 0) and its factor (> 1).
  double mu = 0.0001;
  double nu = 10.0;
  HeadOrientation head;
  // Probe offsets, counts: the readings at zero deflection.
  Vec3 probe_offsets{0.0, 0.0, 0.0};
  // The effective radius of the reference sphere (certified ball radius plus
  // nominal tip radius), mm, when it is known: the fit then holds it and has
  // one parameter fewer.
  std::optional<double> known_radius;
  WarningThresholds thresholds;
  // Refits of replicas of the scan for a bootstrap uncertainty (0: none;
  // 20 to 50 make a useful one). Each replica keeps the readings and moves
  // every machine position to the fitted sphere plus Gaussian noise of the
  // fit's sigma along the normal; its own fit then shows how the calibration
  // scatters, including what the linear figures leave out. The replicas come
  // from std::mt19937_64 seeded with bootstrap_seed, and run on
  // bootstrap_threads threads (0: one per processor core) with the same
  // result whatever their number. At most 1000.
  int bootstrap_fits = 0;
  std::uint64_t bootstrap_seed = 1;
  int bootstrap_threads = 0;
  // Show the optimisation's progress while it runs (the progress display: a
  // panel on standard error).
  bool show_progress = false;

  // Throws Error (kInvalidOption) naming the first setting out of range.
  void validate() const;
};

// A finding that makes a calibration less trustworthy than its "OK" says.
struct Warning {
  std::string code;    // stable: "few-planes", "normal-uncertainty", ...
  std::string text;    // one sentence with the measured figure
  double value = 0.0;  // the measured figure
  double limit = 0.0;  // the threshold it crossed
};

struct Sphere {
  Vec3 centre{0.0, 0.0, 0.0};  // mm
  double radius = 0.0;         // mm
};

struct FitStatistics {
  double rms = 0.0;  // mm
  double min = 0.0;  // smallest signed residual, mm
  double max = 0.0;  // largest signed residual, mm
};

// One term of the calibration polynomial: P^p Q^q R^r with its X, Y and Z
// coefficients (deflection in mm, readings in counts).
struct Term {
  int p = 0, q = 0, r = 0;
  Vec3 coefficients{0.0, 0.0, 0.0};
};

class Calibration {
 public:
  // An empty first-order calibration (every coefficient 0).
  Calibration();

  int order() const noexcept;
  const Sphere& sphere() const noexcept;
  const FitStatistics& statistics() const noexcept;
  const Vec3& probe_offsets() const noexcept;
  // Every term but the constant one (which holds the negated offsets), in
  // the calibration file's order.
  std::vector<Term> terms() const;

  // How the fit went and how far it can be trusted; empty (run_report().result
  // empty, uncertainty unavailable) for a calibration that was loaded.
  const RunReport& run_report() const noexcept;
  const FitUncertainty& uncertainty() const noexcept;
  const std::vector<Warning>& warnings() const noexcept;
  // The residual of every sample (mm), in data order; empty when loaded.
  std::span<const double> residuals() const noexcept;

  // The physical deflection (mm) at raw readings (counts).
  Vec3 deflection(const Vec3& readings) const;
  // The same for many readings; `out` must be as long as `readings`.
  void deflections(std::span<const Vec3> readings, std::span<Vec3> out) const;
  // The covariance (3 x 3, mm^2) of the deflection at raw readings; throws
  // Error (kNoUncertainty) when the calibration carries no uncertainty.
  std::array<Vec3, 3> deflection_covariance(const Vec3& readings) const;

  // Writes the calibration file (the same bytes as
  // ClsProbeCalibration::SaveCalibrationFunctions).
  void save(const std::filesystem::path& path) const;

  // What the library fills in (its definition is internal).
  struct State;
  explicit Calibration(std::shared_ptr<const State> state);

 private:
  std::shared_ptr<const State> state_;
};

// The samples of a data array (fields P, Q, R, X, Y, Z x samples, as
// ReadCalibrationDataFile and the scan simulator give it), in order.
std::vector<Sample> samples_of(const DataArray& data);

// Calibrates from samples (at most 32,767). Throws Error on failure.
Calibration calibrate(std::span<const Sample> samples, const Options& options = {});
// The same from rows of six values P, Q, R, X, Y, Z (length a multiple of 6).
Calibration calibrate(std::span<const double> rows, const Options& options = {});
// The same from a data file in the marked or the generic layout.
Calibration calibrate_file(const std::filesystem::path& path, const Options& options = {});
// Reads a calibration file.
Calibration load(const std::filesystem::path& path);

// The warnings of a run with the given thresholds (what calibrate() puts in
// Calibration::warnings()).
std::vector<Warning> diagnose(const RunReport& report, const WarningThresholds& thresholds);

}  // namespace tavric
