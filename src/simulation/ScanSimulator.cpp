#include "tavric/ScanSimulator.h"

#include <cmath>
#include <numbers>
#include <stdexcept>
#include <string>

#include "runtime/CheckedMath.h"
#include "runtime/NumberText.h"
#include "simulation/GaussianNoise.h"

namespace tavric::sim {
namespace {

constexpr double kDegToRad = std::numbers::pi / 180.0;
// Newton's method stops when the last step is this small relative to the
// largest corrected reading.
constexpr double kNewtonRelativeTolerance = 1e-12;
constexpr int kNewtonIterationLimit = 100;
// Phase advance of the deflection profile from one scan to the next, rad.
constexpr double kPhasePerScan = 2.0;

// ---------------------------------------------------------------- checks

[[noreturn]] void Reject(const std::string& what) {
  throw std::invalid_argument("ScanSimulator: " + what);
}

std::string Text(double x) { return std::isfinite(x) ? FormatRecordNumber(x) : "not finite"; }

void RequireFinite(double x, const std::string& name) {
  if (!std::isfinite(x)) Reject(name + " must be finite");
}
void RequireFinite(const Vec3& v, const std::string& name) {
  for (double x : v) RequireFinite(x, name);
}
void RequirePositive(double x, const std::string& name) {
  RequireFinite(x, name);
  if (!(x > 0.0)) Reject(name + " must be > 0 (is " + Text(x) + ")");
}
// lower <= x < upper, or lower <= x <= upper when upper_included.
void RequireInRange(double x, double lower, double upper, bool upper_included,
                    const std::string& name) {
  RequireFinite(x, name);
  const bool inside = x >= lower && (upper_included ? x <= upper : x < upper);
  if (!inside)
    Reject(name + " must be in [" + Text(lower) + ", " + Text(upper) +
           (upper_included ? "]" : ")") + " (is " + Text(x) + ")");
}

// ---------------------------------------------------------------- 3-vectors and matrices

Vec3 Plus(const Vec3& a, const Vec3& b) { return {a[0] + b[0], a[1] + b[1], a[2] + b[2]}; }
Vec3 Minus(const Vec3& a, const Vec3& b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
Vec3 Times(double s, const Vec3& a) { return {s * a[0], s * a[1], s * a[2]}; }
Vec3 Cross(const Vec3& a, const Vec3& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
double MaxAbs(const Vec3& a) {
  return std::fmax(std::fabs(a[0]), std::fmax(std::fabs(a[1]), std::fabs(a[2])));
}

Matrix3 Product(const Matrix3& a, const Matrix3& b) {
  Matrix3 c{};
  for (int r = 0; r < 3; ++r)
    for (int col = 0; col < 3; ++col)
      c[r][col] = a[r][0] * b[0][col] + a[r][1] * b[1][col] + a[r][2] * b[2][col];
  return c;
}

// Rotation by the rotation vector r (radians): angle |r| about r / |r|
// (Rodrigues' formula R = I + sin(a) K + (1 - cos(a)) K^2, K the cross-product
// matrix of the unit axis).
Matrix3 Rotation(const Vec3& r) {
  Matrix3 m = {{{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}};
  const double angle = std::sqrt(r[0] * r[0] + r[1] * r[1] + r[2] * r[2]);
  if (angle == 0.0) return m;
  const Vec3 k = Times(1.0 / angle, r);
  const Matrix3 K = {{{0.0, -k[2], k[1]}, {k[2], 0.0, -k[0]}, {-k[1], k[0], 0.0}}};
  const Matrix3 K2 = Product(K, K);
  const double s = std::sin(angle), c1 = 1.0 - std::cos(angle);
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) m[i][j] += s * K[i][j] + c1 * K2[i][j];
  return m;
}

// Solves a x = b by Gaussian elimination with partial pivoting; false when a
// pivot vanishes relative to the matrix's largest element.
bool Solve(Matrix3 a, Vec3 b, Vec3& x) {
  double scale = 0.0;
  for (const Vec3& row : a) scale = std::fmax(scale, MaxAbs(row));
  if (!(scale > 0.0)) return false;
  for (int col = 0; col < 3; ++col) {
    int pivot = col;
    for (int r = col + 1; r < 3; ++r)
      if (std::fabs(a[r][col]) > std::fabs(a[pivot][col])) pivot = r;
    if (!(std::fabs(a[pivot][col]) > 1e-12 * scale)) return false;
    std::swap(a[col], a[pivot]);
    std::swap(b[col], b[pivot]);
    for (int r = col + 1; r < 3; ++r) {
      const double f = a[r][col] / a[col][col];
      for (int c = col; c < 3; ++c) a[r][c] -= f * a[col][c];
      b[r] -= f * b[col];
    }
  }
  for (int r = 2; r >= 0; --r) {
    double s = b[r];
    for (int c = r + 1; c < 3; ++c) s -= a[r][c] * x[c];
    x[r] = s / a[r][r];
  }
  return true;
}

// ---------------------------------------------------------------- the true polynomial

struct Term {
  int i, j, k;  // powers of P, Q, R
};

// The polynomial's term order: power of P outermost, power of R innermost.
std::vector<Term> Terms(int order) {
  std::vector<Term> terms;
  for (int i = 0; i <= order; ++i)
    for (int j = 0; j <= order - i; ++j)
      for (int k = 0; k <= order - i - j; ++k) terms.push_back({i, j, k});
  return terms;
}

// The fixed pattern of the non-linear coefficients: a weight in
// {-1, -0.75, ..., 1} for output axis a (1..3) and the term's powers.
double PatternWeight(int a, const Term& t) {
  return static_cast<double>((3 * a + 5 * t.i + 7 * t.j + 11 * t.k) % 9 - 4) / 4.0;
}

// The true polynomial with its derivatives, for the inversion.
class TruePolynomial {
 public:
  TruePolynomial(int order, const Array2<double>& table) : order_(order), terms_(Terms(order)) {
    for (std::size_t t = 0; t < terms_.size(); ++t) {
      const auto col = static_cast<std::int32_t>(t + 1);
      coeff_.push_back({table(1, col), table(2, col), table(3, col)});
    }
  }

  // Deflection (mm) at the corrected readings u (counts).
  Vec3 Value(const Vec3& u) const {
    Powers(u);
    Vec3 d = {0.0, 0.0, 0.0};
    for (std::size_t t = 0; t < terms_.size(); ++t) {
      const Term& tm = terms_[t];
      const double m = pw_[0][tm.i] * pw_[1][tm.j] * pw_[2][tm.k];
      for (int a = 0; a < 3; ++a) d[a] += coeff_[t][a] * m;
    }
    return d;
  }

  // Jacobian J[a][v] = d(output a) / d(reading v) at u.
  Matrix3 Jacobian(const Vec3& u) const {
    Powers(u);
    Matrix3 J{};
    for (std::size_t t = 0; t < terms_.size(); ++t) {
      const Term& tm = terms_[t];
      const double dP = tm.i == 0 ? 0.0 : tm.i * pw_[0][tm.i - 1] * pw_[1][tm.j] * pw_[2][tm.k];
      const double dQ = tm.j == 0 ? 0.0 : tm.j * pw_[0][tm.i] * pw_[1][tm.j - 1] * pw_[2][tm.k];
      const double dR = tm.k == 0 ? 0.0 : tm.k * pw_[0][tm.i] * pw_[1][tm.j] * pw_[2][tm.k - 1];
      for (int a = 0; a < 3; ++a) {
        J[a][0] += coeff_[t][a] * dP;
        J[a][1] += coeff_[t][a] * dQ;
        J[a][2] += coeff_[t][a] * dR;
      }
    }
    return J;
  }

 private:
  // pw_[v][e] = u[v]^e by repeated multiplication.
  void Powers(const Vec3& u) const {
    for (int v = 0; v < 3; ++v) {
      pw_[v][0] = 1.0;
      for (int e = 1; e <= order_; ++e) pw_[v][e] = pw_[v][e - 1] * u[v];
    }
  }

  int order_;
  std::vector<Term> terms_;
  std::vector<Vec3> coeff_;
  mutable double pw_[3][4] = {};
};

// The corrected readings u with poly(u) = d: Newton's method from the
// inverse of the first-order part.
Vec3 Invert(const TruePolynomial& poly, const Matrix3& linear, const Vec3& d) {
  Vec3 u{};
  if (!Solve(linear, d, u))
    throw std::runtime_error("ScanSimulator: the first-order part of the calibration is singular");
  for (int iteration = 0; iteration < kNewtonIterationLimit; ++iteration) {
    const Vec3 residual = Minus(poly.Value(u), d);
    Vec3 step{};
    if (!Solve(poly.Jacobian(u), residual, step)) break;
    u = Minus(u, step);
    if (MaxAbs(step) <= kNewtonRelativeTolerance * MaxAbs(u)) return u;
  }
  throw std::runtime_error("ScanSimulator: no readings found for a deflection of (" + Text(d[0]) +
                           ", " + Text(d[1]) + ", " + Text(d[2]) +
                           ") mm; the non-linear part of the calibration is too large");
}

// ---------------------------------------------------------------- validation

void Validate(const TrueCalibration& c) {
  RequirePositive(c.gain, "TrueCalibration.gain");
  for (int r = 0; r < 3; ++r) {
    RequirePositive(c.gain_factors[r], "TrueCalibration.gain_factors");
    for (int col = 0; col < 3; ++col) {
      const std::string name =
          "TrueCalibration.cross_talk[" + std::to_string(r) + "][" + std::to_string(col) + "]";
      if (r == col) {
        if (c.cross_talk[r][col] != 0.0) Reject(name + " (diagonal) must be 0");
      } else {
        RequireInRange(std::fabs(c.cross_talk[r][col]), 0.0, 0.5, false, "|" + name + "|");
      }
    }
  }
  RequireFinite(c.rotation_deg, "TrueCalibration.rotation_deg");
  RequireInRange(c.second_order, 0.0, 0.2, true, "TrueCalibration.second_order");
  RequireInRange(c.third_order, 0.0, 0.2, true, "TrueCalibration.third_order");
  RequirePositive(c.full_deflection_mm, "TrueCalibration.full_deflection_mm");
  RequireFinite(c.offsets, "TrueCalibration.offsets");
  if (c.order < 1 || c.order > 3)
    Reject("TrueCalibration.order must be 1..3 (is " + std::to_string(c.order) + ")");
}

void Validate(const DeflectionProfile& d, const ScanPlan& plan) {
  RequirePositive(d.mean_mm, "DeflectionProfile.mean_mm");
  RequireInRange(d.variation, 0.0, 1.0, false, "DeflectionProfile.variation");
  RequireInRange(d.cycles, 0.0, 1e6, true, "DeflectionProfile.cycles");
  RequireInRange(d.friction, 0.0, 1.0, false, "DeflectionProfile.friction");
  if (!(d.mean_mm * (1.0 + d.variation) * (1.0 + d.friction) < plan.radius))
    Reject("DeflectionProfile.mean_mm is too large for the sphere radius");
}

void Validate(const NoiseModel& n) {
  RequireInRange(n.counts_sigma, 0.0, 1e9, true, "NoiseModel.counts_sigma");
  RequireInRange(n.position_sigma_um, 0.0, 1e9, true, "NoiseModel.position_sigma_um");
}

// ---------------------------------------------------------------- scan layout

struct Plane {
  // Points of the great circle: centre + radius * (cos a * e1 + sin a * e2),
  // the angle a running from angle0 to angle1 on a forward scan.
  Vec3 e1, e2, normal;
  double angle0, angle1;
};

std::vector<Plane> Planes(const ScanPlan& plan) {
  std::vector<Plane> planes;
  const double half_arc = 0.5 * plan.arc_deg * kDegToRad;
  const double up = plan.arc_centre_elevation_deg * kDegToRad;
  for (std::int32_t p = 0; p < plan.planes; ++p) {
    const double azimuth =
        (plan.first_azimuth_deg + static_cast<double>(p) * 180.0 / plan.planes) * kDegToRad;
    const Vec3 e1 = {std::cos(azimuth), std::sin(azimuth), 0.0};
    const Vec3 e2 = {0.0, 0.0, 1.0};
    planes.push_back({e1, e2, Cross(e1, e2), up - half_arc, up + half_arc});
  }
  if (plan.include_equator) {
    const double azimuth = plan.first_azimuth_deg * kDegToRad;
    const Vec3 e1 = {std::cos(azimuth), std::sin(azimuth), 0.0};
    const Vec3 e2 = {-std::sin(azimuth), std::cos(azimuth), 0.0};
    // e1 x e2 is the vertical (cos^2 + sin^2 written exactly as 1).
    planes.push_back({e1, e2, {0.0, 0.0, 1.0}, -half_arc, half_arc});
  }
  return planes;
}

// Validates the plan and returns the number of samples of every scan.
std::vector<std::int32_t> ScanSizes(const ScanPlan& plan) {
  RequireFinite(plan.centre, "ScanPlan.centre");
  RequirePositive(plan.radius, "ScanPlan.radius");
  RequireFinite(plan.first_azimuth_deg, "ScanPlan.first_azimuth_deg");
  RequireInRange(plan.arc_deg, 0.0, 360.0, true, "ScanPlan.arc_deg");
  if (!(plan.arc_deg > 0.0)) Reject("ScanPlan.arc_deg must be > 0");
  RequireFinite(plan.arc_centre_elevation_deg, "ScanPlan.arc_centre_elevation_deg");
  if (plan.planes < 0) Reject("ScanPlan.planes must be >= 0");
  const long long plane_count =
      static_cast<long long>(plan.planes) + (plan.include_equator ? 1 : 0);
  if (plane_count < 1) Reject("ScanPlan needs at least one plane (planes or include_equator)");
  const long long scans = 2 * plane_count;
  if (plan.points_per_scan < 0) Reject("ScanPlan.points_per_scan must be >= 0");
  if (plan.total_samples < 0) Reject("ScanPlan.total_samples must be >= 0");

  long long total = plan.total_samples;
  if (plan.points_per_scan > 0) {
    total = plan.points_per_scan * scans;
    if (plan.total_samples != 0 && plan.total_samples != total)
      Reject("ScanPlan.total_samples (" + std::to_string(plan.total_samples) +
             ") differs from points_per_scan x scans (" + std::to_string(total) + ")");
  }
  if (total > kMaxSamples)
    Reject("the plan gives " + std::to_string(total) + " samples; at most " +
           std::to_string(kMaxSamples) + " samples are accepted");
  if (total < 2 * scans)
    Reject("the plan gives " + std::to_string(total) + " samples for " + std::to_string(scans) +
           " scans; every scan needs at least 2 samples");

  const auto base = static_cast<std::int32_t>(total / scans);
  const auto extra = static_cast<std::int32_t>(total % scans);
  std::vector<std::int32_t> sizes;
  for (std::int32_t s = 0; s < scans; ++s) sizes.push_back(base + (s < extra ? 1 : 0));
  return sizes;
}

}  // namespace

// ---------------------------------------------------------------- public

Matrix3 LinearPart(const TrueCalibration& calibration) {
  Validate(calibration);
  Matrix3 g{};
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c)
      g[r][c] =
          calibration.gain * (r == c ? calibration.gain_factors[r] : calibration.cross_talk[r][c]);
  const Matrix3 m = Product(Rotation(Times(kDegToRad, calibration.rotation_deg)), g);
  Vec3 probe{};
  if (!Solve(m, {1.0, 1.0, 1.0}, probe))
    Reject("the first-order part of the TrueCalibration is singular");
  return m;
}

Array2<double> TrueCoefficients(const TrueCalibration& calibration) {
  const Matrix3 m = LinearPart(calibration);
  const std::vector<Term> terms = Terms(calibration.order);
  const auto n = static_cast<std::int32_t>(terms.size());
  Array2<double> table(1, 3, 1, n);
  // Corrected reading (counts) at full deflection.
  const double u_full = calibration.full_deflection_mm / calibration.gain;
  for (std::int32_t t = 1; t <= n; ++t) {
    const Term& tm = terms[t - 1];
    const int degree = tm.i + tm.j + tm.k;
    if (degree != 1) continue;
    const int column = tm.i == 1 ? 0 : tm.j == 1 ? 1 : 2;
    for (int a = 0; a < 3; ++a) table(a + 1, t) = m[a][column];
  }
  for (int degree = 2; degree <= calibration.order; ++degree) {
    const double relative = degree == 2 ? calibration.second_order : calibration.third_order;
    double u_power = 1.0;
    for (int e = 0; e < degree; ++e) u_power *= u_full;
    // Each |monomial| <= u_full^degree, and the weights of an axis sum to 1
    // in absolute value, so the degree's part is at most relative * full deflection.
    const double scale = relative * calibration.full_deflection_mm / u_power;
    for (int a = 1; a <= 3; ++a) {
      double weight_sum = 0.0;
      for (const Term& tm : terms)
        if (tm.i + tm.j + tm.k == degree) weight_sum += std::fabs(PatternWeight(a, tm));
      if (weight_sum == 0.0) continue;
      for (std::int32_t t = 1; t <= n; ++t) {
        const Term& tm = terms[t - 1];
        if (tm.i + tm.j + tm.k == degree) table(a, t) = scale * PatternWeight(a, tm) / weight_sum;
      }
    }
  }
  return table;
}

SimulatedData Simulate(const Scenario& scenario) {
  fp::Boundary boundary;
  const TrueCalibration& cal = scenario.calibration;
  const ScanPlan& plan = scenario.plan;
  const DeflectionProfile& profile = scenario.deflection;
  const NoiseModel& noise = scenario.noise;

  const Array2<double> table = TrueCoefficients(cal);  // validates the calibration
  const std::vector<std::int32_t> sizes = ScanSizes(plan);
  Validate(profile, plan);
  Validate(noise);

  const Matrix3 linear = LinearPart(cal);
  const TruePolynomial poly(cal.order, table);
  const std::vector<Plane> planes = Planes(plan);

  std::int32_t total = 0;
  for (std::int32_t s : sizes) total += s;

  SimulatedData out;
  DataArray& data = out.data;
  GroundTruth& truth = out.truth;
  data.ReDim(1, 6, 1, total);
  truth.centre = plan.centre;
  truth.radius = plan.radius;
  truth.order = cal.order;
  truth.coefficients = table;
  truth.offsets = cal.offsets;
  truth.linear = linear;
  truth.deflections.ReDim(1, 3, 1, total);
  truth.normals.ReDim(1, 3, 1, total);
  truth.seed = noise.seed;

  GaussianNoise gauss(noise.seed);
  const double position_sigma_mm = noise.position_sigma_um / 1000.0;
  std::int32_t column = 1;
  for (std::size_t scan = 0; scan < sizes.size(); ++scan) {
    const Plane& plane = planes[scan / 2];
    const int sense = scan % 2 == 0 ? 1 : -1;
    const std::int32_t count = sizes[scan];
    truth.scans.push_back(
        {column, count, static_cast<std::int32_t>(scan / 2 + 1), sense, plane.normal});
    const double phase = kPhasePerScan * static_cast<double>(scan);
    for (std::int32_t m = 0; m < count; ++m, ++column) {
      // tau: 0 -> 1 along the travel; the angle runs backwards on a backward scan.
      const double tau = static_cast<double>(m) / static_cast<double>(count - 1);
      const double along = sense > 0 ? tau : 1.0 - tau;
      const double angle = plane.angle0 + (plane.angle1 - plane.angle0) * along;
      const double ca = std::cos(angle), sa = std::sin(angle);
      const Vec3 normal = Plus(Times(ca, plane.e1), Times(sa, plane.e2));
      const Vec3 travel = Times(sense, Plus(Times(-sa, plane.e1), Times(ca, plane.e2)));
      const double delta =
          profile.mean_mm *
          (1.0 +
           profile.variation * std::sin(2.0 * std::numbers::pi * profile.cycles * tau + phase));
      const Vec3 deflection = Minus(Times(delta, normal), Times(profile.friction * delta, travel));
      const Vec3 tip = Plus(plan.centre, Times(plan.radius, normal));
      const Vec3 machine = Minus(tip, deflection);
      const Vec3 corrected = Invert(poly, linear, deflection);

      for (int v = 0; v < 3; ++v) {
        const double e = gauss.Next();
        data(v + 1, column) = corrected[v] + cal.offsets[v] + noise.counts_sigma * e;
      }
      for (int v = 0; v < 3; ++v) {
        const double e = gauss.Next();
        data(v + 4, column) = machine[v] + position_sigma_mm * e;
      }
      for (int v = 0; v < 3; ++v) {
        truth.deflections(v + 1, column) = deflection[v];
        truth.normals(v + 1, column) = normal[v];
      }
    }
  }
  fp::Check();
  return out;
}

}  // namespace tavric::sim
