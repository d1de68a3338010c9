// The normal equations of a least-squares step, J^T J and -J^T f, summed over
// blocks of Jacobian columns (one column per residual) without ever holding
// the whole Jacobian.
//
// Element (i, j) of J^T J is the sum over the residuals k of J(i, k) * J(j, k)
// and element i of -J^T f is 0 - J(i, 1) f(1) - J(i, 2) f(2) - ..., each sum
// in increasing k: blocks are added in residual order and every element keeps
// its own accumulator, so the results are bit-identical to the plain loops
// (NormalMatrixReference, DescentVectorReference). The speed comes from
// running independent elements in vector lanes and from keeping a tile of
// accumulators in registers over a block of columns that stays in the cache.
// The descent vector is one more column of the same sums: each Jacobian
// column is extended by -f(k).
//
// Use:
//   NormalEquations ne;
//   ne.Start(n);
//   for each block of at most NormalEquations::kBlock residuals:
//     fill ne.Column(0), ne.Column(1), ... (n values each);
//     ne.Add(count, residuals of the block);
//   ne.Finish(A, g);
#pragma once

#include <cstddef>

#include "runtime/Narrow.h"
#include "runtime/Simd.h"
#include "tavric/BoundedArray.h"

namespace tavric {

class NormalEquations {
 public:
  // Columns per block: 32 columns of up to 64 doubles (16 KB) stay in the
  // level-1 cache beside the tiles of sums they are added to.
  static constexpr Int32 kBlock = 32;

  // Sizes the sums for n parameters (n >= 0) and zeroes them; the kernels
  // run with `isa`. Memory is kept from one Start to the next.
  void Start(Int32 n, simd::Isa isa = simd::Active());

  // Column c (0-based, below kBlock) of the block: n values to fill; the
  // rows beyond them belong to the sums and must not be written.
  double* Column(Int32 c) noexcept { return block_.data() + static_cast<std::size_t>(c) * ld_; }
  // Distance between two columns of the block, in doubles.
  std::size_t ColumnStride() const noexcept { return ld_; }

  // Adds the first `count` columns of the block to J^T J, and, when `f` is
  // not null, to -J^T f with f[c] the residual of column c (give f with
  // every block or with none).
  void Add(Int32 count, const double* f);

  // Writes J^T J as a symmetric (1 To n, 1 To n) array and -J^T f as
  // (1 To n), re-dimensioning them only when their shape differs.
  void Finish(Array2<double>& A, Array1<double>& g) const;
  void Finish(Array2<double>& A) const;

 private:
  Int32 n_ = 0;
  std::size_t ld_ = 0;  // rows of a column: n + 1 rounded up to 8
  simd::Isa isa_ = simd::Isa::kBaseline;
  simd::AlignedVector<double> block_;  // kBlock columns
  // ld x ld, column-major: the upper triangle of J^T J in rows and columns
  // 0..n-1, and -J^T f in column n.
  simd::AlignedVector<double> a_;
};

// J^T J of a Jacobian stored as J(parameter j, residual i), (1 To n, 1 To m):
// the symmetric (1 To n, 1 To n) matrix whose element (i, j) is the sum over
// k = 1..m of J(i, k) * J(j, k), accumulated in increasing k. A floating-point
// fault raises its run-time error, as the plain loop's final check would.
Array2<double> NormalMatrix(const Array2<double>& J, Int32 n, Int32 m);

// The plain loops the kernels must match bit for bit: J^T J as above, and
// -J^T f, g(i) = 0 - J(i,1) f(1) - J(i,2) f(2) - ... (1 To n). Both end with
// the floating-point check.
Array2<double> NormalMatrixReference(const Array2<double>& J, Int32 n, Int32 m);
Array1<double> DescentVectorReference(const Array2<double>& J, const Array1<double>& f, Int32 n,
                                      Int32 m);

}  // namespace tavric
