// Levenberg_Marquardt: a generic damped least-squares optimiser.
//
// It minimises S(x) = sum of f_i(x)^2 over a parameter vector x (1 To n)
// whose m residuals and Jacobian come from a model implementing LMModel. The
// optimiser knows nothing of probes or spheres. Its damping (Mu, nu), limits
// (IterationMaxNumber, ConvergenceDetectionMethod) and fit statistics (FitRMS,
// FitMin, FitMax) live in the per-thread project state; destroying an
// optimiser resets Mu and nu to their defaults.
#pragma once

#include <string>

#include "runtime/Narrow.h"
#include "tavric/BoundedArray.h"

namespace tavric {

class Levenberg_Marquardt;

// J^T J of a Jacobian stored as J(parameter j, residual i), (1 To n, 1 To m):
// the symmetric (1 To n, 1 To n) matrix whose element (i, j) is the sum over
// k = 1..m of J(i, k) * J(j, k), accumulated in increasing k.
Array2<double> NormalMatrix(const Array2<double>& J, Int32 n, Int32 m);

// The three events a model answers.
class LMModel {
 public:
  virtual ~LMModel() = default;
  // Evaluate the residuals at x; store them with fi(...) when which is 0
  // (the start point), with fip1(...) otherwise (a trial point).
  virtual void Getfi(Int16& which, Array1<double>& x) = 0;
  // Compute the Jacobian at the point of the latest Getfi and store it with
  // Jacobian(...), as Jacobian(parameter j, residual i).
  virtual void GetJacobian() = 0;
  // Decide convergence from the proposed step and the gradient norm; set
  // SmalldX(...) and SmallGradient(...).
  virtual void GetTol(Array1<double>& Dx, double& GradientNorm) = 0;
};

class Levenberg_Marquardt {
 public:
  explicit Levenberg_Marquardt(LMModel& model);
  ~Levenberg_Marquardt();
  Levenberg_Marquardt(const Levenberg_Marquardt&) = delete;
  Levenberg_Marquardt& operator=(const Levenberg_Marquardt&) = delete;

  // Runs the optimisation from x (1 To n); on success x holds the optimum.
  // Returns "OK" or a failure text; never throws.
  std::string Optimize(Array1<double>& x);

  const Array2<double>& Jacobian() const noexcept { return jacobian_; }
  void Jacobian(const Array2<double>& value) { jacobian_ = value; }
  void Jacobian(Array2<double>&& value) noexcept { jacobian_ = std::move(value); }

  const Array1<double>& fi() const noexcept { return fi_; }
  void fi(const Array1<double>& value);
  void fi(Array1<double>&& value);

  const Array1<double>& fip1() const noexcept { return fip1_; }
  void fip1(const Array1<double>& value) { fip1_ = value; }
  void fip1(Array1<double>&& value) noexcept { fip1_ = std::move(value); }

  const Array1<double>& X() const noexcept { return x_; }
  void X(const Array1<double>& value);

  const Array1<double>& Dx() const noexcept { return dx_; }
  void Dx(const Array1<double>& value) { dx_ = value; }

  bool SmalldX() const noexcept { return small_dx_; }
  void SmalldX(bool value) noexcept { small_dx_ = value; }
  bool SmallGradient() const noexcept { return small_gradient_; }
  void SmallGradient(bool value) noexcept { small_gradient_ = value; }

 private:
  // Fit statistics of the residual vector r (1 To m): sets the shared FitMin,
  // FitMax (signed) and FitRMS and returns the sum of squares.
  double Statistics(const Array1<double>& r);
  // J^T J of the Jacobian (n x m): (1 To n, 1 To n), symmetric.
  Array2<double> NormalMatrix(const Array2<double>& J) const;
  // -J^T f: (1 To n).
  Array1<double> DescentVector(const Array2<double>& J, const Array1<double>& f) const;

  LMModel& model_;
  Array2<double> jacobian_;
  Array1<double> fi_;
  Array1<double> fip1_;
  Array1<double> x_;
  Array1<double> dx_;
  bool small_dx_ = false;
  bool small_gradient_ = false;
  Int16 n_ = 0;
  Int16 m_ = 0;
};

}  // namespace tavric
