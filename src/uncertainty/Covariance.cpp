#include "uncertainty/Covariance.h"

#include <cmath>
#include <limits>

namespace tavric::uncertainty {

ParameterCovariance::ParameterCovariance(const Eigen::MatrixXd& A, double sigma) : sigma_(sigma) {
  const Eigen::Index n = A.rows();
  scale_.resize(n);
  for (Eigen::Index j = 0; j < n; ++j) {
    // A parameter no residual depends on keeps scale 1 and a zero eigenvalue.
    scale_(j) = A(j, j) > 0.0 ? 1.0 / std::sqrt(A(j, j)) : 1.0;
  }
  const Eigen::MatrixXd scaled = scale_.asDiagonal() * A * scale_.asDiagonal();
  const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> solver(scaled);
  values_ = solver.eigenvalues();
  vectors_ = solver.eigenvectors();

  const double largest = n > 0 ? values_(n - 1) : 0.0;
  threshold_ = static_cast<double>(n) * std::numeric_limits<double>::epsilon() * largest;
  Eigen::MatrixXd factor(n, n);  // columns: D v_i / sqrt(lambda_i) for retained i
  factor.setZero();
  double smallest = largest;
  for (Eigen::Index i = 0; i < n; ++i) {
    if (!(values_(i) > threshold_)) continue;
    ++rank_;
    smallest = std::min(smallest, values_(i));
    factor.col(i) = scale_.asDiagonal() * vectors_.col(i) / std::sqrt(values_(i));
  }
  condition_ = rank_ > 0 ? largest / smallest : 0.0;
  covariance_ = (sigma_ * sigma_) * (factor * factor.transpose());
}

Eigen::VectorXd ParameterCovariance::SigmaStep(int i) const {
  return scale_.asDiagonal() * vectors_.col(i) * (sigma_ / std::sqrt(values_(i)));
}

}  // namespace tavric::uncertainty
