// Scan simulator: synthetic calibration scans of a reference sphere taken
// with a probe whose calibration is known, for tests, examples and
// benchmarks of the calibration.
//
// The model is the one the calibration fits. For every sample
//   tip centre = machine position (X, Y, Z) + deflection,
//   deflection = poly(P - offset_P, Q - offset_Q, R - offset_R),
// where poly is three polynomials (X, Y, Z outputs, mm) of total order 1..3
// in the offset-corrected readings (counts) with a zero constant term, and
// every tip centre lies on the reference sphere (centre c, effective radius
// R = ball + stylus tip).
//
// The simulator walks the tip centre s along great-circle arcs of that
// sphere. With n the outward unit normal at s, t the unit direction of
// travel and delta the normal deflection at that point, the probe's
// deflection is d = delta * n - friction * delta * t (the machine presses
// into the sphere and the friction drags the tip against the travel), the
// machine position is X = s - d, and the readings are the counts whose true
// polynomial gives exactly d (found by Newton's method), plus the offsets.
// Gaussian noise can then be added to the readings and to the positions.
//
// Example:
//   tavric::sim::Scenario scenario;              // documented defaults
//   scenario.plan.total_samples = 6000;
//   scenario.noise.position_sigma_um = 0.2;
//   tavric::sim::SimulatedData sim = tavric::sim::Simulate(scenario);
//   // sim.data: (1 To 6, 1 To 6000), rows P, Q, R, X, Y, Z
//   tavric::sim::WriteMarkedDataFile("scan.txt", sim.data);   // "OK"
//
// Invalid settings are rejected with std::invalid_argument, whose message
// starts with "ScanSimulator: " and names the offending field (this includes
// a sample count above 32,767, the most the calibration accepts).
// Everything the simulator draws comes from std::mt19937_64 with its own
// Gaussian transform, so a seed gives the same bits with every standard
// library; the seed only affects the noise.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "tavric/BoundedArray.h"

namespace tavric::sim {

using Vec3 = std::array<double, 3>;
// A 3x3 matrix, row-major: m[row][column].
using Matrix3 = std::array<Vec3, 3>;

// The library's default starting gain (InitialProbeGain), mm per count.
inline constexpr double kNominalProbeGain = 6.25e-5;
// The largest number of samples the calibration accepts (16-bit count).
inline constexpr std::int32_t kMaxSamples = 32767;

// The probe's true calibration: the polynomial the simulator inverts to turn
// deflections into readings.
//
// First-order part (mm per count): M = Rot * G, with
//   G[r][r] = gain * gain_factors[r],  G[r][c] = gain * cross_talk[r][c] (r != c),
// and Rot the rotation by rotation_deg. Output r of the linear part is
// sum over c of M[r][c] * reading c (readings in the order P, Q, R).
//
// Second- and third-order parts: every monomial of degree d in P, Q, R gets
// a coefficient from a fixed mixed-sign pattern, scaled so that with each
// corrected reading at most u_full = full_deflection_mm / gain counts in
// size, the degree-d part of each output is at most
// (second_order or third_order) * full_deflection_mm.
struct TrueCalibration {
  // Nominal gain, mm per count, > 0.
  double gain = kNominalProbeGain;
  // Per-axis factors on the gain (X, Y, Z outputs), each > 0.
  Vec3 gain_factors = {1.04, 0.97, 1.02};
  // Cross-talk as fractions of the gain: cross_talk[r][c] (r != c) is the
  // share of reading c in output r. The diagonal must be 0; each |entry| < 0.5.
  Matrix3 cross_talk = {{{0.0, 0.012, -0.008}, {0.006, 0.0, 0.010}, {-0.009, 0.005, 0.0}}};
  // Rotation of the probe's axes relative to the machine's, as a rotation
  // vector in degrees (direction = axis, length = angle).
  Vec3 rotation_deg = {0.3, -0.2, 0.4};
  // Size of the second- and third-order parts at full deflection, relative
  // to the full deflection; each in [0, 0.2].
  double second_order = 0.01;
  double third_order = 0.003;
  // The deflection at which those sizes hold, mm, > 0.
  double full_deflection_mm = 0.5;
  // Probe offsets, counts: raw reading = corrected reading + offset.
  Vec3 offsets = {0.0, 0.0, 0.0};
  // Total order of the true polynomial, 1..3. Terms above it are zero, so a
  // fit of this order or higher can reproduce the truth exactly.
  int order = 3;
};

// Where and how the sphere is scanned.
//
// Vertical planes: plane p (1..planes) contains the vertical through the
// centre at azimuth first_azimuth_deg + (p - 1) * 180 / planes (degrees from
// +X towards +Y). Its arc is centred on the elevation
// arc_centre_elevation_deg (90 = over the top of the sphere) and spans
// arc_deg; with the defaults it runs from 10 degrees below the equator on
// one side, over the pole, to 10 degrees below it on the other side.
// The equator plane (scanned by default) comes last; its arc is centred on the
// azimuth first_azimuth_deg and spans arc_deg.
// Every plane is scanned twice in a row: forward (increasing angle), then
// backward over the same arc. A scan's samples are spread evenly over its arc,
// both ends included.
struct ScanPlan {
  // Sphere centre, mm.
  Vec3 centre = {150.0, -80.0, 40.0};
  // Effective sphere radius (ball + stylus tip), mm, > 0.
  double radius = 12.5;
  // Number of vertical great-circle planes, >= 0 (at least one plane in all,
  // counting the equator). An order-n fit needs more than n planes.
  std::int32_t planes = 4;
  // Azimuth of the first vertical plane, degrees.
  double first_azimuth_deg = 10.0;
  // Also scan the equator (horizontal plane through the centre). Vertical
  // planes alone leave a rotation of the probe about the vertical
  // undetermined: it moves every deflection within the sphere's tangent
  // plane, which changes no residual to first order.
  bool include_equator = true;
  // Arc covered by each scan, degrees, in (0, 360].
  double arc_deg = 200.0;
  // Elevation of the middle of the arcs of the vertical planes, degrees.
  double arc_centre_elevation_deg = 90.0;
  // Samples per scan. 0: derived from total_samples, spread as evenly as
  // possible (the first scans get one more when it does not divide). If both
  // are set, total_samples must equal points_per_scan * number of scans.
  std::int32_t points_per_scan = 0;
  // Total number of samples (used when points_per_scan is 0). Every scan
  // needs at least 2 samples; more than kMaxSamples (32,767) is rejected.
  std::int32_t total_samples = 4000;
};

// The probe's deflection along each scan. The normal deflection is
//   delta(tau) = mean_mm * (1 + variation * sin(2 pi cycles tau + phase)),
// tau running from 0 to 1 along the scan and phase = 2 rad times the scan's
// 0-based number, so forward and backward scans differ. A constant
// deflection would leave the probe gain and the sphere radius
// indistinguishable, so it varies by default.
struct DeflectionProfile {
  // Mean normal deflection, mm, > 0 (the machine is inside the sphere
  // surface by this much).
  double mean_mm = 0.3;
  // Relative amplitude of the variation along a scan, in [0, 1).
  double variation = 0.30;
  // Sine periods per scan, >= 0 (1 or more reaches both extremes).
  double cycles = 1.5;
  // Friction coefficient: tangential deflection = friction * delta, against
  // the direction of travel; in [0, 1).
  double friction = 0.05;
};

// Measurement noise, Gaussian, added after the exact readings and positions
// are formed. Per sample six normal deviates are drawn in the order P, Q, R,
// X, Y, Z, whatever the sigmas (so changing a sigma scales the same noise).
struct NoiseModel {
  // Standard deviation on each reading, counts, >= 0.
  double counts_sigma = 0.0;
  // Standard deviation on each machine coordinate, micrometres, >= 0.
  double position_sigma_um = 0.0;
  // Seed of the std::mt19937_64 generator.
  std::uint64_t seed = 1;
};

// All settings of one simulation.
struct Scenario {
  TrueCalibration calibration;
  ScanPlan plan;
  DeflectionProfile deflection;
  NoiseModel noise;
};

// One scan: consecutive samples along one plane in one sense.
struct ScanInfo {
  // 1-based sample number (column of the data array) of its first sample.
  std::int32_t first_sample = 1;
  std::int32_t sample_count = 0;
  // 1-based plane number; the equator, when scanned, is planes + 1.
  std::int32_t plane = 1;
  // +1 forward, -1 backward.
  int sense = 1;
  // Unit normal of the plane, oriented so that forward travel turns
  // counter-clockwise about it: (outward normal) x (travel direction) =
  // sense * plane_normal.
  Vec3 plane_normal = {0.0, 0.0, 0.0};
};

// What the calibration should find, and per-sample facts for checks.
struct GroundTruth {
  Vec3 centre = {0.0, 0.0, 0.0};
  double radius = 0.0;
  int order = 0;
  // (1 To 3, 1 To N) in the polynomial's term order (power of P outermost,
  // power of R innermost), for corrected readings in counts; term 1, the
  // constant term, is 0.
  Array2<double> coefficients;
  // Probe offsets, counts (give them to the calibration with
  // LetProbeOffsets; its constant term then holds their negation).
  Vec3 offsets = {0.0, 0.0, 0.0};
  // The first-order part M (mm per count) that coefficients holds.
  Matrix3 linear = {};
  // (1 To 3, 1 To samples): the exact deflection of each sample (mm) and the
  // outward unit normal of the sphere at its tip centre (noise-free).
  Array2<double> deflections;
  Array2<double> normals;
  // The scans in the order they were taken.
  std::vector<ScanInfo> scans;
  // The noise seed used.
  std::uint64_t seed = 0;
};

struct SimulatedData {
  // (1 To 6, 1 To samples): rows P, Q, R (raw counts), X, Y, Z (mm).
  DataArray data;
  GroundTruth truth;
};

// Runs the simulation. Throws std::invalid_argument for invalid settings and
// std::runtime_error if a deflection cannot be inverted (only possible for
// extreme settings).
SimulatedData Simulate(const Scenario& scenario = {});

// The first-order matrix M of a calibration (mm per count).
Matrix3 LinearPart(const TrueCalibration& calibration);

// The true coefficient table (1 To 3, 1 To N) of a calibration, N =
// (n+1)(n+2)(n+3)/6 for its order n; constant term 0.
Array2<double> TrueCoefficients(const TrueCalibration& calibration);

// Marked layout: a "DATA START" record, a header record of six names, one
// record "P,Q,R,X,Y,Z" per sample (numbers in record form, up to 15
// significant digits), and a "DATA END" record; CR LF line ends. The six
// fields are read at offsets 0..5 from the first dimension's lower bound.
// Returns "OK" or "WriteMarkedDataFile error <number> : <description>".
std::string WriteMarkedDataFile(const std::string& path, const DataArray& data);

// Generic logged-parameters layout: a few preamble lines, a line "LOGGED
// PARAMETERS", a header of eight single-space-separated column names (the six
// keys "TQ800Axis0.0", "TQ800Axis1.0", "TQ800Axis2.0", "X.51", "Y.51", "Z.51"
// mixed with a "Time" and a "Status" column), one line per sample with the
// same single-space pattern, and a final "END OF LOG" line. Each value is
// written with the same text as in the marked layout. Returns "OK" or
// "WriteGenericDataFile error <number> : <description>".
std::string WriteGenericDataFile(const std::string& path, const DataArray& data);

// The ground truth as a small JSON text (sphere, order, offsets, first-order
// matrix, terms with powers and coefficients, scans, seed; no per-sample
// arrays). Numbers are written in their shortest round-trip form.
std::string TruthJson(const GroundTruth& truth);
// Writes TruthJson to a file. Returns "OK" or
// "WriteTruthJson error <number> : <description>".
std::string WriteTruthJson(const std::string& path, const GroundTruth& truth);

// Reads a truth file written by WriteTruthJson back (sphere, order, offsets,
// first-order matrix, coefficients, scans, seed; no per-sample arrays).
// Throws tavric::Error (ErrorCode::kLoadFailed) naming the file and what is
// wrong with it.
GroundTruth ReadTruthJson(const std::string& path);

// Replaces every value by the value its written text (15 significant
// digits) reads back as, so the array equals what a reader of either file
// layout produces.
void RoundToRecordPrecision(DataArray& data);

}  // namespace tavric::sim
