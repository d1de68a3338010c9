#include "tavric/Verification.h"

#include <Eigen/Dense>
#include <cmath>
#include <numbers>
#include <vector>

#include "polynomial/Polynome3Variables.h"
#include "runtime/CheckedMath.h"
#include "uncertainty/DeflectionCovariance.h"

namespace tavric {
namespace {

// Directions on a Fibonacci lattice for the readings spread over the range.
constexpr int kDirections = 400;
constexpr int kLevels = 5;

double Dot(const Vec3& a, const Vec3& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
double Norm(const Vec3& a) { return std::sqrt(Dot(a, a)); }
Vec3 Minus(const Vec3& a, const Vec3& b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }

// The true calibration as a polynomial in the offset-corrected readings.
class TrueDeflection {
 public:
  explicit TrueDeflection(const sim::GroundTruth& truth) : offsets_(truth.offsets) {
    if (truth.order < 1 || truth.order > 3)
      throw Error(ErrorCode::kInvalidData,
                  "The truth's order must be 1, 2 or 3, not " + std::to_string(truth.order));
    Byte order = static_cast<Byte>(truth.order);
    poly_.INIT(order);
    poly_.Coeff(truth.coefficients);
    poly_.TheCoeff(0, 0, 0, CoefficientTriple(0.0, 0.0, 0.0));
  }
  Vec3 At(const Vec3& reading) const {
    Vec3 d;
    poly_.Value(reading[0] - offsets_[0], reading[1] - offsets_[1], reading[2] - offsets_[2], d[0],
                d[1], d[2]);
    return d;
  }

 private:
  Polynome3Variables poly_;
  Vec3 offsets_;
};

struct Point {
  Vec3 reading;
  Vec3 normal;  // unit
};

std::vector<Point> SamplePoints(std::span<const Sample> samples, const sim::GroundTruth& truth,
                                const TrueDeflection& deflection) {
  std::vector<Point> points;
  points.reserve(samples.size());
  for (const Sample& s : samples) {
    const Vec3 r{s.P, s.Q, s.R};
    const Vec3 d = deflection.At(r);
    const Vec3 tip = Minus({s.X + d[0], s.Y + d[1], s.Z + d[2]}, truth.centre);
    const double size = Norm(tip);
    if (!(size > 0.0)) continue;
    points.push_back({r, {tip[0] / size, tip[1] / size, tip[2] / size}});
  }
  return points;
}

// Readings whose true first-order deflection is reach * level / kLevels in
// each lattice direction.
std::vector<Point> RangePoints(const sim::GroundTruth& truth, double reach) {
  Eigen::Matrix3d M;
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c)
      M(r, c) = truth.linear[static_cast<std::size_t>(r)][static_cast<std::size_t>(c)];
  const Eigen::Matrix3d inverse = M.inverse();
  std::vector<Point> points;
  const double golden = std::numbers::pi * (3.0 - std::sqrt(5.0));
  for (int i = 0; i < kDirections; ++i) {
    const double z = 1.0 - (2.0 * i + 1.0) / kDirections;
    const double ring = std::sqrt(1.0 - z * z);
    const Eigen::Vector3d u(ring * std::cos(golden * i), ring * std::sin(golden * i), z);
    for (int level = 1; level <= kLevels; ++level) {
      const Eigen::Vector3d r = inverse * (u * (reach * level / kLevels));
      points.push_back({{r(0) + truth.offsets[0], r(1) + truth.offsets[1], r(2) + truth.offsets[2]},
                        {u(0), u(1), u(2)}});
    }
  }
  return points;
}

class SpreadCollector {
 public:
  void Add(double error) {
    values_.push_back(std::fabs(error));
    sum_squares_ += error * error;
  }
  ErrorSpread Spread() const {
    ErrorSpread s;
    if (values_.empty()) return s;
    const tavric::Spread summary = uncertainty::Summarise(values_);
    s.max = summary.max;
    s.p95 = summary.p95;
    s.rms = std::sqrt(sum_squares_ / static_cast<double>(values_.size()));
    return s;
  }

 private:
  std::vector<double> values_;
  double sum_squares_ = 0.0;
};

// The error's component along the direction across n in which the
// covariance is largest, and the standard uncertainty along it.
std::pair<double, double> AcrossComponent(const std::array<Vec3, 3>& c, const Vec3& n,
                                          const Vec3& error) {
  Eigen::Matrix3d C;
  for (int a = 0; a < 3; ++a)
    for (int b = 0; b < 3; ++b)
      C(a, b) = c[static_cast<std::size_t>(a)][static_cast<std::size_t>(b)];
  const Eigen::Vector3d nn(n[0], n[1], n[2]);
  const Eigen::Matrix3d P = Eigen::Matrix3d::Identity() - nn * nn.transpose();
  const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> solver(P * C * P);
  const Eigen::Vector3d v = solver.eigenvectors().col(2);  // the largest eigenvalue
  const double variance = std::max(0.0, solver.eigenvalues()(2));
  return {v.dot(Eigen::Vector3d(error[0], error[1], error[2])), std::sqrt(variance)};
}

}  // namespace

VerificationReport verify(const Calibration& calibration, const sim::GroundTruth& truth,
                          std::span<const Sample> samples, double reach) {
  const TrueDeflection true_deflection(truth);
  const fp::Boundary boundary;
  VerificationReport report;
  report.at_samples = !samples.empty();
  const std::vector<Point> points =
      report.at_samples ? SamplePoints(samples, truth, true_deflection) : RangePoints(truth, reach);
  report.points = static_cast<int>(points.size());

  const FitUncertainty& fit_u = calibration.uncertainty();
  const bool with_uncertainty = fit_u.available;
  // The bootstrap's covariance at each sample, when it ran on these samples.
  const auto& boot = fit_u.bootstrap.sample_covariance;
  const bool bootstrap =
      report.at_samples && fit_u.bootstrap.fits > 0 && boot.size() == points.size();
  SpreadCollector x, y, z, normal, across, total;
  std::size_t normal_in = 0, across_in = 0;
  std::array<std::size_t, 3> axis_in{0, 0, 0};
  for (std::size_t i = 0; i < points.size(); ++i) {
    const Point& p = points[i];
    const Vec3 e = Minus(calibration.deflection(p.reading), true_deflection.At(p.reading));
    x.Add(e[0]);
    y.Add(e[1]);
    z.Add(e[2]);
    const double along = Dot(e, p.normal);
    const double size = Norm(e);
    normal.Add(along);
    across.Add(std::sqrt(std::max(0.0, size * size - along * along)));
    total.Add(size);
    if (with_uncertainty) {
      const std::array<Vec3, 3> c =
          bootstrap ? std::array<Vec3, 3>{Vec3{boot[i][0], boot[i][1], boot[i][2]},
                                          Vec3{boot[i][1], boot[i][3], boot[i][4]},
                                          Vec3{boot[i][2], boot[i][4], boot[i][5]}}
                    : calibration.deflection_covariance(p.reading);
      const Vec3 cn = {Dot(c[0], p.normal), Dot(c[1], p.normal), Dot(c[2], p.normal)};
      if (std::fabs(along) <= 2.0 * std::sqrt(std::max(0.0, Dot(cn, p.normal)))) ++normal_in;
      const auto [component, u] = AcrossComponent(c, p.normal, e);
      if (std::fabs(component) <= 2.0 * u) ++across_in;
      for (std::size_t a = 0; a < 3; ++a)
        if (std::fabs(e[a]) <= 2.0 * std::sqrt(std::max(0.0, c[a][a]))) ++axis_in[a];
    }
  }
  fp::Check();
  report.x = x.Spread();
  report.y = y.Spread();
  report.z = z.Spread();
  report.normal = normal.Spread();
  report.across = across.Spread();
  report.total = total.Spread();
  report.centre_error = Minus(calibration.sphere().centre, truth.centre);
  report.radius_error = calibration.sphere().radius - truth.radius;
  if (with_uncertainty && !points.empty()) {
    const auto share = [&](std::size_t in) {
      return static_cast<double>(in) / static_cast<double>(points.size());
    };
    report.normal_coverage = share(normal_in);
    report.across_coverage = share(across_in);
    report.axis_coverage = Vec3{share(axis_in[0]), share(axis_in[1]), share(axis_in[2])};
    const FitUncertainty& u = calibration.uncertainty();
    report.radius_covered = u.radius_held || std::fabs(report.radius_error) <= 2.0 * u.radius_u;
  }
  return report;
}

}  // namespace tavric
