// The calibration model's per-sample loops, in vector form (see
// runtime/Simd.h for why they give the same bits as the plain loops of
// IterativeCal and with every instruction set).
//
// The residuals run four samples side by side (one per lane of a vector),
// forming each sample's monomials by the running products of
// Polynome3Variables::Value. The Jacobian forms the monomials of a block of
// samples the same way (Polynome3Variables::Monomials) from the readings,
// which stream from memory faster than a table of every sample's monomials.
#pragma once

#include <cstddef>

#include "runtime/Simd.h"

namespace tavric::kernels {

// What the residual loop reads for samples 0..count-1.
struct ResidualInputs {
  int order = 0;  // of the polynomial: (order + 1)(order + 2)(order + 3) / 6 terms
  // The polynomial's coefficients, 4 per term: X, Y, Z and a zero.
  const double* coefficients = nullptr;
  // Sample k's readings (P, Q, R, thousands of counts) and machine position
  // (X, Y, Z, mm): p[k], q[k], r[k], x[k], y[k], z[k].
  const double *p = nullptr, *q = nullptr, *r = nullptr;
  const double *x = nullptr, *y = nullptr, *z = nullptr;
  double centre[3] = {0.0, 0.0, 0.0};
  double radius = 0.0;
  int count = 0;
};

// For each sample: the deflection d (per axis the sum over the terms of
// monomial times coefficient, in term order, the monomials by the running
// products of Polynome3Variables::Value), w = (d + position) - centre
// per axis, w4 = sqrt((w1 w1 + w2 w2) + w3 w3), and the residual w4 - radius.
// Writes w1, w2, w3, w4 to work (4 per sample) and the residual to f.
// Faults are left in the floating-point flags.
void Residuals(simd::Isa isa, const ResidualInputs& in, double* work, double* f);

// What the Jacobian loop reads for the samples of a block.
struct JacobianInputs {
  int order = 0;  // of the polynomial
  int terms = 0;  // (order + 1)(order + 2)(order + 3) / 6
  // The samples' readings (thousands of counts), from the block's first.
  const double *p = nullptr, *q = nullptr, *r = nullptr;
  // w1, w2, w3, w4 of each sample (4 per sample, as Residuals writes them).
  const double* work = nullptr;
  bool radius_fitted = true;
  // Room for `terms` monomials of every sample of the block.
  double* scratch = nullptr;
};

// The Jacobian columns of samples 0..count-1, column k at columns + k * ld:
// j_a = -w_a / w4 for the centre (rows 0..2), -1 for the radius when it is
// fitted (row 3), then -j_a * monomial t for the X, Y and Z coefficients of
// terms 2..terms (after the sphere rows). Faults are left in the flags.
void JacobianColumns(simd::Isa isa, const JacobianInputs& in, int count, double* columns,
                     std::size_t ld);

}  // namespace tavric::kernels
