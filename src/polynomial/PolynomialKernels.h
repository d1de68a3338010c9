// The polynomial at many readings, in vector form (see runtime/Simd.h for
// why it gives the same bits as Polynome3Variables::Value, with every
// instruction set).
#pragma once

#include <cstddef>

#include "runtime/Simd.h"

namespace tavric::kernels {

// Runs through the monomials of a reading (one per lane of V) as
// Polynome3Variables::Value does, by running products: m starts at 1 and is
// multiplied by R within the innermost loop, restarting from its value
// before it times Q, then times P; term(m) is called for every term in
// order. kOrder: the order, or 0 to read `order`.
template <class V, int kOrder, class Term>
[[gnu::always_inline]] inline void ForEachMonomial(int order, const V& P, const V& Q, const V& R,
                                                   Term&& term) {
  const int n = kOrder > 0 ? kOrder : order;
  V m = V{} + 1.0;
#pragma GCC unroll 4
  for (int i = 0; i <= n; ++i) {
    const V mP = m;
#pragma GCC unroll 4
    for (int j = 0; j <= n - i; ++j) {
      const V mPQ = m;
#pragma GCC unroll 4
      for (int k = 0; k <= n - i - j; ++k) {
        term(m);
        m = m * R;
      }
      m = mPQ * Q;
    }
    m = mP * P;
  }
}

// Polynome3Variables::Value's sums with one reading per lane of V: output a
// adds monomial t times coefficient[stride * t + a] for the terms t in order.
template <class V, int kOrder>
[[gnu::always_inline]] inline void ValueSums(int order, const double* coefficients,
                                             std::size_t stride, const V& P, const V& Q, const V& R,
                                             V& x, V& y, V& z) {
  x = V{};
  y = V{};
  z = V{};
  const double* c = coefficients;
  ForEachMonomial<V, kOrder>(
      order, P, Q, R, [&](const V& m) __attribute__((always_inline)) {
        x = x + m * c[0];
        y = y + m * c[1];
        z = z + m * c[2];
        c += stride;
      });
}

// The monomials of one reading in term order (out[t]: term t + 1), as
// Polynome3Variables::Value forms them.
template <int kOrder>
[[gnu::always_inline]] inline void RunningMonomials(int order, double P, double Q, double R,
                                                    double* out) {
  using simd::V1;
  ForEachMonomial<V1, kOrder>(
      order, V1{P}, V1{Q},
      V1{R}, [&](const V1& m) __attribute__((always_inline)) { *out++ = m[0]; });
}

// out[3 i + a] = output a (X, Y, Z) of the polynomial of `order` with the
// coefficient table `coefficients` (X, Y, Z of term t at 3 t .. 3 t + 2, terms
// in the polynomial's order) at the readings (readings[3 i + j] + shift[j])
// for j = 0, 1, 2, formed as Polynome3Variables::Value forms it; several
// readings run side by side in vector lanes. Unchecked: faults are left in
// the floating-point flags, and non-finite readings are not detected.
void PolynomialValues(simd::Isa isa, int order, const double* coefficients, const double* readings,
                      const double shift[3], std::size_t count, double* out);

}  // namespace tavric::kernels
