#include "sphere/BON.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "runtime/DoEvents.h"

namespace tavric {
namespace {

using Rows = std::vector<std::vector<double>>;

// Rows as a (1 To n, 1 To m) array, row i = vector i.
Array2<double> FromRows(const Rows& rows) {
  const auto n = static_cast<std::int32_t>(rows.size());
  const auto m = n == 0 ? 0 : static_cast<std::int32_t>(rows[0].size());
  Array2<double> a(1, n, 1, m);
  for (std::int32_t i = 1; i <= n; ++i)
    for (std::int32_t k = 1; k <= m; ++k) a(i, k) = rows[i - 1][k - 1];
  return a;
}

Array1<double> FromValues(const std::vector<double>& values) {
  Array1<double> a(1, static_cast<std::int32_t>(values.size()));
  for (std::int32_t k = 1; k <= a.UBound(); ++k) a(k) = values[k - 1];
  return a;
}

std::string Build(const Rows& rows, Array2<double>& W, Array2<double>& R) {
  const Array2<double> V = FromRows(rows);
  const auto n = static_cast<Int16>(rows.size());
  const auto m = static_cast<Int16>(rows.empty() ? 0 : rows[0].size());
  return BON::BuildBON(n, m, V, W, R);
}

std::string Build(const Rows& rows) {
  Array2<double> W, R;
  return Build(rows, W, R);
}

// Independent classical Gram-Schmidt in plain double arithmetic: the squared
// length of the last vector's remainder.
double ClassicalRemainder2(const Rows& v) {
  Rows w = v;
  const std::size_t m = v[0].size();
  auto dot = [m](const std::vector<double>& a, const std::vector<double>& b) {
    double s = 0.0;
    for (std::size_t k = 0; k < m; ++k) s += a[k] * b[k];
    return s;
  };
  for (std::size_t i = 0; i < v.size(); ++i) {
    std::vector<double> r(i);
    for (std::size_t j = 0; j < i; ++j) r[j] = dot(v[i], w[j]) / dot(w[j], w[j]);
    for (std::size_t j = 0; j < i; ++j)
      for (std::size_t k = 0; k < m; ++k) w[i][k] = w[i][k] - r[j] * w[j][k];
  }
  return dot(w.back(), w.back());
}

// --- scalar products --------------------------------------------------------

TEST(BON, ProdScal2SumsRowProductsInIncreasingColumnOrder) {
  // 1E16 + 1 rounds back to 1E16, so only the order k = 1, 2, 3 gives 0.
  const Array2<double> A = FromRows({{1e16, 1.0, -1e16}});
  const Array2<double> B = FromRows({{0.0, 0.0, 0.0}, {1.0, 1.0, 1.0}});
  EXPECT_EQ(BON::ProdScal2(1, 2, 3, A, B), 0.0);
  EXPECT_EQ(BON::ProdScal2(1, 1, 3, A, B), 0.0);
  const Array2<double> C = FromRows({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}});
  EXPECT_EQ(BON::ProdScal2(2, 1, 3, C, C), 32.0);
  EXPECT_EQ(BON::ProdScal2(1, 2, 2, C, C), 14.0);  // only the first m columns
}

TEST(BON, ProdScalIsTheProductOfTwoRowsOfOneArray) {
  const Array2<double> C = FromRows({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}});
  EXPECT_EQ(BON::ProdScal(1, 1, 3, C), 14.0);
  EXPECT_EQ(BON::ProdScal(1, 2, 3, C), 32.0);
}

TEST(BON, ScalarProductsOfNoColumnsAreZeroWithoutTouchingTheArrays) {
  const Array2<double> unallocated;
  EXPECT_EQ(BON::ProdScal(1, 1, 0, unallocated), 0.0);
  EXPECT_EQ(BON::ProdScal2(5, 7, -3, unallocated, unallocated), 0.0);
}

TEST(BON, ScalarProductOutsideTheBoundsRaisesSubscriptError) {
  const Array2<double> C = FromRows({{1.0, 2.0, 3.0}});
  EXPECT_RUNTIME_ERROR(BON::ProdScal(1, 1, 4, C), err::kSubscriptOutOfRange);
  EXPECT_RUNTIME_ERROR(BON::ProdScal(2, 2, 3, C), err::kSubscriptOutOfRange);
}

// --- BuildBON ----------------------------------------------------------------

TEST(BON, NoVectorsBuildsAnEmptyBasis) {
  Array2<double> W, R;
  const Array2<double> V;
  EXPECT_EQ(BON::BuildBON(0, 3, V, W, R), "OK");
  ASSERT_TRUE(W.Allocated());
  ASSERT_TRUE(R.Allocated());
  EXPECT_EQ(W.LBound(1), 1);
  EXPECT_EQ(W.UBound(1), 0);
  EXPECT_EQ(W.UBound(2), 3);
  EXPECT_EQ(R.UBound(1), 0);
  EXPECT_EQ(R.UBound(2), 0);
}

TEST(BON, NoVectorsSolvesToTheSquaredLengthOfTheRightHandSide) {
  Array2<double> W, R;
  const Array2<double> V;
  ASSERT_EQ(BON::BuildBON(0, 3, V, W, R), "OK");
  const Array1<double> b = FromValues({1.0, -2.0, 3.0});
  Array1<double> x, y;
  EXPECT_EQ(BON::SolveBON(0, 3, b, V, W, R, x, y), 14.0);
  EXPECT_EQ(x.Count(), 0);
  EXPECT_EQ(y.Count(), 0);
}

TEST(BON, DoubledIdentityGivesSquaredLengthsOfFourOnTheDiagonal) {
  Array2<double> W, R;
  ASSERT_EQ(Build({{2, 0, 0}, {0, 2, 0}, {0, 0, 2}}, W, R), "OK");
  for (std::int32_t i = 1; i <= 3; ++i) {
    for (std::int32_t j = 1; j <= 3; ++j) {
      EXPECT_EQ(R(i, j), i == j ? 4.0 : 0.0);
      EXPECT_EQ(W(i, j), i == j ? 2.0 : 0.0);
    }
  }
}

TEST(BON, KeepsProjectionCoefficientsBelowTheDiagonalAndLeavesTheUpperPartZero) {
  Array2<double> W, R;
  ASSERT_EQ(Build({{1, 0}, {3, 2}}, W, R), "OK");
  EXPECT_EQ(R(1, 1), 1.0);
  EXPECT_EQ(R(2, 1), 3.0);  // (3, 2) . (1, 0) / |(1, 0)|^2
  EXPECT_EQ(R(1, 2), 0.0);
  EXPECT_EQ(R(2, 2), 4.0);  // |(0, 2)|^2
  EXPECT_EQ(W(2, 1), 0.0);
  EXPECT_EQ(W(2, 2), 2.0);
}

TEST(BON, BasisArraysAreOneBasedWithTheGivenSizes) {
  Array2<double> W, R;
  ASSERT_EQ(Build({{1, 2, 3, 4}, {0, 1, 0, 1}}, W, R), "OK");
  EXPECT_EQ(W.LBound(1), 1);
  EXPECT_EQ(W.UBound(1), 2);
  EXPECT_EQ(W.LBound(2), 1);
  EXPECT_EQ(W.UBound(2), 4);
  EXPECT_EQ(R.LBound(1), 1);
  EXPECT_EQ(R.UBound(1), 2);
  EXPECT_EQ(R.LBound(2), 1);
  EXPECT_EQ(R.UBound(2), 2);
}

TEST(BON, ReadsRowsOneToNOfALargerArrayWithOtherBounds) {
  Array2<double> V(0, 5, -1, 4);
  V(1, 1) = 2.0;
  V(2, 2) = 3.0;
  V(0, 1) = 99.0;   // outside rows 1..n: ignored
  V(1, -1) = 99.0;  // outside columns 1..m: ignored
  Array2<double> W, R;
  ASSERT_EQ(BON::BuildBON(2, 2, V, W, R), "OK");
  EXPECT_EQ(R(1, 1), 4.0);
  EXPECT_EQ(R(2, 2), 9.0);
  EXPECT_EQ(R(2, 1), 0.0);
}

TEST(BON, ZeroVectorIsReportedByNumber) {
  EXPECT_EQ(Build({{1, 2}, {0, 0}}), "Le vecteur n°2 est nul");
  EXPECT_EQ(Build({{0, 0, 0}}), "Le vecteur n°1 est nul");
}

TEST(BON, ZeroRowIsReportedEvenWhenAnEarlierPairIsDependent) {
  EXPECT_EQ(Build({{1, 2, 3}, {2, 4, 6}, {0, 0, 0}}), "Le vecteur n°3 est nul");
  EXPECT_EQ(Build({{1, 2, 3}, {1, 2, 3}, {5, 1, 0}, {0, 0, 0}, {0, 0, 0}}),
            "Le vecteur n°4 est nul");
}

TEST(BON, VectorsOfNoComponentsAreNull) {
  Array2<double> W, R;
  const Array2<double> V;
  EXPECT_EQ(BON::BuildBON(2, 0, V, W, R), "Le vecteur n°1 est nul");
}

TEST(BON, ThirdRowEqualToTheFirstIsDependent) {
  EXPECT_EQ(Build({{1, 0, 0}, {0, 1, 0}, {1, 0, 0}}), "Le vecteur n°3 est dépendant !");
}

TEST(BON, DependentRowWithARoundingSizedRemainderIsStillDependent) {
  const Rows rows = {{1, 2, 3}, {0, 1, 0}, {1, 2, 3}};
  // Classical Gram-Schmidt leaves this remainder a hair above zero.
  ASSERT_GT(ClassicalRemainder2(rows), 0.0);
  EXPECT_EQ(Build(rows), "Le vecteur n°3 est dépendant !");
}

TEST(BON, EqualRowsAreDependent) {
  EXPECT_EQ(Build({{3, 1, 4, 1, 5}, {3, 1, 4, 1, 5}}), "Le vecteur n°2 est dépendant !");
}

TEST(BON, ThreeVectorsOfDimensionTwoAreDependent) {
  const Rows rows = {{5, -6}, {4, -1}, {-7, -3}};
  ASSERT_GT(ClassicalRemainder2(rows), 0.0);
  EXPECT_EQ(Build(rows), "Le vecteur n°3 est dépendant !");
}

TEST(BON, CoordinateDifferencesOfCoplanarPointsAreDependent) {
  // x, y and z differences of (-6, -5, 25), (-9, -8, 46), (-1, 4, -42) from
  // (-7, -9, 56); all four points lie on the plane z = x - 8y - 9.
  const Rows rows = {{1, -2, 6}, {4, 1, 13}, {-31, -10, -98}};
  ASSERT_GT(ClassicalRemainder2(rows), 0.0);
  EXPECT_EQ(Build(rows), "Le vecteur n°3 est dépendant !");
}

TEST(BON, ExactlyDependentWellConditionedSetsOfManyComponentsAreDependent) {
  // Integer rows and an integer combination: the last row lies exactly in the
  // span of the others, whatever rounding the orthogonalisation leaves.
  std::mt19937 gen(20240611);
  std::uniform_int_distribution<int> entry(-1000000, 1000000);
  std::uniform_int_distribution<int> coefficient(-50, 50);
  int rounding_remainders = 0;
  for (const int m : {5, 20, 100, 1000, 5000}) {
    for (const int n : {2, 3, 4}) {
      for (int trial = 0; trial < 20; ++trial) {
        Rows rows(static_cast<std::size_t>(n), std::vector<double>(static_cast<std::size_t>(m)));
        for (int i = 0; i + 1 < n; ++i)
          for (auto& e : rows[static_cast<std::size_t>(i)]) e = entry(gen);
        std::vector<int> c(static_cast<std::size_t>(n - 1));
        for (auto& ci : c) ci = coefficient(gen);
        if (c[0] == 0) c[0] = 1;
        for (int k = 0; k < m; ++k) {
          double s = 0.0;
          for (int i = 0; i + 1 < n; ++i)
            s += c[static_cast<std::size_t>(i)] * rows[static_cast<std::size_t>(i)][k];
          rows.back()[static_cast<std::size_t>(k)] = s;
        }
        if (ClassicalRemainder2(rows) != 0.0) ++rounding_remainders;
        EXPECT_EQ(Build(rows), "Le vecteur n°" + std::to_string(n) + " est dépendant !")
            << "m = " << m << ", n = " << n << ", trial " << trial;
      }
    }
  }
  // Most of these leave a non-zero remainder: the test exercises the
  // rounding allowance, not just the exact-zero case.
  EXPECT_GT(rounding_remainders, 100);
}

TEST(BON, NearlyDependentRowsPassWithATinySquaredLength) {
  Array2<double> W, R;
  ASSERT_EQ(Build({{1, 2, 3}, {0, 1, 0}, {1, 2, 3 + 3e-6}}, W, R), "OK");
  EXPECT_GT(R(3, 3), 0.0);
  EXPECT_LT(R(3, 3), 1e-11);
  ASSERT_EQ(Build({{1, 2, 3}, {1 + 1e-6, 2, 3}}, W, R), "OK");
  EXPECT_GT(R(2, 2), 0.0);
  EXPECT_LT(R(2, 2), 1e-11);
}

TEST(BON, RandomNearlyDependentSetsPass) {
  std::mt19937 gen(7);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  for (const int m : {3, 10, 1000}) {
    for (int trial = 0; trial < 50; ++trial) {
      Rows rows(3, std::vector<double>(static_cast<std::size_t>(m)));
      for (auto& e : rows[0]) e = u(gen);
      for (auto& e : rows[1]) e = u(gen);
      const double a = u(gen), b = u(gen);
      for (std::size_t k = 0; k < rows[2].size(); ++k)
        rows[2][k] = a * rows[0][k] + b * rows[1][k] + 1e-6 * u(gen);
      EXPECT_EQ(Build(rows), "OK") << "m = " << m << ", trial " << trial;
    }
  }
}

TEST(BON, OrthogonalisationIsClassicalNotModified) {
  // Lauchli vectors: classical Gram-Schmidt computes every coefficient of a
  // row from the given vector, so w2 and w3 come out at 60 degrees to each
  // other; the modified variant would keep them orthogonal.
  const double e = 1e-8;
  Array2<double> W, R;
  ASSERT_EQ(Build({{1, e, 0, 0}, {1, 0, e, 0}, {1, 0, 0, e}}, W, R), "OK");
  const double w23 = BON::ProdScal(2, 3, 4, W);
  const double cosine = w23 / std::sqrt(R(2, 2) * R(3, 3));
  EXPECT_NEAR(cosine, 0.5, 1e-6);
  EXPECT_EQ(R(3, 2), 0.0);  // V(3) . w2 = 0, although w3 still holds part of w2
}

TEST(BON, BasisIsOrthogonalAndReproducesTheGivenVectors) {
  std::mt19937 gen(99);
  std::uniform_real_distribution<double> u(-10.0, 10.0);
  for (int trial = 0; trial < 30; ++trial) {
    const int n = 1 + trial % 4;
    const int m = n + trial % 7;
    Rows rows(static_cast<std::size_t>(n), std::vector<double>(static_cast<std::size_t>(m)));
    for (auto& row : rows)
      for (auto& e : row) e = u(gen);
    Array2<double> W, R;
    ASSERT_EQ(Build(rows, W, R), "OK");
    for (Int16 i = 1; i <= n; ++i) {
      EXPECT_EQ(R(i, i), BON::ProdScal(i, i, static_cast<Int16>(m), W));
      for (Int16 j = 1; j < i; ++j) {
        const double c = BON::ProdScal(i, j, static_cast<Int16>(m), W);
        EXPECT_LE(std::fabs(c), 1e-12 * std::sqrt(R(i, i) * R(j, j)));
        EXPECT_EQ(R(j, i), 0.0);
      }
      for (std::int32_t k = 1; k <= m; ++k) {
        double v = W(i, k);
        for (std::int32_t j = 1; j < i; ++j) v += R(i, j) * W(j, k);
        EXPECT_NEAR(v, rows[i - 1][k - 1], 1e-12 * 10.0 * m);
      }
    }
  }
}

TEST(BON, StopRequestedBeforeTheCallIsClearedAndHasNoEffect) {
  BON::StopRequested(true);
  EXPECT_EQ(Build({{1, 0}, {0, 1}}), "OK");
  EXPECT_FALSE(BON::StopRequested());
}

TEST(BON, StopRequestedWhileWorkingEndsWithTheUserStopMessage) {
  auto previous = SetDoEventsHook([] { BON::StopRequested(true); });
  const std::string result = Build({{1, 0}, {0, 1}});
  SetDoEventsHook(previous);
  EXPECT_EQ(result, "Arret par l'utilisateur");
  EXPECT_FALSE(BON::StopRequested());
}

TEST(BON, BuildYieldsAfterEveryVectorAndCoefficient) {
  int calls = 0;
  auto previous = SetDoEventsHook([&calls] { ++calls; });
  const std::string result = Build({{1, 2, 3}, {0, 1, 0}, {0, 0, 1}});
  SetDoEventsHook(previous);
  ASSERT_EQ(result, "OK");
  // 3 zero checks, 0 + 1 + 2 coefficients, 3 vectors.
  EXPECT_EQ(calls, 9);
}

TEST(BON, SolveYieldsAfterEveryProductAndUnknown) {
  const Array2<double> V = FromRows({{1, 2, 3}, {0, 1, 0}, {0, 0, 1}});
  Array2<double> W, R;
  ASSERT_EQ(BON::BuildBON(3, 3, V, W, R), "OK");
  int calls = 0;
  auto previous = SetDoEventsHook([&calls] { ++calls; });
  Array1<double> x, y;
  BON::SolveBON(3, 3, FromValues({1, 2, 3}), V, W, R, x, y);
  SetDoEventsHook(previous);
  EXPECT_EQ(calls, 6);
}

TEST(BON, RunTimeErrorsBecomeTheResultText) {
  // V has fewer rows than n.
  const Array2<double> small = FromRows({{1, 2, 3}, {4, 5, 6}});
  Array2<double> W, R;
  EXPECT_EQ(BON::BuildBON(3, 3, small, W, R), "Subscript out of range");
  // A squared length beyond the double range.
  EXPECT_EQ(Build({{1e200, 1e200}}), "Overflow");
  // The fault is reported once, not left behind for the next check.
  EXPECT_EQ(Build({{1, 0}, {0, 1}}), "OK");
}

TEST(BON, NegativeSizesFailWhileDimensioningBeforeTheTrap) {
  Array2<double> W, R;
  const Array2<double> V = FromRows({{1, 2}});
  EXPECT_RUNTIME_ERROR(BON::BuildBON(-1, 2, V, W, R), err::kSubscriptOutOfRange);
  EXPECT_RUNTIME_ERROR(BON::BuildBON(1, -2, V, W, R), err::kSubscriptOutOfRange);
}

// --- SolveBON ----------------------------------------------------------------

TEST(BON, SquareIndependentSystemIsSolvedWithZeroResidual) {
  const Array2<double> V = FromRows({{2, 1, 0}, {1, 3, 1}, {0, 1, 4}});
  const Array1<double> b = FromValues({3, 7, 13});  // 1 V(1) + 1 V(2) + 3 V(3)
  Array2<double> W, R;
  ASSERT_EQ(BON::BuildBON(3, 3, V, W, R), "OK");
  Array1<double> x, y;
  const double residual = BON::SolveBON(3, 3, b, V, W, R, x, y);
  EXPECT_LE(residual, 1e-24);
  EXPECT_NEAR(x(1), 1.0, 1e-14);
  EXPECT_NEAR(x(2), 1.0, 1e-14);
  EXPECT_NEAR(x(3), 3.0, 1e-14);
  for (std::int32_t k = 1; k <= 3; ++k) {
    double s = 0.0;
    for (std::int32_t i = 1; i <= 3; ++i) s += x(i) * V(i, k);
    EXPECT_NEAR(s, b(k), 1e-13);
  }
}

TEST(BON, SolveBacksubstitutesThroughTheCoefficients) {
  // x1 (1, 0) + x2 (1, 1) = (3, 5): x2 = 5, x1 = -2.
  const Array2<double> V = FromRows({{1, 0}, {1, 1}});
  Array2<double> W, R;
  ASSERT_EQ(BON::BuildBON(2, 2, V, W, R), "OK");
  Array1<double> x, y;
  EXPECT_EQ(BON::SolveBON(2, 2, FromValues({3, 5}), V, W, R, x, y), 0.0);
  EXPECT_EQ(x.LBound(), 1);
  EXPECT_EQ(x.UBound(), 2);
  EXPECT_EQ(x(1), -2.0);
  EXPECT_EQ(x(2), 5.0);
  EXPECT_EQ(y(1), 3.0);  // w1 . b
  EXPECT_EQ(y(2), 5.0);  // w2 = (0, 1)
}

TEST(BON, OverdeterminedSystemGivesTheLeastSquaresFitAndItsResidual) {
  // Best constant for (1, 3): 2, residual (1 - 2)^2 + (3 - 2)^2 = 2.
  const Array2<double> V = FromRows({{1, 1}});
  Array2<double> W, R;
  ASSERT_EQ(BON::BuildBON(1, 2, V, W, R), "OK");
  Array1<double> x, y;
  EXPECT_EQ(BON::SolveBON(1, 2, FromValues({1, 3}), V, W, R, x, y), 2.0);
  EXPECT_EQ(x(1), 2.0);
  EXPECT_EQ(y(1), 4.0);
}

TEST(BON, LeastSquaresResidualIsOrthogonalToEveryVector) {
  std::mt19937 gen(5);
  std::uniform_real_distribution<double> u(-5.0, 5.0);
  for (int trial = 0; trial < 20; ++trial) {
    const Int16 n = 4;
    const Int16 m = 30;
    Rows rows(n, std::vector<double>(m));
    for (auto& row : rows)
      for (auto& e : row) e = u(gen);
    std::vector<double> bv(m);
    for (auto& e : bv) e = u(gen);
    const Array2<double> V = FromRows(rows);
    const Array1<double> b = FromValues(bv);
    Array2<double> W, R;
    ASSERT_EQ(BON::BuildBON(n, m, V, W, R), "OK");
    Array1<double> x, y;
    const double residual = BON::SolveBON(n, m, b, V, W, R, x, y);
    double check = 0.0;
    std::vector<double> e(m);
    for (std::int32_t k = 1; k <= m; ++k) {
      double s = 0.0;
      for (std::int32_t i = 1; i <= n; ++i) s += V(i, k) * x(i);
      e[k - 1] = b(k) - s;
      check += e[k - 1] * e[k - 1];
    }
    EXPECT_EQ(residual, check);
    for (std::int32_t i = 1; i <= n; ++i) {
      double d = 0.0;
      for (std::int32_t k = 1; k <= m; ++k) d += V(i, k) * e[k - 1];
      EXPECT_LE(std::fabs(d), 1e-10);
    }
  }
}

// The plain classical Gram-Schmidt of BuildBON and the products of
// SolveBON, one scalar product at a time with ProdScal2: the reference the
// side-by-side products must match bit for bit.
void PlainBuild(Int16 n, Int16 m, const Array2<double>& V, Array2<double>& W, Array2<double>& R) {
  W.ReDim(1, n, 1, m);
  R.ReDim(1, n, 1, n);
  for (Int32 i = 1; i <= n; ++i)
    for (Int32 k = 1; k <= m; ++k) W(i, k) = V(i, k);
  for (Int32 i = 1; i <= n; ++i) {
    const auto i16 = static_cast<Int16>(i);
    for (Int32 j = 1; j < i; ++j) {
      const auto j16 = static_cast<Int16>(j);
      R(i, j) = BON::ProdScal2(i16, j16, m, V, W) / BON::ProdScal(j16, j16, m, W);
    }
    for (Int32 j = 1; j < i; ++j)
      for (Int32 k = 1; k <= m; ++k) W(i, k) = W(i, k) - R(i, j) * W(j, k);
    R(i, i) = BON::ProdScal(i16, i16, m, W);
  }
}

TEST(BON, BuildAndSolveGiveThePlainProductsBitForBit) {
  std::mt19937_64 rng(11);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  for (Int16 n = 1; n <= 6; ++n)
    for (Int16 m : {Int16{7}, Int16{100}, Int16{1001}}) {
      Array2<double> V(1, n, 1, m);
      for (Int32 k = 1; k <= m; ++k)
        for (Int32 i = 1; i <= n; ++i) V(i, k) = std::ldexp(u(rng), static_cast<int>(k % 9) - 4);
      Array2<double> W, R, W0, R0;
      ASSERT_EQ(BON::BuildBON(n, m, V, W, R), "OK");
      PlainBuild(n, m, V, W0, R0);
      EXPECT_TRUE(W == W0) << "n " << n << " m " << m;
      EXPECT_TRUE(R == R0) << "n " << n << " m " << m;

      Array1<double> b(1, m), x, y;
      for (Int32 k = 1; k <= m; ++k) b(k) = u(rng);
      BON::SolveBON(n, m, b, V, W, R, x, y);
      Array2<double> B(1, 1, 1, m);
      for (Int32 k = 1; k <= m; ++k) B(1, k) = b(k);
      for (Int32 i = 1; i <= n; ++i)
        EXPECT_EQ(y(i), BON::ProdScal2(static_cast<Int16>(i), 1, m, W, B)) << i;
    }
}

TEST(BON, SolveWithAZeroSquaredLengthRaisesDivisionByZero) {
  const Array2<double> V = FromRows({{1, 0}});
  const Array2<double> W = FromRows({{1, 0}});
  const Array2<double> R(1, 1, 1, 1);  // R(1, 1) = 0
  Array1<double> x, y;
  EXPECT_RUNTIME_ERROR(BON::SolveBON(1, 2, FromValues({1, 1}), V, W, R, x, y),
                       err::kDivisionByZero);
}

TEST(BON, SolveOutsideTheBoundsRaisesSubscriptError) {
  const Array2<double> V = FromRows({{1, 0}});
  Array2<double> W, R;
  ASSERT_EQ(BON::BuildBON(1, 2, V, W, R), "OK");
  Array1<double> x, y;
  EXPECT_RUNTIME_ERROR(BON::SolveBON(1, 2, FromValues({1}), V, W, R, x, y),
                       err::kSubscriptOutOfRange);
}

}  // namespace
}  // namespace tavric
