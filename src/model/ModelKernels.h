// The calibration model's per-sample loops, in vector form (see
// runtime/Simd.h for why they give the same bits as the plain loops of
// IterativeCal and with every instruction set).
//
// Both read a table of the monomials of every sample's readings, computed
// once per run (Polynome3Variables::Monomials: `terms` values per sample, in
// term order), instead of forming them again at every evaluation.
#pragma once

#include <cstddef>

#include "runtime/Simd.h"

namespace tavric::kernels {

// What the residual loop reads for samples 0..count-1.
struct ResidualInputs {
  const double* monomials = nullptr;  // `terms` per sample
  int terms = 0;
  // The polynomial's coefficients, 4 per term: X, Y, Z and a zero.
  const double* coefficients = nullptr;
  // The machine position X, Y, Z of sample k at positions + k * stride.
  const double* positions = nullptr;
  std::size_t stride = 0;
  double centre[3] = {0.0, 0.0, 0.0};
  double radius = 0.0;
  int count = 0;
};

// For each sample: the deflection d (per axis the sum over the terms of
// monomial times coefficient, in term order), w = (d + position) - centre
// per axis, w4 = sqrt((w1 w1 + w2 w2) + w3 w3), and the residual w4 - radius.
// Writes w1, w2, w3, w4 to work (4 per sample) and the residual to f.
// Faults are left in the floating-point flags.
void Residuals(simd::Isa isa, const ResidualInputs& in, double* work, double* f);

// The Jacobian columns of samples 0..count-1, column k at columns + k * ld:
// j_a = -w_a / w4 for the centre (rows 0..2), -1 for the radius when it is
// fitted (row 3), then -j_a * monomial t for the X, Y and Z coefficients of
// terms 2..terms (after the sphere rows). Faults are left in the flags.
void JacobianColumns(simd::Isa isa, const double* monomials, int terms, const double* work,
                     int count, bool radius_fitted, double* columns, std::size_t ld);

}  // namespace tavric::kernels
