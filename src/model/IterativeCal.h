// IterativeCal: the calibration model that the optimiser fits.
//
// Parameters: the sphere centre (1..3) and radius (4), then the X, Y and Z
// coefficients of every polynomial term but the constant one (which holds
// the probe offsets and is never fitted): M = 4 + 3(n - 1) for n terms.
// When the context holds the radius at a known value (an option of the
// modern API), the radius is not a parameter: the coefficients start at 4
// and M = 3 + 3(n - 1).
// Residual of sample k: the distance of the deflected point (machine
// position + polynomial deflection) from the sphere centre, minus the radius.
// The model works in thousands of counts: readings are offset-corrected and
// divided by 1000, and the first-order terms are seeded times 1000.
//
// Speed: the residuals and the normal equations run through vector kernels
// (model/ModelKernels.h, solvers/NormalEquations.h) that give the same bits
// as the plain loops kept here (ResidualsReference, GetJacobian): the
// monomials of the fixed readings are formed once per run, the Jacobian is
// formed block by block and summed into J^T J at once instead of being
// stored, and nothing is allocated per evaluation. The kernels check for
// floating-point faults once at their end; when one shows, the plain loops
// run instead and raise exactly what they always raised.
#pragma once

#include <array>
#include <memory>
#include <string>

#include "runtime/Narrow.h"
#include "runtime/ObjectRef.h"
#include "runtime/Simd.h"
#include "solvers/Levenberg_Marquardt.h"
#include "solvers/NormalEquations.h"
#include "tavric/BoundedArray.h"

namespace tavric {

class Matrix33;
class Polynome3Variables;

class IterativeCal : public LMModel {
 public:
  IterativeCal();
  ~IterativeCal() override;

  // Sizes the working polynomial for `Order`, seeds its first-order terms
  // from M0 (x 1000), prepares the readings ((Offsets(i) + raw) / 1000).
  // Returns "OK" or "Iterate INIT error n°<number> : <description>".
  std::string INIT(const Array2<double>& Data, Byte Order, Matrix33& M0,
                   const Array1<double>& Offsets);

  // Packs sphere and coefficients into the parameter vector and runs the
  // optimiser. Returns its text, "Iterate error : initialisation not done."
  // before a successful INIT, or "Iterate error n°<number> : <description>".
  std::string Iterate();

  // The working polynomial (the fitted one after Iterate).
  const Ref<Polynome3Variables>& Polynomial() const noexcept { return poly_; }
  // Hands the working polynomial over and clears the model's reference.
  Ref<Polynome3Variables> TakePolynomial() noexcept { return std::move(poly_); }

  // Number of parameters M, and of sphere parameters among them (4, or 3
  // with the radius held).
  Int16 ParameterCount() const noexcept { return m_; }
  Int16 SphereParameterCount() const noexcept { return sphere_params_; }
  bool RadiusHeld() const noexcept { return sphere_params_ == 3; }

  // The corrected readings in thousands of counts (1 To 3, 1 To N), and the
  // machine position of sample k (1-based) in the data.
  const Array2<double>& Readings() const noexcept { return readings_; }
  double Position(Int32 axis, Int32 k) const {
    return data_(data_.LBound(1) + 2 + axis, data_.LBound(2) + k - 1);
  }
  bool Initialised() const noexcept { return initialised_; }

  // The packed parameter vector of the current sphere and polynomial, and
  // its inverse (sphere and working polynomial set from X).
  Array1<double> Pack();
  void Unpack(const Array1<double>& X);

  // The optimiser's events.
  void Getfi(Int16& which, Array1<double>& X) override;
  // The stored Jacobian, by the plain loop.
  void GetJacobian() override;
  void GetTol(Array1<double>& Dx, double& GradientNorm) override;
  // J^T J and -J^T f at the point of the latest Getfi by the kernels, without
  // storing the Jacobian; false when they cannot run or saw a fault.
  bool FormNormalEquations(const Array1<double>& f, Array2<double>& A, Array1<double>& g) override;

  // The same, falling back to the stored Jacobian and the plain loops (which
  // raise any fault).
  void NormalEquationsAt(const Array1<double>& f, Array2<double>& A, Array1<double>& g);
  // The monomials of sample k (1-based) as the kernels use them (the
  // polynomial's Power at its readings), or null when the table was not
  // built.
  const double* TableMonomials(Int32 k) const;
  // The outward unit normal of sample k (1-based) at the point of the latest
  // Getfi: minus the centre rows of its Jacobian column.
  std::array<double, 3> OutwardNormal(Int32 k) const;

  Levenberg_Marquardt& LM() noexcept { return *lm_; }

  // The plain residual loop (the polynomial's Value per sample, checked at
  // every sample) into `f` (1 To N); the reference of the residual kernel.
  void ResidualsReference(Array1<double>& f);

 private:
  // The residuals into residuals_ by the kernel; false when it cannot run or
  // saw a fault.
  bool ResidualsFast();
  // Builds the kernels' tables at the first evaluation; false when the
  // monomials overflow (the plain loops then run and raise).
  bool MonomialTable();

  std::unique_ptr<Levenberg_Marquardt> lm_;
  Ref<Polynome3Variables> poly_;
  Array2<double> data_;       // copy of the calibration data
  Array2<double> readings_;   // (1 To 3, 1 To N): corrected readings / 1000
  Array2<double> work_;       // (1 To 4, 1 To N): w1, w2, w3, w4 of the last evaluation
  Array1<double> powers_;     // monomial values of one sample (1 To n)
  Array1<double> residuals_;  // filled by Getfi, then exchanged with the optimiser's
  // The kernels' tables: the monomials of every sample (TermCount() per
  // sample), the readings and positions as one array per field (P, Q, R,
  // X, Y, Z, samples_ each) and the coefficients (X, Y, Z, 0 per term).
  enum class Table { kNotBuilt, kBuilt, kOverflows };
  Table table_ = Table::kNotBuilt;
  simd::AlignedVector<double> monomials_;
  simd::AlignedVector<double> columns_;
  simd::AlignedVector<double> coefficients_;
  NormalEquations normal_;
  Int16 samples_ = 0;
  Int16 m_ = 0;
  Int16 sphere_params_ = 4;
  double held_radius_ = 0.0;
  bool initialised_ = false;
};

}  // namespace tavric
