// The polynomial at many readings, in vector form (see runtime/Simd.h for
// why it gives the same bits as Polynome3Variables::Value, with every
// instruction set).
#pragma once

#include <cstddef>

#include "runtime/Simd.h"

namespace tavric::kernels {

// out[3 i + a] = output a (X, Y, Z) of the polynomial of `order` with the
// coefficient table `coefficients` (X, Y, Z of term t at 3 t .. 3 t + 2, terms
// in the polynomial's order) at the readings (readings[3 i + j] + shift[j])
// for j = 0, 1, 2, formed as Polynome3Variables::Value forms it; several
// readings run side by side in vector lanes. Unchecked: faults are left in
// the floating-point flags, and non-finite readings are not detected.
void PolynomialValues(simd::Isa isa, int order, const double* coefficients, const double* readings,
                      const double shift[3], std::size_t count, double* out);

}  // namespace tavric::kernels
