#include "model/ModelKernels.h"

#include <cmath>

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

// Samples evaluated side by side: their sums are independent chains, so the
// processor overlaps their additions.
constexpr int kInterleave = 4;

// One sample's deflection from its accumulated X, Y, Z lanes to the work
// values and the residual.
[[gnu::always_inline]] inline void Finish(const V4& d, const ResidualInputs& in, int k,
                                          double* work, double* f) {
  const double* p = in.positions + static_cast<std::size_t>(k) * in.stride;
  const double w1 = d[0] + p[0] - in.centre[0];
  const double w2 = d[1] + p[1] - in.centre[1];
  const double w3 = d[2] + p[2] - in.centre[2];
  const double w4 = std::sqrt(w1 * w1 + w2 * w2 + w3 * w3);
  double* w = work + 4 * static_cast<std::size_t>(k);
  w[0] = w1;
  w[1] = w2;
  w[2] = w3;
  w[3] = w4;
  f[k] = w4 - in.radius;
}

// The X, Y and Z sums of a sample run in the lanes of one vector (the fourth
// lane multiplies zeros): lane a adds monomial t times coefficient (a, t) for
// t = 0, 1, ... as the plain loop's x += m * c does.
[[gnu::always_inline]] inline void ResidualsBody(const ResidualInputs& in, double* work,
                                                 double* f) {
  const auto terms = static_cast<std::size_t>(in.terms);
  int k = 0;
  for (; k + kInterleave <= in.count; k += kInterleave) {
    const double* m = in.monomials + static_cast<std::size_t>(k) * terms;
    V4 d[kInterleave] = {};
    const double* c = in.coefficients;
    for (std::size_t t = 0; t < terms; ++t, c += 4) {
      const V4 coefficient = Load<V4>(c);
#pragma GCC unroll 4
      for (int s = 0; s < kInterleave; ++s)
        d[s] = d[s] + coefficient * m[t + terms * static_cast<std::size_t>(s)];
    }
#pragma GCC unroll 4
    for (int s = 0; s < kInterleave; ++s) Finish(d[s], in, k + s, work, f);
  }
  for (; k < in.count; ++k) {
    const double* m = in.monomials + static_cast<std::size_t>(k) * terms;
    V4 d = {};
    const double* c = in.coefficients;
    for (std::size_t t = 0; t < terms; ++t, c += 4) d = d + Load<V4>(c) * m[t];
    Finish(d, in, k, work, f);
  }
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
  for (std::size_t t = 0; t + L <= count; t += L) Store(out + t, Load<V>(m + t) * s);
  if (count % L != 0) Store(out + count - L, Load<V>(m + count - L) * s);
}

template <class V>
[[gnu::always_inline]] inline void JacobianBody(const double* monomials, int terms,
                                                const double* work, int count, bool radius_fitted,
                                                double* columns, std::size_t ld) {
  const auto n = static_cast<std::size_t>(terms);
  const std::size_t first = radius_fitted ? 4 : 3;  // row of the X coefficient of term 2
  for (int k = 0; k < count; ++k) {
    const double* w = work + 4 * static_cast<std::size_t>(k);
    const double* m = monomials + static_cast<std::size_t>(k) * n + 1;  // from term 2
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

#ifdef TAVRIC_SIMD_AVX2
TAVRIC_TARGET_AVX2 void ResidualsAvx2(const ResidualInputs& in, double* work, double* f) {
  ResidualsBody(in, work, f);
}
TAVRIC_TARGET_AVX2 void JacobianAvx2(const double* monomials, int terms, const double* work,
                                     int count, bool radius_fitted, double* columns,
                                     std::size_t ld) {
  JacobianBody<simd::V4>(monomials, terms, work, count, radius_fitted, columns, ld);
}
#endif

}  // namespace

void Residuals(simd::Isa isa, const ResidualInputs& in, double* work, double* f) {
#ifdef TAVRIC_SIMD_AVX2
  if (isa == simd::Isa::kAvx2) return ResidualsAvx2(in, work, f);
#endif
  (void)isa;
  ResidualsBody(in, work, f);
}

void JacobianColumns(simd::Isa isa, const double* monomials, int terms, const double* work,
                     int count, bool radius_fitted, double* columns, std::size_t ld) {
#ifdef TAVRIC_SIMD_AVX2
  if (isa == simd::Isa::kAvx2)
    return JacobianAvx2(monomials, terms, work, count, radius_fitted, columns, ld);
#endif
  (void)isa;
  JacobianBody<simd::V2>(monomials, terms, work, count, radius_fitted, columns, ld);
}

}  // namespace tavric::kernels
