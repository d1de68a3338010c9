#include "solvers/ModCholesky.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "TestSupport.h"

namespace tavric {
namespace {

Array2<double> Square(std::int32_t n, const std::vector<double>& row_major) {
  Array2<double> a(1, n, 1, n);
  for (std::int32_t i = 1; i <= n; ++i)
    for (std::int32_t j = 1; j <= n; ++j)
      a(i, j) = row_major[static_cast<std::size_t>((i - 1) * n + (j - 1))];
  return a;
}

// A random symmetric positive definite matrix B*B^T + n*I.
Array2<double> RandomSpd(std::int32_t n, std::mt19937& rng) {
  std::uniform_real_distribution<double> dist(-1.0, 1.0);
  Array2<double> b(1, n, 1, n);
  for (std::int32_t i = 1; i <= n; ++i)
    for (std::int32_t j = 1; j <= n; ++j) b(i, j) = dist(rng);
  Array2<double> a(1, n, 1, n);
  for (std::int32_t i = 1; i <= n; ++i)
    for (std::int32_t j = 1; j <= n; ++j) {
      double s = 0.0;
      for (std::int32_t k = 1; k <= n; ++k) s += b(i, k) * b(j, k);
      a(i, j) = s + (i == j ? static_cast<double>(n) : 0.0);
    }
  return a;
}

TEST(ModCholeskyFactorise, OneByOneGivesAPlusMu) {
  Array2<double> a(1, 1, 1, 1), l, d;
  a(1, 1) = 4.0;
  EXPECT_EQ(ModCholesky::Factorise(a, 0.5, l, d), "OK");
  EXPECT_EQ(d(1, 1), 4.5);
  EXPECT_EQ(l(1, 1), 1.0);
  EXPECT_EQ(l.UBound(1), 1);
  EXPECT_EQ(l.UBound(2), 1);
}

TEST(ModCholeskyFactorise, OneByOneWithZeroPivotGivesPivotText) {
  Array2<double> a(1, 1, 1, 1), l, d;
  a(1, 1) = -2.0;
  EXPECT_EQ(ModCholesky::Factorise(a, 2.0, l, d), "D(1,1)=0");
}

TEST(ModCholeskyFactorise, NonSquareMatrixGivesDimensionsText) {
  Array2<double> a(1, 3, 1, 4), l, d;
  EXPECT_EQ(ModCholesky::Factorise(a, 0.0, l, d), "A has different Dimensions");
}

TEST(ModCholeskyFactorise, LowerBoundsAreNotCompared) {
  // Bounds (0 To 2, 1 To 2): the upper bounds agree, so it factorises the
  // (1 To 2, 1 To 2) part.
  Array2<double> a(0, 2, 1, 2), l, d;
  a(1, 1) = 2.0;
  a(2, 1) = 1.0;
  a(2, 2) = 3.0;
  EXPECT_EQ(ModCholesky::Factorise(a, 0.0, l, d), "OK");
  EXPECT_EQ(d(1, 1), 2.0);
  EXPECT_EQ(l(2, 1), 0.5);
  EXPECT_EQ(d(2, 2), 2.5);
}

TEST(ModCholeskyFactorise, IndefiniteMatrixFactorisesWithNegativePivot) {
  Array2<double> a = Square(2, {1, 2, 2, 1}), l, d;
  EXPECT_EQ(ModCholesky::Factorise(a, 0.0, l, d), "OK");
  EXPECT_EQ(d(1, 1), 1.0);
  EXPECT_EQ(l(2, 1), 2.0);
  EXPECT_EQ(d(2, 2), -3.0);
  EXPECT_EQ(l(1, 1), 1.0);
  EXPECT_EQ(l(2, 2), 1.0);
  EXPECT_EQ(l(1, 2), 0.0);
  EXPECT_EQ(d(1, 2), 0.0);
  EXPECT_EQ(d(2, 1), 0.0);
}

TEST(ModCholeskyFactorise, UpperTriangleIsNeverRead) {
  Array2<double> sym = Square(2, {1, 2, 2, 1}), odd = Square(2, {1, 99, 2, 1});
  Array2<double> l1, d1, l2, d2;
  ASSERT_EQ(ModCholesky::Factorise(sym, 0.25, l1, d1), "OK");
  ASSERT_EQ(ModCholesky::Factorise(odd, 0.25, l2, d2), "OK");
  EXPECT_EQ(l1, l2);
  EXPECT_EQ(d1, d2);
}

TEST(ModCholeskyFactorise, ZeroPivotInALaterRowNamesTheRow) {
  // Rows 1 and 2 equal: the second pivot is 1 - 1*1 = 0 exactly.
  Array2<double> a = Square(3, {1, 1, 0, 1, 1, 0, 0, 0, 1}), l, d;
  EXPECT_EQ(ModCholesky::Factorise(a, 0.0, l, d), "D(2,2)=0");
  // Half-built: row 1 is done.
  EXPECT_EQ(d(1, 1), 1.0);
  EXPECT_EQ(l(2, 1), 1.0);
}

TEST(ModCholeskyFactorise, DampingIsAddedToTheDiagonalOnly) {
  Array2<double> a = Square(2, {1, 2, 2, 1}), l, d;
  EXPECT_EQ(ModCholesky::Factorise(a, 3.0, l, d), "OK");
  EXPECT_EQ(d(1, 1), 4.0);
  EXPECT_EQ(l(2, 1), 0.5);
  EXPECT_EQ(d(2, 2), 4.0 - 0.25 * 4.0);
  // A itself is unchanged.
  EXPECT_EQ(a(1, 1), 1.0);
  EXPECT_EQ(a(2, 2), 1.0);
}

TEST(ModCholeskyFactorise, OldFactorsAreReplaced) {
  Array2<double> a = Square(2, {4, 0, 0, 9}), l(1, 5, 1, 5), d(0, 3, 0, 3);
  l(1, 2) = 7.0;
  ASSERT_EQ(ModCholesky::Factorise(a, 0.0, l, d), "OK");
  EXPECT_EQ(l.LBound(1), 1);
  EXPECT_EQ(l.UBound(2), 2);
  EXPECT_EQ(d.LBound(2), 1);
  EXPECT_EQ(l(1, 2), 0.0);
}

TEST(ModCholeskyFactorise, UnallocatedMatrixRaises9) {
  Array2<double> a, l, d;
  EXPECT_RUNTIME_ERROR(ModCholesky::Factorise(a, 0.0, l, d), err::kSubscriptOutOfRange);
}

TEST(ModCholeskyFactorise, OverflowRaises6) {
  Array2<double> a = Square(2, {1e308, 1, 1, 1}), l, d;
  EXPECT_RUNTIME_ERROR(ModCholesky::Factorise(a, 1e308, l, d), err::kOverflow);
}

TEST(ModCholeskyFactorise, ReconstructsDampedMatrixForRandomSpd) {
  std::mt19937 rng(20240611);
  for (std::int32_t n : {1, 2, 3, 5, 8, 13}) {
    for (int trial = 0; trial < 5; ++trial) {
      const Array2<double> a = RandomSpd(n, rng);
      const double mu = trial * 0.1;
      Array2<double> l, d;
      ASSERT_EQ(ModCholesky::Factorise(a, mu, l, d), "OK");
      for (std::int32_t i = 1; i <= n; ++i) {
        EXPECT_EQ(l(i, i), 1.0);
        EXPECT_GT(d(i, i), 0.0);
        for (std::int32_t j = i + 1; j <= n; ++j) {
          EXPECT_EQ(l(i, j), 0.0);
          EXPECT_EQ(d(i, j), 0.0);
          EXPECT_EQ(d(j, i), 0.0);
        }
      }
      for (std::int32_t i = 1; i <= n; ++i)
        for (std::int32_t j = 1; j <= n; ++j) {
          double s = 0.0;
          for (std::int32_t k = 1; k <= n; ++k) s += l(i, k) * d(k, k) * l(j, k);
          const double expected = a(i, j) + (i == j ? mu : 0.0);
          EXPECT_NEAR(s, expected, 1e-12 * (1.0 + std::fabs(expected)))
              << "n=" << n << " i=" << i << " j=" << j;
        }
    }
  }
}

TEST(ModCholeskySolve, ThreeStepsSolveTheDampedSystem) {
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> dist(-5.0, 5.0);
  for (std::int32_t n : {1, 2, 4, 9}) {
    const Array2<double> a = RandomSpd(n, rng);
    const double mu = 0.01;
    Array1<double> b(1, n);
    for (std::int32_t i = 1; i <= n; ++i) b(i) = dist(rng);
    Array2<double> l, d;
    ASSERT_EQ(ModCholesky::Factorise(a, mu, l, d), "OK");
    Array1<double> y(1, n), x(1, n);
    ModCholesky::Solve("L", l, y, b);
    for (std::int32_t i = 1; i <= n; ++i) y(i) = y(i) / d(i, i);
    ModCholesky::Solve("U", l, x, y);
    for (std::int32_t i = 1; i <= n; ++i) {
      double r = 0.0;
      for (std::int32_t j = 1; j <= n; ++j) r += (a(i, j) + (i == j ? mu : 0.0)) * x(j);
      EXPECT_NEAR(r, b(i), 1e-10) << "n=" << n << " i=" << i;
    }
  }
}

TEST(ModCholeskySolve, LowerSolvesForwardWithAGeneralDiagonal) {
  // [[2,0],[3,4]] x = [4, 18] -> x = [2, 3].
  Array2<double> m = Square(2, {2, 0, 3, 4});
  Array1<double> b(1, 2), x(1, 2);
  b(1) = 4.0;
  b(2) = 18.0;
  ModCholesky::Solve("L", m, x, b);
  EXPECT_EQ(x(1), 2.0);
  EXPECT_EQ(x(2), 3.0);
}

TEST(ModCholeskySolve, UpperSolvesWithTheTransposeOfTheLowerTriangle) {
  // M^T = [[2,3],[0,4]]; M^T x = [13, 12] -> x = [2, 3]. The upper triangle of
  // M holds garbage that must not be read.
  Array2<double> m = Square(2, {2, 99, 3, 4});
  Array1<double> b(1, 2), x(1, 2);
  b(1) = 13.0;
  b(2) = 12.0;
  ModCholesky::Solve("U", m, x, b);
  EXPECT_EQ(x(1), 2.0);
  EXPECT_EQ(x(2), 3.0);
}

TEST(ModCholeskySolve, LowerCaseWhichDoesNothing) {
  Array2<double> m = Square(2, {1, 0, 1, 1});
  Array1<double> b(1, 2), x(1, 2);
  b(1) = 1.0;
  b(2) = 2.0;
  x(1) = -7.0;
  x(2) = -8.0;
  ModCholesky::Solve("l", m, x, b);
  ModCholesky::Solve("u", m, x, b);
  ModCholesky::Solve("", m, x, b);
  ModCholesky::Solve("L ", m, x, b);
  EXPECT_EQ(x(1), -7.0);
  EXPECT_EQ(x(2), -8.0);
}

TEST(ModCholeskySolve, ShortVectorRaises9) {
  Array2<double> m = Square(3, {1, 0, 0, 0, 1, 0, 0, 0, 1});
  Array1<double> b(1, 2), x(1, 3);
  EXPECT_RUNTIME_ERROR(ModCholesky::Solve("L", m, x, b), err::kSubscriptOutOfRange);
  Array1<double> b3(1, 3), x2(1, 2);
  EXPECT_RUNTIME_ERROR(ModCholesky::Solve("U", m, x2, b3), err::kSubscriptOutOfRange);
}

TEST(ModCholeskySolve, UnallocatedFactorRaises9) {
  Array2<double> m;
  Array1<double> b(1, 2), x(1, 2);
  EXPECT_RUNTIME_ERROR(ModCholesky::Solve("L", m, x, b), err::kSubscriptOutOfRange);
}

TEST(ModCholeskySolve, ZeroDiagonalRaisesDivisionByZero) {
  Array2<double> m = Square(2, {0, 0, 1, 1});
  Array1<double> b(1, 2), x(1, 2);
  b(1) = 1.0;
  EXPECT_RUNTIME_ERROR(ModCholesky::Solve("L", m, x, b), err::kDivisionByZero);
}

}  // namespace
}  // namespace tavric
