#include "uncertainty/FitAnalysis.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <numeric>
#include <stdexcept>

#include "model/IterativeCal.h"
#include "polynomial/Polynome3Variables.h"
#include "runtime/CheckedMath.h"
#include "runtime/Simd.h"
#include "tavric/RunReport.h"
#include "tavric/RuntimeError.h"
#include "uncertainty/Covariance.h"
#include "uncertainty/DeflectionCovariance.h"
#include "uncertainty/WeakDirections.h"

// The vectors of the kernels below never cross a call that is not inlined
// (see runtime/Simd.h).
#pragma GCC diagnostic ignored "-Wpsabi"

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
// The levels' radii as fractions of the reach: the cube roots of 1/5, 2/5,
// ... 5/5, written out rather than computed. A call std::cbrt(level / 5.0)
// gives build-dependent bits: where the optimiser sees a constant argument
// (the first level's) the compiler evaluates it, correctly rounded, and
// elsewhere the C library does, and glibc's cbrt(0.2) is one unit in the
// last place lower. These are the C library's values, so the figures keep
// the bits they had in unoptimised builds.
constexpr double kRangeLevelRadius[kRangeLevels] = {
    0x1.2b6b5edf6b549p-1, 0x1.793eace1a3425p-1, 0x1.afd66803b2c0cp-1, 0x1.db4c7760bcff2p-1, 1.0};
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

// sums[l] = sum over the terms t of c[t * lanes + l] * m[t + 1], each lane in
// term order from 0 (lanes: a multiple of 4, at most 16).
template <class V>
[[gnu::always_inline]] inline void LaneSums(const double* c, std::size_t terms, std::size_t lanes,
                                            const double* m, double* sums) {
  constexpr auto L = static_cast<std::size_t>(simd::kLanes<V>);
  V acc[16 / L] = {};
  const std::size_t chunks = lanes / L;
  for (std::size_t t = 0; t < terms; ++t, c += lanes) {
    const double mt = m[t + 1];
    for (std::size_t k = 0; k < chunks; ++k) acc[k] = acc[k] + simd::Load<V>(c + L * k) * mt;
  }
  for (std::size_t k = 0; k < chunks; ++k) simd::Store(sums + L * k, acc[k]);
}

void LaneSumsBaseline(const double* c, std::size_t terms, std::size_t lanes, const double* m,
                      double* sums) {
  LaneSums<simd::V2>(c, terms, lanes, m, sums);
}

#ifdef TAVRIC_SIMD_AVX2
TAVRIC_TARGET_AVX2 void LaneSumsAvx2(const double* c, std::size_t terms, std::size_t lanes,
                                     const double* m, double* sums) {
  LaneSums<simd::V4>(c, terms, lanes, m, sums);
}
#endif

// The deflections of several coefficient vectors (sphere parameters first,
// then the X, Y and Z coefficients of terms 2..N) at one sample's monomials
// (terms 1..N, index 0 the constant term, which the parameters do not hold).
// Every axis of every vector is its own sum over the terms, in term order
// from 0; the sums run side by side in vector lanes (vector v, axis a in
// lane 3 v + a).
class Deflections {
 public:
  Deflections(const std::vector<const Eigen::VectorXd*>& vectors, const CoefficientLayout& layout)
      : count_(vectors.size()), terms_(static_cast<std::size_t>(layout.Terms() - 1)) {
    lanes_ = (3 * count_ + 3) / 4 * 4;
    if (lanes_ > kMaxLanes) throw std::length_error("Deflections: too many vectors");
    coefficients_.assign(terms_ * lanes_, 0.0);
    for (std::size_t v = 0; v < count_; ++v)
      for (int a = 0; a < 3; ++a)
        for (std::size_t t = 0; t < terms_; ++t)
          coefficients_[t * lanes_ + 3 * v + static_cast<std::size_t>(a)] =
              (*vectors[v])(layout.Index(a, static_cast<int>(t) + 2));
  }

  // out[v] = the deflection of vector v at the monomials.
  void At(const double* monomials, Vec3* out) const {
    double sums[kMaxLanes];
#ifdef TAVRIC_SIMD_AVX2
    if (simd::Active() == simd::Isa::kAvx2)
      LaneSumsAvx2(coefficients_.data(), terms_, lanes_, monomials, sums);
    else
#endif
      LaneSumsBaseline(coefficients_.data(), terms_, lanes_, monomials, sums);
    for (std::size_t v = 0; v < count_; ++v)
      for (std::size_t a = 0; a < 3; ++a) out[v][a] = sums[3 * v + a];
  }

 private:
  static constexpr std::size_t kMaxLanes = 16;
  std::size_t count_, terms_, lanes_ = 0;
  std::vector<double> coefficients_;  // term by term, one per lane
};

// The monomials of sample k (1-based): the model's table, or formed here
// when the model has none.
const double* SampleMonomials(const IterativeCal& model, Int32 k, Array1<double>& scratch) {
  if (const double* m = model.TableMonomials(k)) return m;
  const Array2<double>& r = model.Readings();
  Deref(model.Polynomial()).PowerInto(r(1, k), r(2, k), r(3, k), scratch);
  return scratch.Data();
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

// The deflection uncertainty at every sample, split along its outward normal.
UncertaintyCollector AtSamples(const DeflectionCovarianceField& field,
                               const std::vector<Vec3>& normals, const Array2<double>& readings,
                               Int32 m) {
  // A chunk of samples at a time (a multiple of the vector lanes, so that
  // only the last chunk has readings left over), split while still in cache.
  constexpr std::size_t kChunk = 256;
  std::array<uncertainty::Mat3, kChunk> covariances;
  const auto count = static_cast<std::size_t>(m);
  UncertaintyCollector collector(count);
  for (std::size_t first = 0; first < count; first += kChunk) {
    const std::size_t chunk = std::min(kChunk, count - first);
    field.AtEach(readings.Data() + 3 * first, chunk, covariances.data());
    for (std::size_t k = 0; k < chunk; ++k)
      collector.Add(uncertainty::Split(covariances[k], normals[first + k]));
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
  std::vector<double> points;  // p, q, r of each point
  points.reserve(3 * kRangeDirections * kRangeLevels);
  const double golden = std::numbers::pi * (3.0 - std::sqrt(5.0));
  for (int i = 0; i < kRangeDirections; ++i) {
    const double z = 1.0 - (2.0 * i + 1.0) / kRangeDirections;
    const double ring = std::sqrt(1.0 - z * z);
    const Vec3 u = {ring * std::cos(golden * i), ring * std::sin(golden * i), z};
    for (const double level : kRangeLevelRadius) {
      const double radius = reach * level;
      for (double c : u) points.push_back(radius * c);
    }
  }
  const std::size_t count = points.size() / 3;
  std::vector<uncertainty::Mat3> covariances(count);
  field.AtEach(points.data(), count, covariances.data());
  const Deflections deflection({&fitted}, layout);
  Array1<double> monomials(1, poly.TermCount());
  UncertaintyCollector collector(count);
  for (std::size_t i = 0; i < count; ++i) {
    const double* r = points.data() + 3 * i;
    poly.PowerInto(r[0], r[1], r[2], monomials);
    Vec3 d;
    deflection.At(monomials.Data(), &d);
    const double size = Norm(d);
    if (!(size > 0.0)) continue;
    const Vec3 along = {d[0] / size, d[1] / size, d[2] / size};
    collector.Add(uncertainty::Split(covariances[i], along));
  }
  return collector.Summary();
}

// The normal matrix had the radius been fitted: the radius's Jacobian row is
// -1 for every sample, inserted as parameter 4. Its products with row i sum
// to minus the sum of row i (`row_sums`: the sums of the Jacobian's rows,
// negated, each in sample order).
Eigen::MatrixXd WithRadius(const Eigen::MatrixXd& A, const Array1<double>& row_sums, Int32 m) {
  const Eigen::Index n = A.rows();
  Eigen::MatrixXd B(n + 1, n + 1);
  const auto old = [](Eigen::Index i) { return i < 3 ? i : i + 1; };
  for (Eigen::Index i = 0; i < n; ++i)
    for (Eigen::Index j = 0; j < n; ++j) B(old(i), old(j)) = A(i, j);
  for (Eigen::Index i = 0; i < n; ++i)
    B(old(i), 3) = B(3, old(i)) = row_sums(static_cast<Int32>(i + 1));
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
  // The deflections of the fitted parameters, the last step (when there is
  // one) and the weak directions' steps, in that order.
  const bool with_last_step = last_step.size() == fitted.size();
  std::vector<const Eigen::VectorXd*> vectors = {&fitted};
  if (with_last_step) vectors.push_back(&last_step);
  for (const Eigen::VectorXd& step : steps) vectors.push_back(&step);
  const Deflections deflections(vectors, layout);
  const std::size_t first_step = with_last_step ? 2 : 1;
  std::vector<Vec3> d(vectors.size());
  Array1<double> scratch(1, Deref(model.Polynomial()).TermCount());

  std::vector<double> normal_ss(steps.size(), 0.0), across_ss(steps.size(), 0.0);
  SampleFigures figures;
  for (Int32 k = 1; k <= m; ++k) {
    const Vec3 r = {readings(1, k), readings(2, k), readings(3, k)};
    figures.reading_mean += Norm(r) / m;
    deflections.At(SampleMonomials(model, k, scratch), d.data());
    figures.deflection_mean += Norm(d[0]) / m;
    const Vec3& n = normals[static_cast<std::size_t>(k - 1)];
    if (with_last_step) {
      const auto [along, across] = AlongAndAcross(d[1], n);
      figures.last_step_normal_change = std::max(figures.last_step_normal_change, std::fabs(along));
      figures.last_step_across_change = std::max(figures.last_step_across_change, across);
    }
    for (std::size_t i = 0; i < steps.size(); ++i) {
      const Vec3& step = d[first_step + i];
      const auto [along, across] = AlongAndAcross(step, n);
      normal_ss[i] += along * along;
      across_ss[i] += across * across;
      weak[i].max = std::max(weak[i].max, Norm(step));
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

  // The undamped normal matrix at the solution, and minus the sums of the
  // Jacobian's rows: the descent vector of residuals that are all 1.
  Array1<double> ones(1, m);
  std::fill(ones.Data(), ones.Data() + m, 1.0);
  Array2<double> A;
  Array1<double> row_sums;
  model.NormalEquationsAt(ones, A, row_sums);
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
  for (Int32 k = 1; k <= m; ++k) normals.push_back(model.OutwardNormal(k));
  const UncertaintyCollector at_samples = AtSamples(field, normals, readings, m);
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
    const ParameterCovariance fitted_radius(WithRadius(normal, row_sums, m), u.sigma);
    CoefficientLayout with_radius = layout;
    with_radius.first = 4;
    const DeflectionCovarianceField field_radius(fitted_radius.Covariance(), with_radius);
    u.at_samples_radius_fitted = AtSamples(field_radius, normals, readings, m).Summary();
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
