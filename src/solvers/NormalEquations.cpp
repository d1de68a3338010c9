#include "solvers/NormalEquations.h"

#include <algorithm>

#include "runtime/CheckedMath.h"

// The vectors of these kernels never cross a call that is not inlined (see
// runtime/Simd.h); GCC's note on how code without AVX would pass them does
// not apply.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace tavric {
namespace {

using simd::kLanes;
using simd::Load;
using simd::Store;

constexpr std::size_t kRowMultiple = 8;
constexpr std::size_t kTileColumns = 4;

// Adds columns [0, count) of `block` (ld rows each) to the upper triangle of
// `a` (ld x ld, column-major): a(i, j) = a(i, j) + J(i, k) * J(j, k) for
// k = 0, 1, ... in turn. One tile is 2 vectors of rows by 4 columns: its 8
// accumulators stay in registers while the block's columns stream past; per
// column it loads 2 vectors of J(i, k) and broadcasts 4 values J(j, k). The
// diagonal tiles also form some elements below the diagonal, which are left
// unused.
template <class V>
[[gnu::always_inline]] inline void AddProducts(const double* block, std::size_t ld, int count,
                                               std::size_t n, double* a) {
  constexpr std::size_t L = static_cast<std::size_t>(kLanes<V>);
  for (std::size_t i0 = 0; i0 < n; i0 += 2 * L) {
    for (std::size_t j0 = i0; j0 < n; j0 += kTileColumns) {
      double* tile = a + i0 + ld * j0;
      V lo[kTileColumns], hi[kTileColumns];
#pragma GCC unroll 4
      for (std::size_t c = 0; c < kTileColumns; ++c) {
        lo[c] = Load<V>(tile + ld * c);
        hi[c] = Load<V>(tile + ld * c + L);
      }
      const double* column = block;
      for (int k = 0; k < count; ++k, column += ld) {
        const V x_lo = Load<V>(column + i0);
        const V x_hi = Load<V>(column + i0 + L);
#pragma GCC unroll 4
        for (std::size_t c = 0; c < kTileColumns; ++c) {
          const double x_j = column[j0 + c];
          lo[c] = lo[c] + x_lo * x_j;
          hi[c] = hi[c] + x_hi * x_j;
        }
      }
#pragma GCC unroll 4
      for (std::size_t c = 0; c < kTileColumns; ++c) {
        Store(tile + ld * c, lo[c]);
        Store(tile + ld * c + L, hi[c]);
      }
    }
  }
}

void AddBaseline(const double* block, std::size_t ld, int count, std::size_t n, double* a) {
  AddProducts<simd::V2>(block, ld, count, n, a);
}

#ifdef TAVRIC_SIMD_AVX2
TAVRIC_TARGET_AVX2 void AddAvx2(const double* block, std::size_t ld, int count, std::size_t n,
                                double* a) {
  AddProducts<simd::V4>(block, ld, count, n, a);
}
#endif

}  // namespace

// Row n of every column holds -f(k), so that column n of J^T J is the
// descent vector: g(i) = 0 + J(i, 1) (-f(1)) + J(i, 2) (-f(2)) + ..., which
// is 0 - J(i, 1) f(1) - J(i, 2) f(2) - ... to the bit (subtracting is adding
// the negation, and negating a factor negates the product exactly).
void NormalEquations::Start(Int32 n, simd::Isa isa) {
  n_ = std::max<Int32>(n, 0);
  ld_ = (static_cast<std::size_t>(n_) + 1 + kRowMultiple - 1) / kRowMultiple * kRowMultiple;
  isa_ = simd::Available(isa) ? isa : simd::Isa::kBaseline;
  block_.assign(ld_ * static_cast<std::size_t>(kBlock), 0.0);
  a_.assign(ld_ * ld_, 0.0);
}

void NormalEquations::Add(Int32 count, const double* f) {
  const auto n = static_cast<std::size_t>(n_);
  if (f != nullptr)
    for (Int32 c = 0; c < count; ++c) Column(c)[n] = -f[c];
#ifdef TAVRIC_SIMD_AVX2
  if (isa_ == simd::Isa::kAvx2) {
    AddAvx2(block_.data(), ld_, count, n + 1, a_.data());
    return;
  }
#endif
  AddBaseline(block_.data(), ld_, count, n + 1, a_.data());
}

void NormalEquations::Finish(Array2<double>& A) const {
  if (!A.Allocated() || A.LBound(1) != 1 || A.UBound(1) != n_ || A.LBound(2) != 1 ||
      A.UBound(2) != n_)
    A.ReDim(1, n_, 1, n_);
  double* out = A.Data();
  const auto n = static_cast<std::size_t>(n_);
  for (std::size_t j = 0; j < n; ++j)
    for (std::size_t i = 0; i <= j; ++i) out[i + n * j] = out[j + n * i] = a_[i + ld_ * j];
}

void NormalEquations::Finish(Array2<double>& A, Array1<double>& g) const {
  Finish(A);
  if (!g.Allocated() || g.LBound() != 1 || g.UBound() != n_) g.ReDim(1, n_);
  const double* descent = a_.data() + ld_ * static_cast<std::size_t>(n_);
  std::copy(descent, descent + n_, g.Data());
}

Array2<double> NormalMatrix(const Array2<double>& J, Int32 n, Int32 m) {
  // With a fault already pending, or one raised by the kernel (which also
  // multiplies the zero rows of padding), the plain loop decides what is
  // raised.
  if (n < 1 || m < 1 || fp::FaultPending()) return NormalMatrixReference(J, n, m);
  J.CheckRange(1, n, 1, m);
  NormalEquations sums;
  sums.Start(n);
  for (Int32 first = 1; first <= m; first += NormalEquations::kBlock) {
    const Int32 count = std::min(NormalEquations::kBlock, m - first + 1);
    for (Int32 c = 0; c < count; ++c) {
      const double* column = &J.Unchecked(1, first + c);
      std::copy(column, column + n, sums.Column(c));
    }
    sums.Add(count, nullptr);
  }
  if (fp::FaultPending()) {
    fp::ClearFaults();
    return NormalMatrixReference(J, n, m);
  }
  Array2<double> A;
  sums.Finish(A);
  return A;
}

// k runs outermost so that every column of J (one residual, all parameters)
// is read contiguously.
Array2<double> NormalMatrixReference(const Array2<double>& J, Int32 n, Int32 m) {
  Array2<double> A(1, n, 1, n);
  if (n >= 1 && m >= 1) {
    J.CheckRange(1, n, 1, m);
    double* a = A.Data();
    const std::size_t stride = static_cast<std::size_t>(n);
    for (Int32 k = 1; k <= m; ++k) {
      const double* column = &J.Unchecked(1, k);
      for (Int32 j = 0; j < n; ++j) {
        const double jk = column[j];
        double* a_j = a + stride * static_cast<std::size_t>(j);  // elements (i, j), i <= j
        for (Int32 i = 0; i <= j; ++i) a_j[i] = a_j[i] + column[i] * jk;
      }
    }
    for (Int32 j = 0; j < n; ++j)
      for (Int32 i = 0; i < j; ++i)
        a[static_cast<std::size_t>(j) + stride * static_cast<std::size_t>(i)] =
            a[static_cast<std::size_t>(i) + stride * static_cast<std::size_t>(j)];
  }
  fp::Check();
  return A;
}

Array1<double> DescentVectorReference(const Array2<double>& J, const Array1<double>& f, Int32 n,
                                      Int32 m) {
  Array1<double> g(1, n);
  if (n >= 1 && m >= 1) {
    J.CheckRange(1, n, 1, m);
    f.CheckRange(1, m);
    double* gp = g.Data();
    for (Int32 k = 1; k <= m; ++k) {
      const double* column = &J.Unchecked(1, k);
      const double fk = f.Unchecked(k);
      for (Int32 i = 0; i < n; ++i) gp[i] = gp[i] - column[i] * fk;
    }
  }
  fp::Check();
  return g;
}

}  // namespace tavric
