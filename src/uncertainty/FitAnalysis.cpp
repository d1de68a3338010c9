#include "uncertainty/FitAnalysis.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

#include "model/IterativeCal.h"
#include "polynomial/Polynome3Variables.h"
#include "runtime/CheckedMath.h"
#include "solvers/Levenberg_Marquardt.h"
#include "tavric/RunReport.h"
#include "tavric/RuntimeError.h"
#include "uncertainty/Covariance.h"
#include "uncertainty/DeflectionCovariance.h"
#include "uncertainty/WeakDirections.h"

namespace tavric {
namespace {

using uncertainty::CoefficientLayout;
using uncertainty::DeflectionCovarianceField;
using uncertainty::ParameterCovariance;
using uncertainty::UncertaintyCollector;
using uncertainty::Vec3;

// How many weak directions are explained.
constexpr int kWeakest = 3;
// Points of the set spread through the probe's range: directions on a
// Fibonacci lattice times radial levels spaced for equal volume.
constexpr int kRangeDirections = 400;
constexpr int kRangeLevels = 5;
// Residuals further than this many robust sigmas from the median are
// counted as outliers.
constexpr double kOutlierSigmas = 5.0;

CoefficientLayout Layout(const IterativeCal& model) {
  CoefficientLayout layout;
  layout.first = model.SphereParameterCount();
  const Array2<Int16>& powers = Deref(model.Polynomial()).PowerTable();
  for (Int32 t = 1; t <= powers.UBound(2); ++t)
    layout.powers.push_back({powers(1, t), powers(2, t), powers(3, t)});
  return layout;
}

// The deflection of coefficient vector p at monomials m (terms 1..N, index
// 0 the constant term, which the parameters do not hold).
Vec3 Deflection(const Eigen::VectorXd& p, const CoefficientLayout& layout, const double* m) {
  Vec3 d{0.0, 0.0, 0.0};
  for (int a = 0; a < 3; ++a) {
    double sum = 0.0;
    for (int t = 2; t <= layout.Terms(); ++t) sum += p(layout.Index(a, t)) * m[t - 1];
    d[static_cast<std::size_t>(a)] = sum;
  }
  return d;
}

double Norm(const Vec3& v) { return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]); }
double Dot(const Vec3& a, const Vec3& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

double Median(std::vector<double> values) {
  return uncertainty::Summarise(std::move(values)).median;
}

// The covariance in the units of the calibration file: the model's
// coefficients multiply readings in thousands of counts.
std::vector<double> FileUnitsCovariance(const Eigen::MatrixXd& c, const CoefficientLayout& layout) {
  const Eigen::Index n = c.rows();
  Eigen::VectorXd scale = Eigen::VectorXd::Ones(n);
  for (int a = 0; a < 3; ++a)
    for (int t = 2; t <= layout.Terms(); ++t) {
      const auto& e = layout.powers[static_cast<std::size_t>(t - 1)];
      scale(layout.Index(a, t)) = std::pow(1000.0, -(e[0] + e[1] + e[2]));
    }
  std::vector<double> out(static_cast<std::size_t>(n * n));
  for (Eigen::Index i = 0; i < n; ++i)
    for (Eigen::Index j = 0; j < n; ++j)
      out[static_cast<std::size_t>(i * n + j)] = scale(i) * c(i, j) * scale(j);
  return out;
}

// The deflection uncertainty at every sample, with the sample's outward
// normal (minus the centre rows of its Jacobian column).
UncertaintyCollector AtSamples(const DeflectionCovarianceField& field, const Array2<double>& J,
                               const Array2<double>& readings, Int32 m,
                               std::vector<Vec3>* normals) {
  UncertaintyCollector collector(static_cast<std::size_t>(m));
  for (Int32 k = 1; k <= m; ++k) {
    const Vec3 n = {-J(1, k), -J(2, k), -J(3, k)};
    collector.Add(uncertainty::Split(field.At(readings(1, k), readings(2, k), readings(3, k)), n));
    if (normals != nullptr) normals->push_back(n);
  }
  return collector;
}

// The deflection uncertainty through the probe's range: a ball of readings
// reaching the scan's largest, the deflection's own direction standing in
// for the normal.
DeflectionUncertainty OverRange(const DeflectionCovarianceField& field,
                                const Eigen::VectorXd& fitted, const CoefficientLayout& layout,
                                const Polynome3Variables& poly, const Array2<double>& readings,
                                Int32 m) {
  double reach = 0.0;
  for (Int32 k = 1; k <= m; ++k) {
    const Vec3 r = {readings(1, k), readings(2, k), readings(3, k)};
    reach = std::max(reach, Norm(r));
  }
  Array1<double> monomials(1, poly.TermCount());
  UncertaintyCollector collector(kRangeDirections * kRangeLevels);
  const double golden = std::numbers::pi * (3.0 - std::sqrt(5.0));
  for (int i = 0; i < kRangeDirections; ++i) {
    const double z = 1.0 - (2.0 * i + 1.0) / kRangeDirections;
    const double ring = std::sqrt(1.0 - z * z);
    const Vec3 u = {ring * std::cos(golden * i), ring * std::sin(golden * i), z};
    for (int level = 1; level <= kRangeLevels; ++level) {
      const double radius = reach * std::cbrt(static_cast<double>(level) / kRangeLevels);
      const Vec3 r = {radius * u[0], radius * u[1], radius * u[2]};
      poly.PowerInto(r[0], r[1], r[2], monomials);
      const Vec3 d = Deflection(fitted, layout, monomials.Data());
      const double size = Norm(d);
      if (!(size > 0.0)) continue;
      const Vec3 along = {d[0] / size, d[1] / size, d[2] / size};
      collector.Add(uncertainty::Split(field.At(r[0], r[1], r[2]), along));
    }
  }
  return collector.Summary();
}

// The normal matrix had the radius been fitted: the radius's Jacobian row is
// -1 for every sample, inserted as parameter 4.
Eigen::MatrixXd WithRadius(const Eigen::MatrixXd& A, const Array2<double>& J, Int32 m) {
  const Eigen::Index n = A.rows();
  Eigen::MatrixXd B(n + 1, n + 1);
  const auto old = [](Eigen::Index i) { return i < 3 ? i : i + 1; };
  for (Eigen::Index i = 0; i < n; ++i)
    for (Eigen::Index j = 0; j < n; ++j) B(old(i), old(j)) = A(i, j);
  for (Eigen::Index i = 0; i < n; ++i) {
    double sum = 0.0;
    for (Int32 k = 1; k <= m; ++k) sum -= J(static_cast<Int32>(i + 1), k);
    B(old(i), 3) = B(3, old(i)) = sum;
  }
  B(3, 3) = static_cast<double>(m);
  return B;
}

struct SampleFigures {
  double deflection_mean = 0.0;
  double last_step_normal_change = 0.0;
  double last_step_across_change = 0.0;
  double reading_mean = 0.0;  // mean size of the readings (model units)
};

// The components of d along the unit vector n and across it.
std::pair<double, double> AlongAndAcross(const Vec3& d, const Vec3& n) {
  const double along = Dot(d, n);
  const double size = Norm(d);
  return {along, std::sqrt(std::max(0.0, size * size - along * along))};
}

// One pass over the samples: the size of the fitted deflection, the
// deflection change of the last step and of every weak direction.
SampleFigures PassOverSamples(const IterativeCal& model, const CoefficientLayout& layout,
                              const Eigen::VectorXd& fitted, const Eigen::VectorXd& last_step,
                              const std::vector<Eigen::VectorXd>& steps,
                              const std::vector<Vec3>& normals, std::vector<WeakDirection>& weak) {
  const Array2<double>& readings = model.Readings();
  const Int32 m = readings.UBound(2);
  const Polynome3Variables& poly = Deref(model.Polynomial());
  Array1<double> monomials(1, poly.TermCount());
  std::vector<double> normal_ss(steps.size(), 0.0), across_ss(steps.size(), 0.0);
  SampleFigures figures;
  for (Int32 k = 1; k <= m; ++k) {
    const Vec3 r = {readings(1, k), readings(2, k), readings(3, k)};
    figures.reading_mean += Norm(r) / m;
    poly.PowerInto(r[0], r[1], r[2], monomials);
    const double* mono = monomials.Data();
    figures.deflection_mean += Norm(Deflection(fitted, layout, mono)) / m;
    const Vec3& n = normals[static_cast<std::size_t>(k - 1)];
    if (last_step.size() == fitted.size()) {
      const auto [along, across] = AlongAndAcross(Deflection(last_step, layout, mono), n);
      figures.last_step_normal_change = std::max(figures.last_step_normal_change, std::fabs(along));
      figures.last_step_across_change = std::max(figures.last_step_across_change, across);
    }
    for (std::size_t i = 0; i < steps.size(); ++i) {
      const Vec3 d = Deflection(steps[i], layout, mono);
      const auto [along, across] = AlongAndAcross(d, n);
      normal_ss[i] += along * along;
      across_ss[i] += across * across;
      weak[i].max = std::max(weak[i].max, Norm(d));
    }
  }
  for (std::size_t i = 0; i < steps.size(); ++i) {
    weak[i].normal_rms = std::sqrt(normal_ss[i] / m);
    weak[i].across_rms = std::sqrt(across_ss[i] / m);
  }
  return figures;
}

// The spread of the scan planes (see FitUncertainty::plane_spread): the
// travel direction at each sample from its neighbours' machine positions.
void PlaneSpread(const IterativeCal& model, const std::vector<Vec3>& normals, FitUncertainty& u) {
  const auto m = static_cast<Int32>(normals.size());
  Eigen::Matrix3d moment = Eigen::Matrix3d::Zero();
  int counted = 0;
  for (Int32 k = 2; k < m; ++k) {
    Eigen::Vector3d travel;
    for (Int32 a = 1; a <= 3; ++a)
      travel(a - 1) = model.Position(a, k + 1) - model.Position(a, k - 1);
    const Vec3& n = normals[static_cast<std::size_t>(k - 1)];
    const Eigen::Vector3d plane = travel.cross(Eigen::Vector3d(n[0], n[1], n[2]));
    const double size = plane.norm();
    if (!(size > 0.0)) continue;
    moment += (plane / size) * (plane / size).transpose();
    ++counted;
  }
  if (counted == 0) return;
  const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> solver(moment / counted);
  u.plane_spread = std::max(0.0, solver.eigenvalues()(0));
  const Eigen::Vector3d axis = solver.eigenvectors().col(0);
  u.plane_axis = {axis(0), axis(1), axis(2)};
}

void ResidualFigures(const std::vector<double>& f, FitUncertainty& u) {
  const std::size_t m = f.size();
  const double mean = std::accumulate(f.begin(), f.end(), 0.0) / static_cast<double>(m);
  double lagged = 0.0, total = 0.0;
  for (std::size_t k = 0; k < m; ++k) {
    total += (f[k] - mean) * (f[k] - mean);
    if (k + 1 < m) lagged += (f[k] - mean) * (f[k + 1] - mean);
  }
  u.residual_autocorrelation = total > 0.0 ? lagged / total : 0.0;
  const double median = Median(f);
  std::vector<double> deviations(m);
  for (std::size_t k = 0; k < m; ++k) deviations[k] = std::fabs(f[k] - median);
  u.robust_sigma = 1.4826 * Median(deviations);
  std::size_t outliers = 0;
  for (double d : deviations)
    if (d > kOutlierSigmas * u.robust_sigma) ++outliers;
  u.outlier_fraction =
      u.robust_sigma > 0.0 ? static_cast<double>(outliers) / static_cast<double>(m) : 0.0;
}

void Analyse(IterativeCal& model, const RunReport& report, FitUncertainty& u) {
  const Int32 n = model.ParameterCount();
  const Int32 m = static_cast<Int32>(report.residuals.size());
  u.residuals = m;
  u.parameters = n;
  u.radius_held = model.RadiusHeld();
  if (m <= n) {
    u.note = "no more samples than parameters: the residuals leave nothing to estimate the noise";
    return;
  }
  double S = 0.0;
  for (double f : report.residuals) S += f * f;
  u.sigma = std::sqrt(S / (m - n));

  // The Jacobian and the undamped normal matrix at the solution.
  model.GetJacobian();
  const Array2<double>& J = model.LM().Jacobian();
  const Array2<double> A = NormalMatrix(J, n, m);
  const Eigen::MatrixXd normal = Eigen::Map<const Eigen::MatrixXd>(A.Data(), n, n);
  const ParameterCovariance covariance(normal, u.sigma);
  u.rank = covariance.Rank();
  u.condition_number = covariance.Condition();

  const CoefficientLayout layout = Layout(model);
  const std::vector<std::string> names = uncertainty::ParameterNames(layout);
  u.parameter_names = names;
  u.covariance = FileUnitsCovariance(covariance.Covariance(), layout);
  const Eigen::MatrixXd& C = covariance.Covariance();
  for (int i = 0; i < 3; ++i) u.centre_u[static_cast<std::size_t>(i)] = std::sqrt(C(i, i));
  if (!u.radius_held) u.radius_u = std::sqrt(C(3, 3));

  // The deflection's uncertainty at the samples and through the range.
  const Array2<double>& readings = model.Readings();
  const DeflectionCovarianceField field(C, layout);
  std::vector<Vec3> normals;
  normals.reserve(static_cast<std::size_t>(m));
  const UncertaintyCollector at_samples = AtSamples(field, J, readings, m, &normals);
  u.at_samples = at_samples.Summary();
  u.sample_normal_u = at_samples.Normal();
  u.sample_across_u = at_samples.Across();
  u.sample_normals = normals;
  const Eigen::VectorXd fitted = Eigen::Map<const Eigen::VectorXd>(model.LM().X().Data(), n);
  u.over_range = OverRange(field, fitted, layout, Deref(model.Polynomial()), readings, m);

  // The weakest retained directions, weakest first.
  std::vector<Eigen::VectorXd> steps;
  for (int i = 0; i < n && static_cast<int>(steps.size()) < kWeakest; ++i) {
    if (!covariance.Retained(i)) continue;
    steps.push_back(covariance.SigmaStep(i));
    WeakDirection w;
    w.relative_eigenvalue = covariance.Eigenvalues()(i) / covariance.Eigenvalues()(n - 1);
    w.radius_change = u.radius_held ? 0.0 : steps.back()(3);
    u.weakest.push_back(w);
  }
  Eigen::VectorXd last_step(0);
  if (static_cast<Int32>(report.last_step.size()) == n)
    last_step = Eigen::Map<const Eigen::VectorXd>(report.last_step.data(), n);
  const SampleFigures figures =
      PassOverSamples(model, layout, fitted, last_step, steps, normals, u.weakest);
  u.deflection_mean = figures.deflection_mean;
  u.deflection_variation =
      figures.deflection_mean > 0.0 ? report.position_deviation_sd / figures.deflection_mean : 0.0;
  u.last_step_normal_change = figures.last_step_normal_change;
  u.last_step_across_change = figures.last_step_across_change;
  std::size_t w = 0;
  for (int i = 0; i < n && w < u.weakest.size(); ++i) {
    if (!covariance.Retained(i)) continue;
    uncertainty::Explain(covariance.Eigenvectors().col(i), steps[w], fitted, layout, names,
                         figures.reading_mean, u.weakest[w]);
    ++w;
  }
  ResidualFigures(report.residuals, u);
  PlaneSpread(model, normals, u);

  // With the radius held: what fitting it would have given.
  if (u.radius_held) {
    const ParameterCovariance fitted_radius(WithRadius(normal, J, m), u.sigma);
    CoefficientLayout with_radius = layout;
    with_radius.first = 4;
    const DeflectionCovarianceField field_radius(fitted_radius.Covariance(), with_radius);
    u.at_samples_radius_fitted = AtSamples(field_radius, J, readings, m, nullptr).Summary();
    u.radius_u_fitted = std::sqrt(fitted_radius.Covariance()(3, 3));
  }
  u.available = true;
}

}  // namespace

void AnalyseFit(IterativeCal& model, RunReport& report) noexcept {
  FitUncertainty& u = report.uncertainty;
  u = FitUncertainty{};
  try {
    // Faults of the analysis never reach the run or the host.
    fp::Boundary boundary;
    Analyse(model, report, u);
    fp::Check();
  } catch (const RuntimeError& e) {
    u = FitUncertainty{};
    u.note = "the uncertainty could not be computed: error " + std::to_string(e.Number()) + " (" +
             e.Description() + ")";
  } catch (...) {
    u = FitUncertainty{};
    u.note = "the uncertainty could not be computed";
  }
}

}  // namespace tavric
