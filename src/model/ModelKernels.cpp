#include "model/ModelKernels.h"

#include <cmath>

#if defined(__SSE2__) || defined(TAVRIC_SIMD_AVX2)
#include <immintrin.h>  // declares the builtins of the vector square roots
#endif

#include "polynomial/PolynomialKernels.h"

// The vectors of these kernels never cross a call that is not inlined (see
// runtime/Simd.h); GCC's note on how code without AVX would pass them does
// not apply.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace tavric::kernels {
namespace {

using simd::kLanes;
using simd::Load;
using simd::Store;
using simd::V4;

// The square root of every lane: one vector instruction on x86 (the lanes'
// square roots are correctly rounded, as the scalar instruction rounds them,
// and raise the same flags). Clang accepts the AVX builtin only in a function
// compiled for AVX itself, not in one inlined into such a function, so its
// builds (the fuzz targets) take the lane loop, which gives the same bits.
template <class V>
[[gnu::always_inline]] inline V SquareRoots(const V& v) {
#if defined(TAVRIC_SIMD_AVX2) && !defined(__clang__)
  if constexpr (kLanes<V> == 4) return __builtin_ia32_sqrtpd256(v);
#endif
#ifdef __SSE2__
  if constexpr (kLanes<V> == 2) return __builtin_ia32_sqrtpd(v);
#endif
  V r;
  for (int l = 0; l < kLanes<V>; ++l) r[l] = std::sqrt(v[l]);
  return r;
}

// w1, w2, w3, w4 of the samples in the lanes to work, 4 per sample: for 4
// lanes by a 4 x 4 transpose of the vectors (moves only).
template <class V>
[[gnu::always_inline]] inline void StoreWork(const V& w1, const V& w2, const V& w3, const V& w4,
                                             double* work) {
  if constexpr (kLanes<V> == 4) {
    const V t0 = __builtin_shufflevector(w1, w2, 0, 4, 2, 6);
    const V t1 = __builtin_shufflevector(w1, w2, 1, 5, 3, 7);
    const V t2 = __builtin_shufflevector(w3, w4, 0, 4, 2, 6);
    const V t3 = __builtin_shufflevector(w3, w4, 1, 5, 3, 7);
    Store(work, __builtin_shufflevector(t0, t2, 0, 1, 4, 5));
    Store(work + 4, __builtin_shufflevector(t1, t3, 0, 1, 4, 5));
    Store(work + 8, __builtin_shufflevector(t0, t2, 2, 3, 6, 7));
    Store(work + 12, __builtin_shufflevector(t1, t3, 2, 3, 6, 7));
  } else {
    for (int l = 0; l < kLanes<V>; ++l) {
      double* w = work + 4 * static_cast<std::size_t>(l);
      w[0] = w1[l];
      w[1] = w2[l];
      w[2] = w3[l];
      w[3] = w4[l];
    }
  }
}

// The residuals of the samples in the lanes of V (one sample per lane, all
// loaded from k on): the deflection as Polynome3Variables::Value forms it,
// then w = (d + position) - centre, w4 and the residual.
template <class V, int kOrder>
[[gnu::always_inline]] inline void ResidualLanes(const ResidualInputs& in, std::size_t k,
                                                 double* work, double* f) {
  V x, y, z;
  ValueSums<V, kOrder>(in.order, in.coefficients, 4, Load<V>(in.p + k), Load<V>(in.q + k),
                       Load<V>(in.r + k), x, y, z);
  const V w1 = x + Load<V>(in.x + k) - in.centre[0];
  const V w2 = y + Load<V>(in.y + k) - in.centre[1];
  const V w3 = z + Load<V>(in.z + k) - in.centre[2];
  const V w4 = SquareRoots(w1 * w1 + w2 * w2 + w3 * w3);
  Store(f + k, w4 - in.radius);
  StoreWork(w1, w2, w3, w4, work + 4 * k);
}

template <class V, int kOrder>
[[gnu::always_inline]] inline void ResidualsBody(const ResidualInputs& in, double* work,
                                                 double* f) {
  constexpr auto L = static_cast<std::size_t>(kLanes<V>);
  const auto count = static_cast<std::size_t>(in.count);
  std::size_t k = 0;
  for (; k + L <= count; k += L) ResidualLanes<V, kOrder>(in, k, work, f);
  for (; k < count; ++k) ResidualLanes<simd::V1, kOrder>(in, k, work, f);
}

// out[t] = s * m[t] for t = 0..count-1: whole vectors, the last one moved
// back to end at count (it writes some values twice, with the same bits).
template <class V>
[[gnu::always_inline]] inline void Scaled(double s, const double* m, std::size_t count,
                                          double* out) {
  constexpr auto L = static_cast<std::size_t>(kLanes<V>);
  if (count < L) {
    for (std::size_t t = 0; t < count; ++t) out[t] = s * m[t];
    return;
  }
#pragma GCC unroll 5
  for (std::size_t t = 0; t + L <= count; t += L) Store(out + t, Load<V>(m + t) * s);
  if (count % L != 0) Store(out + count - L, Load<V>(m + count - L) * s);
}

template <class V, int kOrder>
[[gnu::always_inline]] inline void JacobianBody(const double* monomials, int terms,
                                                const double* work, int count, bool radius_fitted,
                                                double* columns, std::size_t ld,
                                                const double* end) {
  const std::size_t n =
      kOrder > 0 ? static_cast<std::size_t>((kOrder + 1) * (kOrder + 2) * (kOrder + 3) / 6)
                 : static_cast<std::size_t>(terms);
  const std::size_t first = radius_fitted ? 4 : 3;  // row of the X coefficient of term 2
  const std::size_t ahead = static_cast<std::size_t>(count) * n;
  for (int k = 0; k < count; ++k) {
    const double* w = work + 4 * static_cast<std::size_t>(k);
    const double* m = monomials + static_cast<std::size_t>(k) * n + 1;  // from term 2
    for (std::size_t byte = 0; byte < n * sizeof(double); byte += 64)
      if (m + ahead + byte / sizeof(double) < end)
        __builtin_prefetch(m + ahead + byte / sizeof(double));
    double* column = columns + static_cast<std::size_t>(k) * ld;
    // j_a = -w_a / w4 in lanes 0..2 (lane 3 is -w4 / w4, not used); rows 0
    // to 3 are written at once, row 3 then set or overwritten.
    const V4 wk = Load<V4>(w);
    const V4 j = -wk / wk[3];
    Store(column, j);
    if (radius_fitted) column[3] = -1.0;
    Scaled<V>(-j[0], m, n - 1, column + first);
    Scaled<V>(-j[1], m, n - 1, column + first + (n - 1));
    Scaled<V>(-j[2], m, n - 1, column + first + 2 * (n - 1));
  }
}

// The order whose term count is `terms` when it is one of a calibration's
// (1 to 3), else 0: the Jacobian kernel is built for each.
int OrderOfTerms(int terms) { return terms == 4 ? 1 : terms == 10 ? 2 : terms == 20 ? 3 : 0; }

void ResidualsBaseline(const ResidualInputs& in, double* work, double* f) {
#define TAVRIC_CALL(O) ResidualsBody<simd::V2, O>(in, work, f)
  TAVRIC_FOR_ORDER(in.order, TAVRIC_CALL);
#undef TAVRIC_CALL
}

void JacobianBaseline(const double* monomials, int terms, const double* work, int count,
                      bool radius_fitted, double* columns, std::size_t ld, const double* end) {
#define TAVRIC_CALL(T) \
  JacobianBody<simd::V2, T>(monomials, terms, work, count, radius_fitted, columns, ld, end)
  TAVRIC_FOR_ORDER(OrderOfTerms(terms), TAVRIC_CALL);
#undef TAVRIC_CALL
}

#ifdef TAVRIC_SIMD_AVX2
TAVRIC_TARGET_AVX2 void ResidualsAvx2(const ResidualInputs& in, double* work, double* f) {
#define TAVRIC_CALL(O) ResidualsBody<simd::V4, O>(in, work, f)
  TAVRIC_FOR_ORDER(in.order, TAVRIC_CALL);
#undef TAVRIC_CALL
}

TAVRIC_TARGET_AVX2 void JacobianAvx2(const double* monomials, int terms, const double* work,
                                     int count, bool radius_fitted, double* columns, std::size_t ld,
                                     const double* end) {
#define TAVRIC_CALL(T) \
  JacobianBody<simd::V4, T>(monomials, terms, work, count, radius_fitted, columns, ld, end)
  TAVRIC_FOR_ORDER(OrderOfTerms(terms), TAVRIC_CALL);
#undef TAVRIC_CALL
}
#endif

}  // namespace

void Residuals(simd::Isa isa, const ResidualInputs& in, double* work, double* f) {
#ifdef TAVRIC_SIMD_AVX2
  if (isa == simd::Isa::kAvx2) return ResidualsAvx2(in, work, f);
#endif
  (void)isa;
  ResidualsBaseline(in, work, f);
}

void JacobianColumns(simd::Isa isa, const double* monomials, int terms, const double* work,
                     int count, bool radius_fitted, double* columns, std::size_t ld,
                     const double* end) {
#ifdef TAVRIC_SIMD_AVX2
  if (isa == simd::Isa::kAvx2)
    return JacobianAvx2(monomials, terms, work, count, radius_fitted, columns, ld, end);
#endif
  (void)isa;
  JacobianBaseline(monomials, terms, work, count, radius_fitted, columns, ld, end);
}

}  // namespace tavric::kernels
