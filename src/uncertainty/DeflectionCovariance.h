// The covariance of the deflection a fitted polynomial gives, as a function
// of the readings.
//
// Deflection axis a is sum over the terms t of c(a, t) m_t(r), with m_t the
// monomials of the readings r. With C the covariance of the coefficients,
//   Cov(d_a, d_b)(r) = sum over s, t of C(c(a, s), c(b, t)) m_s(r) m_t(r),
// a polynomial of twice the order in r. Its coefficients are collected once,
// so that each reading costs one evaluation of about 80 monomials per axis
// pair instead of a quadratic form in 19-vectors.
#pragma once

#include <Eigen/Dense>
#include <array>
#include <vector>

#include "tavric/Uncertainty.h"

namespace tavric::uncertainty {

using Vec3 = std::array<double, 3>;
using Mat3 = std::array<Vec3, 3>;

// Where the coefficients sit in the parameter vector: the sphere parameters
// first, then the X coefficients of terms 2..N, the Y ones, the Z ones.
struct CoefficientLayout {
  int first = 4;  // 0-based index of the first coefficient (3 with the radius held)
  // Powers of P, Q, R of terms 1..N (element 0: the constant term).
  std::vector<std::array<int, 3>> powers;

  int Terms() const noexcept { return static_cast<int>(powers.size()); }
  // Index of the coefficient of output axis a (0..2) for term t (2..N).
  int Index(int axis, int term) const noexcept { return first + axis * (Terms() - 1) + term - 2; }
};

class DeflectionCovarianceField {
 public:
  DeflectionCovarianceField(const Eigen::MatrixXd& covariance, const CoefficientLayout& layout);

  // The 3 x 3 covariance of the deflection at the readings (p, q, r), in the
  // units of the parameters the covariance belongs to.
  Mat3 At(double p, double q, double r) const;

 private:
  std::vector<std::array<int, 3>> monomials_;  // powers of the products m_s m_t
  // For each axis pair (xx, xy, xz, yy, yz, zz): one coefficient per monomial.
  std::array<std::vector<double>, 6> coefficients_;
  int max_power_ = 0;
};

// Standard uncertainties of one deflection: along the unit direction n, the
// largest across it, and along the axes.
struct DirectionalUncertainty {
  double normal = 0.0;
  double across = 0.0;
  Vec3 axes{0.0, 0.0, 0.0};
};

DirectionalUncertainty Split(const Mat3& covariance, const Vec3& n);

// Largest value, 95th percentile and median (nearest rank) of the values.
Spread Summarise(std::vector<double> values);

// Collects the split uncertainties of a set of points into a summary.
class UncertaintyCollector {
 public:
  explicit UncertaintyCollector(std::size_t expected = 0);
  void Add(const DirectionalUncertainty& u);
  DeflectionUncertainty Summary() const;
  const std::vector<double>& Normal() const noexcept { return normal_; }
  const std::vector<double>& Across() const noexcept { return across_; }

 private:
  std::vector<double> normal_, across_;
  std::array<std::vector<double>, 3> axes_;
};

}  // namespace tavric::uncertainty
