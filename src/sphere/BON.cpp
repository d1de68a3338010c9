#include "sphere/BON.h"

#include <cfloat>

#include "interface/ProjectState.h"
#include "runtime/CheckedMath.h"
#include "runtime/DoEvents.h"
#include "runtime/ErrorTrap.h"

namespace tavric::BON {
namespace {

// Rounding allowance of the dependence test. When v_i lies in the span of
// the vectors before it, classical Gram-Schmidt leaves a remainder w_i that
// is of rounding size rather than exactly zero: each projection r_ij w_j
// that is subtracted is at most |v_i| long, its coefficient comes from a
// scalar product of m terms (up to m rounding errors, relative to |v_i|),
// and the subtractions add a few more. The remainder's length is therefore
// at most about (m + n + a small constant) * eps * |v_i|. A remainder with
// |w_i| <= (64 + m + n) * eps * |v_i|, i.e. with
//   s / |v_i|^2 <= ((64 + m + n) * eps)^2,
// counts as zero. Even for the largest m and n that threshold stays below
// 1E-10 relative in length, so a set that is merely nearly dependent (rows
// differing by 1E-06 relative) passes and gets its tiny R(i, i).
double DependenceRatio(Int16 n, Int16 m) {
  const double k = (64.0 + static_cast<double>(m) + static_cast<double>(n)) * DBL_EPSILON;
  return k * k;
}

std::string VectorMessage(Int32 i, const char* tail) {
  return "Le vecteur n°" + std::to_string(i) + tail;
}

}  // namespace

bool StopRequested() noexcept { return State().gram_schmidt_stop_requested; }
void StopRequested(bool value) noexcept { State().gram_schmidt_stop_requested = value; }

double ProdScal2(Int16 i, Int16 j, Int16 m, const Array2<double>& A, const Array2<double>& B) {
  if (m < 1) return 0.0;
  A.CheckRange(i, i, 1, m);
  B.CheckRange(j, j, 1, m);
  double s = 0.0;
  for (Int32 k = 1; k <= m; ++k) s += A.Unchecked(i, k) * B.Unchecked(j, k);
  fp::Check();
  return s;
}

double ProdScal(Int16 i, Int16 j, Int16 m, const Array2<double>& A) {
  return ProdScal2(i, j, m, A, A);
}

std::string BuildBON(Int16 n, Int16 m, const Array2<double>& V, Array2<double>& W,
                     Array2<double>& R) {
  W.ReDim(1, n, 1, m);
  R.ReDim(1, n, 1, n);
  StopRequested(false);
  try {
    // Working copy, and the squared lengths of the given vectors: the zero
    // check runs over every vector before any orthogonalisation.
    if (n >= 1 && m >= 1) V.CheckRange(1, n, 1, m);
    for (Int32 i = 1; i <= n; ++i)
      for (Int32 k = 1; k <= m; ++k) W.Unchecked(i, k) = V.Unchecked(i, k);
    const double dependence_ratio = DependenceRatio(n, m);
    Array1<double> length2(1, n);
    for (Int32 i = 1; i <= n; ++i) {
      length2.Unchecked(i) = ProdScal(static_cast<Int16>(i), static_cast<Int16>(i), m, W);
      if (length2.Unchecked(i) == 0.0) return VectorMessage(i, " est nul");
      DoEvents();
    }

    for (Int32 i = 1; i <= n; ++i) {
      const auto i16 = static_cast<Int16>(i);
      if (StopRequested()) {
        StopRequested(false);
        return "Arret par l'utilisateur";
      }
      // Classical Gram-Schmidt: every coefficient of row i is taken from the
      // given vector V(i) before anything is subtracted from W(i).
      for (Int32 j = 1; j < i; ++j) {
        const auto j16 = static_cast<Int16>(j);
        R.Unchecked(i, j) = ProdScal2(i16, j16, m, V, W) / ProdScal(j16, j16, m, W);
        fp::Check();
        DoEvents();
      }
      for (Int32 j = 1; j < i; ++j) {
        const double r = R.Unchecked(i, j);
        for (Int32 k = 1; k <= m; ++k)
          W.Unchecked(i, k) = W.Unchecked(i, k) - r * W.Unchecked(j, k);
      }
      fp::Check();
      DoEvents();
      const double s = ProdScal(i16, i16, m, W);
      if (s == 0.0 || s / length2.Unchecked(i) <= dependence_ratio)
        return VectorMessage(i, " est dépendant !");
      R.Unchecked(i, i) = s;
    }
    fp::Check();
    return "OK";
  } catch (...) {
    return CurrentErrorInfo().description;
  }
}

double SolveBON(Int16 n, Int16 m, const Array1<double>& b, const Array2<double>& V,
                const Array2<double>& W, const Array2<double>& R, Array1<double>& x,
                Array1<double>& y) {
  y.ReDim(1, n);
  x.ReDim(1, n);
  if (n >= 1) {
    R.CheckRange(1, n, 1, n);
    if (m >= 1) {
      W.CheckRange(1, n, 1, m);
      V.CheckRange(1, n, 1, m);
    }
  }
  if (m >= 1) b.CheckRange(1, m);

  for (Int32 i = 1; i <= n; ++i) {
    double s = 0.0;
    for (Int32 k = 1; k <= m; ++k) s += W.Unchecked(i, k) * b.Unchecked(k);
    y.Unchecked(i) = s;
    fp::Check();
    DoEvents();
  }

  // Back substitution through the unit lower-triangular coefficients.
  for (Int32 i = n; i >= 1; --i) {
    double xi = y.Unchecked(i) / R.Unchecked(i, i);
    for (Int32 j = i + 1; j <= n; ++j) xi = xi - R.Unchecked(j, i) * x.Unchecked(j);
    x.Unchecked(i) = xi;
    fp::Check();
    DoEvents();
  }

  double total = 0.0;
  for (Int32 k = 1; k <= m; ++k) {
    double s = 0.0;
    for (Int32 i = 1; i <= n; ++i) s += V.Unchecked(i, k) * x.Unchecked(i);
    total += fp::Square(b.Unchecked(k) - s);
  }
  fp::Check();
  return total;
}

}  // namespace tavric::BON
