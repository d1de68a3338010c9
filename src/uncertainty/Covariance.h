// Covariance of least-squares parameters, from the normal matrix J^T J.
//
// The columns are scaled to unit length first (d_j = 1 / sqrt(A_jj)), so that
// the eigen-decomposition of the scaled matrix D A D compares parameters of
// very different units on equal terms; directions whose scaled eigenvalue is
// below n * eps * the largest are numerically undetermined and are left out
// of the pseudo-inverse (they lower `rank`). Then
//   C = sigma^2 D V L^+ V^T D.
// Eigen's self-adjoint eigensolver does the decomposition.
#pragma once

#include <Eigen/Dense>

namespace tavric::uncertainty {

class ParameterCovariance {
 public:
  // A: the normal matrix (n x n, symmetric); sigma: the residual's standard
  // deviation.
  ParameterCovariance(const Eigen::MatrixXd& A, double sigma);

  int Size() const noexcept { return static_cast<int>(scale_.size()); }
  int Rank() const noexcept { return rank_; }
  // Largest over smallest retained eigenvalue of the scaled matrix.
  double Condition() const noexcept { return condition_; }
  const Eigen::MatrixXd& Covariance() const noexcept { return covariance_; }

  // Scaled eigenvalues, ascending, and their unit eigenvectors (columns).
  const Eigen::VectorXd& Eigenvalues() const noexcept { return values_; }
  const Eigen::MatrixXd& Eigenvectors() const noexcept { return vectors_; }
  bool Retained(int i) const noexcept { return values_(i) > threshold_; }
  // The change of the (unscaled) parameters for one standard uncertainty
  // along retained eigenvector i: sigma / sqrt(lambda_i) D v_i.
  Eigen::VectorXd SigmaStep(int i) const;

 private:
  Eigen::VectorXd scale_;
  Eigen::VectorXd values_;
  Eigen::MatrixXd vectors_;
  Eigen::MatrixXd covariance_;
  double sigma_ = 0.0;
  double threshold_ = 0.0;
  double condition_ = 0.0;
  int rank_ = 0;
};

}  // namespace tavric::uncertainty
