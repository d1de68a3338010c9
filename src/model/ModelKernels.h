// The calibration model's per-sample loops, in vector form (see
// runtime/Simd.h for why they give the same bits as the plain loops of
// IterativeCal and with every instruction set).
//
// The residuals run four samples side by side (one per lane of a vector),
// forming each sample's monomials by the running products of
// Polynome3Variables::Value. The Jacobian reads a table of the monomials of
// every sample, formed once per run (Polynome3Variables::Monomials: `terms`
// values per sample, in term order).
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

// The Jacobian columns of samples 0..count-1, column k at columns + k * ld:
// j_a = -w_a / w4 for the centre (rows 0..2), -1 for the radius when it is
// fitted (row 3), then -j_a * monomial t for the X, Y and Z coefficients of
// terms 2..terms (after the sphere rows). Faults are left in the flags.
// The monomials of the samples one block further on (up to `end`) are
// asked into the cache meanwhile.
void JacobianColumns(simd::Isa isa, const double* monomials, int terms, const double* work,
                     int count, bool radius_fitted, double* columns, std::size_t ld,
                     const double* end);

}  // namespace tavric::kernels
