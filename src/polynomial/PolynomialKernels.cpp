#include "polynomial/PolynomialKernels.h"

#include <algorithm>

// The vectors of these kernels never cross a call that is not inlined (see
// runtime/Simd.h).
#pragma GCC diagnostic ignored "-Wpsabi"

namespace tavric::kernels {
namespace {

using simd::kLanes;

// The readings from `i` on, one per lane.
template <class V, int kOrder>
[[gnu::always_inline]] inline void ValuesLanes(int order, const double* coefficients,
                                               const double* readings, const double* shift,
                                               double* out) {
  constexpr int L = kLanes<V>;
  V P, Q, R;
  for (int l = 0; l < L; ++l) {
    P[l] = readings[3 * l] + shift[0];
    Q[l] = readings[3 * l + 1] + shift[1];
    R[l] = readings[3 * l + 2] + shift[2];
  }
  V x, y, z;
  ValueSums<V, kOrder>(order, coefficients, 3, P, Q, R, x, y, z);
  for (int l = 0; l < L; ++l) {
    out[3 * l] = x[l];
    out[3 * l + 1] = y[l];
    out[3 * l + 2] = z[l];
  }
}

template <class V, int kOrder>
[[gnu::always_inline]] inline void ValuesBody(int order, const double* coefficients,
                                              const double* readings, const double* shift,
                                              std::size_t count, double* out) {
  constexpr auto L = static_cast<std::size_t>(kLanes<V>);
  std::size_t i = 0;
  for (; i + L <= count; i += L)
    ValuesLanes<V, kOrder>(order, coefficients, readings + 3 * i, shift, out + 3 * i);
  if (i < count) {
    // The last readings, padded with copies of the last one.
    double rest[3 * L], values[3 * L];
    for (std::size_t l = 0; l < L; ++l)
      for (std::size_t a = 0; a < 3; ++a)
        rest[3 * l + a] = readings[3 * std::min(i + l, count - 1) + a];
    ValuesLanes<V, kOrder>(order, coefficients, rest, shift, values);
    for (std::size_t l = 0; i + l < count; ++l)
      for (std::size_t a = 0; a < 3; ++a) out[3 * (i + l) + a] = values[3 * l + a];
  }
}

void ValuesBaseline(int order, const double* coefficients, const double* readings,
                    const double* shift, std::size_t count, double* out) {
#define TAVRIC_CALL(O) ValuesBody<simd::V2, O>(order, coefficients, readings, shift, count, out)
  TAVRIC_FOR_ORDER(order, TAVRIC_CALL);
#undef TAVRIC_CALL
}

#ifdef TAVRIC_SIMD_AVX2
TAVRIC_TARGET_AVX2 void ValuesAvx2(int order, const double* coefficients, const double* readings,
                                   const double* shift, std::size_t count, double* out) {
#define TAVRIC_CALL(O) ValuesBody<simd::V4, O>(order, coefficients, readings, shift, count, out)
  TAVRIC_FOR_ORDER(order, TAVRIC_CALL);
#undef TAVRIC_CALL
}
#endif

}  // namespace

void PolynomialValues(simd::Isa isa, int order, const double* coefficients, const double* readings,
                      const double shift[3], std::size_t count, double* out) {
#ifdef TAVRIC_SIMD_AVX2
  if (isa == simd::Isa::kAvx2) return ValuesAvx2(order, coefficients, readings, shift, count, out);
#endif
  (void)isa;
  ValuesBaseline(order, coefficients, readings, shift, count, out);
}

}  // namespace tavric::kernels
