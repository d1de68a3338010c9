#include "uncertainty/DeflectionCovariance.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "runtime/Simd.h"

// The vectors of the kernel below never cross a call that is not inlined
// (see runtime/Simd.h).
#pragma GCC diagnostic ignored "-Wpsabi"

namespace tavric::uncertainty {
namespace {

// The axis pairs of the symmetric 3 x 3 covariance, in storage order.
constexpr std::array<std::array<int, 2>, 6> kPairs = {
    {{0, 0}, {0, 1}, {0, 2}, {1, 1}, {1, 2}, {2, 2}}};

double NonNegative(double variance) { return variance > 0.0 ? variance : 0.0; }

// At for kLanes<V> readings at once, lane l holding reading l: the powers by
// running products, each monomial (pp * pq) * pr, and every axis pair's sum
// over the monomials in their order, exactly as At forms them.
template <class V>
[[gnu::always_inline]] inline void AtLanes(const std::vector<std::array<int, 3>>& monomials,
                                           const std::array<std::vector<double>, 6>& coefficients,
                                           int max_power, const double* readings, Mat3* out) {
  constexpr int L = simd::kLanes<V>;
  V p, q, r;
  for (int l = 0; l < L; ++l) {
    p[l] = readings[3 * l];
    q[l] = readings[3 * l + 1];
    r[l] = readings[3 * l + 2];
  }
  V pp[16], pq[16], pr[16];
  pp[0] = pq[0] = pr[0] = V{} + 1.0;
  for (int e = 1; e <= max_power; ++e) {
    pp[e] = pp[e - 1] * p;
    pq[e] = pq[e - 1] * q;
    pr[e] = pr[e - 1] * r;
  }
  V sums[6] = {};
  for (std::size_t u = 0; u < monomials.size(); ++u) {
    const auto& e = monomials[u];
    const V value = pp[e[0]] * pq[e[1]] * pr[e[2]];
#pragma GCC unroll 6
    for (std::size_t pair = 0; pair < 6; ++pair)
      sums[pair] = sums[pair] + coefficients[pair][u] * value;
  }
  for (int l = 0; l < L; ++l)
    for (std::size_t pair = 0; pair < kPairs.size(); ++pair) {
      const auto a = static_cast<std::size_t>(kPairs[pair][0]);
      const auto b = static_cast<std::size_t>(kPairs[pair][1]);
      out[l][a][b] = out[l][b][a] = sums[pair][l];
    }
}

template <class V>
[[gnu::always_inline]] inline std::size_t AtEachBody(
    const std::vector<std::array<int, 3>>& monomials,
    const std::array<std::vector<double>, 6>& coefficients, int max_power, const double* readings,
    std::size_t count, Mat3* out) {
  constexpr auto L = static_cast<std::size_t>(simd::kLanes<V>);
  std::size_t i = 0;
  for (; i + L <= count; i += L)
    AtLanes<V>(monomials, coefficients, max_power, readings + 3 * i, out + i);
  return i;
}

std::size_t AtEachBaseline(const std::vector<std::array<int, 3>>& monomials,
                           const std::array<std::vector<double>, 6>& coefficients, int max_power,
                           const double* readings, std::size_t count, Mat3* out) {
  return AtEachBody<simd::V2>(monomials, coefficients, max_power, readings, count, out);
}

#ifdef TAVRIC_SIMD_AVX2
TAVRIC_TARGET_AVX2 std::size_t AtEachAvx2(const std::vector<std::array<int, 3>>& monomials,
                                          const std::array<std::vector<double>, 6>& coefficients,
                                          int max_power, const double* readings, std::size_t count,
                                          Mat3* out) {
  return AtEachBody<simd::V4>(monomials, coefficients, max_power, readings, count, out);
}
#endif

}  // namespace

DeflectionCovarianceField::DeflectionCovarianceField(const Eigen::MatrixXd& covariance,
                                                     const CoefficientLayout& layout) {
  const int terms = layout.Terms();
  std::map<std::array<int, 3>, std::size_t> index;
  for (int s = 2; s <= terms; ++s) {
    for (int t = 2; t <= terms; ++t) {
      const auto& ps = layout.powers[static_cast<std::size_t>(s - 1)];
      const auto& pt = layout.powers[static_cast<std::size_t>(t - 1)];
      const std::array<int, 3> product = {ps[0] + pt[0], ps[1] + pt[1], ps[2] + pt[2]};
      auto [it, inserted] = index.try_emplace(product, monomials_.size());
      if (inserted) {
        monomials_.push_back(product);
        for (auto& c : coefficients_) c.push_back(0.0);
        max_power_ = std::max({max_power_, product[0], product[1], product[2]});
      }
      for (std::size_t pair = 0; pair < kPairs.size(); ++pair) {
        const int a = kPairs[pair][0];
        const int b = kPairs[pair][1];
        coefficients_[pair][it->second] += covariance(layout.Index(a, s), layout.Index(b, t));
      }
    }
  }
}

Mat3 DeflectionCovarianceField::At(double p, double q, double r) const {
  std::array<double, 16> pp{}, pq{}, pr{};
  pp[0] = pq[0] = pr[0] = 1.0;
  for (int e = 1; e <= max_power_; ++e) {
    pp[static_cast<std::size_t>(e)] = pp[static_cast<std::size_t>(e - 1)] * p;
    pq[static_cast<std::size_t>(e)] = pq[static_cast<std::size_t>(e - 1)] * q;
    pr[static_cast<std::size_t>(e)] = pr[static_cast<std::size_t>(e - 1)] * r;
  }
  std::array<double, 6> sums{};
  for (std::size_t u = 0; u < monomials_.size(); ++u) {
    const auto& e = monomials_[u];
    const double value = pp[static_cast<std::size_t>(e[0])] * pq[static_cast<std::size_t>(e[1])] *
                         pr[static_cast<std::size_t>(e[2])];
    for (std::size_t pair = 0; pair < sums.size(); ++pair)
      sums[pair] += coefficients_[pair][u] * value;
  }
  Mat3 cov{};
  for (std::size_t pair = 0; pair < kPairs.size(); ++pair) {
    const auto a = static_cast<std::size_t>(kPairs[pair][0]);
    const auto b = static_cast<std::size_t>(kPairs[pair][1]);
    cov[a][b] = cov[b][a] = sums[pair];
  }
  return cov;
}

void DeflectionCovarianceField::AtEach(const double* readings, std::size_t count, Mat3* out) const {
  std::size_t done = 0;
#ifdef TAVRIC_SIMD_AVX2
  if (simd::Active() == simd::Isa::kAvx2)
    done = AtEachAvx2(monomials_, coefficients_, max_power_, readings, count, out);
  else
#endif
    done = AtEachBaseline(monomials_, coefficients_, max_power_, readings, count, out);
  for (std::size_t i = done; i < count; ++i)
    out[i] = At(readings[3 * i], readings[3 * i + 1], readings[3 * i + 2]);
}

DirectionalUncertainty Split(const Mat3& c, const Vec3& n) {
  DirectionalUncertainty u;
  for (std::size_t a = 0; a < 3; ++a) u.axes[a] = std::sqrt(NonNegative(c[a][a]));
  // Along n: n^T C n.
  Vec3 cn{};
  for (std::size_t a = 0; a < 3; ++a) cn[a] = c[a][0] * n[0] + c[a][1] * n[1] + c[a][2] * n[2];
  const double along = n[0] * cn[0] + n[1] * cn[1] + n[2] * cn[2];
  u.normal = std::sqrt(NonNegative(along));
  // Across n: T = P C P with P = I - n n^T has n as an eigenvector of
  // eigenvalue 0; its other two eigenvalues have the sum tr(T) and the
  // product equal to the sum of T's principal 2 x 2 minors.
  Mat3 t{};
  for (std::size_t a = 0; a < 3; ++a)
    for (std::size_t b = 0; b < 3; ++b)
      t[a][b] = c[a][b] - n[a] * cn[b] - cn[a] * n[b] + n[a] * n[b] * along;
  const double trace = t[0][0] + t[1][1] + t[2][2];
  const double minors = t[0][0] * t[1][1] - t[0][1] * t[1][0] + t[0][0] * t[2][2] -
                        t[0][2] * t[2][0] + t[1][1] * t[2][2] - t[1][2] * t[2][1];
  const double discriminant = NonNegative(trace * trace - 4.0 * minors);
  u.across = std::sqrt(NonNegative(0.5 * (trace + std::sqrt(discriminant))));
  return u;
}

Spread Summarise(std::vector<double> values) {
  Spread s;
  if (values.empty()) return s;
  // Nearest rank: the smallest value with at least `fraction` of the values
  // at or below it. Selection finds the same order statistics as a full
  // sort would (the values are never -0, so equal values have equal bits).
  const auto rank = [&](double fraction) {
    const auto k =
        static_cast<std::size_t>(std::ceil(fraction * static_cast<double>(values.size())));
    return std::clamp<std::size_t>(k, 1, values.size()) - 1;
  };
  const std::size_t p95 = rank(0.95);
  const std::size_t median = rank(0.5);
  const auto first = values.begin();
  std::nth_element(first, first + static_cast<std::ptrdiff_t>(p95), values.end());
  s.p95 = values[p95];
  s.max = *std::max_element(first + static_cast<std::ptrdiff_t>(p95), values.end());
  std::nth_element(first, first + static_cast<std::ptrdiff_t>(median),
                   first + static_cast<std::ptrdiff_t>(p95));
  s.median = median < p95 ? values[median] : s.p95;
  return s;
}

UncertaintyCollector::UncertaintyCollector(std::size_t expected) {
  normal_.reserve(expected);
  across_.reserve(expected);
  for (auto& a : axes_) a.reserve(expected);
}

void UncertaintyCollector::Add(const DirectionalUncertainty& u) {
  normal_.push_back(u.normal);
  across_.push_back(u.across);
  for (std::size_t a = 0; a < 3; ++a) axes_[a].push_back(u.axes[a]);
}

DeflectionUncertainty UncertaintyCollector::Summary() const {
  DeflectionUncertainty d;
  d.points = static_cast<int>(normal_.size());
  d.normal = Summarise(normal_);
  d.across = Summarise(across_);
  d.x = Summarise(axes_[0]);
  d.y = Summarise(axes_[1]);
  d.z = Summarise(axes_[2]);
  return d;
}

}  // namespace tavric::uncertainty
