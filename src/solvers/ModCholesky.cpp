#include "solvers/ModCholesky.h"

#include "runtime/CheckedMath.h"
#include "runtime/Narrow.h"

namespace tavric::ModCholesky {

std::string Factorise(const Array2<double>& A, const double& mu, Array2<double>& L,
                      Array2<double>& D) {
  const Int32 n = A.UBound(1);
  // Only the upper bounds are compared; the lower bounds are taken to be 1.
  if (A.UBound(2) != n) return "A has different Dimensions";
  L.ReDim(1, n, 1, n);
  D.ReDim(1, n, 1, n);
  A.CheckRange(1, n, 1, n);

  for (Int32 i = 1; i <= n; ++i) {
    double s = 0.0;
    for (Int32 k = 1; k <= i - 1; ++k) s += fp::Square(L.Unchecked(i, k)) * D.Unchecked(k, k);
    double& pivot = D.Unchecked(i, i);
    pivot = (A.Unchecked(i, i) + mu) - s;
    // A fault in this or an earlier row is reported before the pivot test.
    fp::Check();
    if (pivot == 0.0) return "D(" + std::to_string(i) + "," + std::to_string(i) + ")=0";
    L.Unchecked(i, i) = 1.0;
    for (Int32 j = i + 1; j <= n; ++j) {
      double t = 0.0;
      for (Int32 k = 1; k <= i - 1; ++k)
        t += D.Unchecked(k, k) * L.Unchecked(i, k) * L.Unchecked(j, k);
      L.Unchecked(j, i) = (A.Unchecked(j, i) - t) / pivot;
    }
  }
  fp::Check();
  return "OK";
}

void Solve(const std::string& which, const Array2<double>& M, Array1<double>& x,
           const Array1<double>& b) {
  const bool lower = which == "L";
  if (!lower && which != "U") return;
  const Int32 n = M.UBound(1);
  M.CheckRange(1, n, 1, n);
  x.CheckRange(1, n);
  b.CheckRange(1, n);

  if (lower) {
    for (Int32 i = 1; i <= n; ++i) {
      double s = 0.0;
      for (Int32 j = 1; j <= i - 1; ++j) s += M.Unchecked(i, j) * x.Unchecked(j);
      x.Unchecked(i) = (b.Unchecked(i) - s) / M.Unchecked(i, i);
    }
  } else {
    for (Int32 i = n; i >= 1; --i) {
      double s = 0.0;
      for (Int32 j = i + 1; j <= n; ++j) s += M.Unchecked(j, i) * x.Unchecked(j);
      x.Unchecked(i) = (b.Unchecked(i) - s) / M.Unchecked(i, i);
    }
  }
  fp::Check();
}

}  // namespace tavric::ModCholesky
