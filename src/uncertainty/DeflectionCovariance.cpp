#include "uncertainty/DeflectionCovariance.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace tavric::uncertainty {
namespace {

// The axis pairs of the symmetric 3 x 3 covariance, in storage order.
constexpr std::array<std::array<int, 2>, 6> kPairs = {
    {{0, 0}, {0, 1}, {0, 2}, {1, 1}, {1, 2}, {2, 2}}};

double NonNegative(double variance) { return variance > 0.0 ? variance : 0.0; }

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
  std::sort(values.begin(), values.end());
  const auto rank = [&](double fraction) {
    // Nearest rank: the smallest value with at least `fraction` of the values
    // at or below it.
    const auto k =
        static_cast<std::size_t>(std::ceil(fraction * static_cast<double>(values.size())));
    return values[std::clamp<std::size_t>(k, 1, values.size()) - 1];
  };
  s.max = values.back();
  s.p95 = rank(0.95);
  s.median = rank(0.5);
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
