#include "geometry/Matrix33.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <random>

#include "TestSupport.h"

namespace tavric {
namespace {

using Rows = std::array<std::array<double, 3>, 3>;

Ref<Matrix33> MakeMatrix(const Rows& e) {
  auto m = NewMatrix33();
  for (Byte i = 1; i <= 3; ++i) {
    for (Byte j = 1; j <= 3; ++j) m->Mij(i, j, e[i - 1][j - 1]);
  }
  return m;
}

Rows Elements(const Matrix33& m) {
  Rows e{};
  for (Byte i = 1; i <= 3; ++i) {
    for (Byte j = 1; j <= 3; ++j) e[i - 1][j - 1] = m.Mij(i, j);
  }
  return e;
}

void ExpectElements(const Matrix33& m, const Rows& e) {
  for (Byte i = 1; i <= 3; ++i) {
    for (Byte j = 1; j <= 3; ++j) {
      EXPECT_EQ(m.Mij(i, j), e[i - 1][j - 1]) << "element (" << int(i) << "," << int(j) << ")";
    }
  }
}

void ExpectNear(const Matrix33& m, const Rows& e, double tolerance) {
  for (Byte i = 1; i <= 3; ++i) {
    for (Byte j = 1; j <= 3; ++j) {
      EXPECT_NEAR(m.Mij(i, j), e[i - 1][j - 1], tolerance)
          << "element (" << int(i) << "," << int(j) << ")";
    }
  }
}

const Rows kIdentity = {{{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}};
const Rows kZero = {};

// Random matrices whose diagonal dominates its rows: Gauss-Jordan without
// row exchange never meets a zero pivot on them, and they are well
// conditioned.
Ref<Matrix33> RandomDominantMatrix(std::mt19937_64& gen) {
  std::uniform_real_distribution<double> off(-1.0, 1.0);
  std::uniform_real_distribution<double> diag(3.0, 6.0);
  std::bernoulli_distribution negative(0.5);
  Rows e{};
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) {
      if (i == j) {
        const double d = diag(gen);
        e[i][j] = negative(gen) ? -d : d;
      } else {
        e[i][j] = off(gen);
      }
    }
  }
  return MakeMatrix(e);
}

Ref<Matrix33> RandomMatrix(std::mt19937_64& gen) {
  std::uniform_real_distribution<double> d(-10.0, 10.0);
  Rows e{};
  for (auto& row : e) {
    for (auto& x : row) x = d(gen);
  }
  return MakeMatrix(e);
}

TEST(Matrix33, NewMatrixReadsZeroEverywhere) {
  Matrix33 m;
  ExpectElements(m, kZero);
  for (Byte i = 1; i <= 3; ++i) EXPECT_TRUE(m.L(i));
}

TEST(Matrix33, SetZeroResetsEveryElement) {
  auto m = MakeMatrix({{{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}, {7.0, 8.0, 9.0}}});
  m->SetZero();
  ExpectElements(*m, kZero);
}

TEST(Matrix33, ElementsAreTheRowVectorsComponents) {
  auto m = MakeMatrix({{{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}, {7.0, 8.0, 9.0}}});
  EXPECT_EQ(m->L(2)->C1(), 4.0);
  EXPECT_EQ(m->L(2)->C2(), 5.0);
  EXPECT_EQ(m->L(2)->C3(), 6.0);
  EXPECT_EQ(m->L(3)->C(1), 7.0);
}

TEST(Matrix33, InvertOfIdentityIsIdentity) {
  auto m = MakeMatrix(kIdentity);
  auto inv = m->Invert();
  ASSERT_TRUE(inv);
  ExpectElements(*inv, kIdentity);
}

TEST(Matrix33, InvertOfDiagonalInvertsEachElement) {
  auto m = MakeMatrix({{{2.0, 0.0, 0.0}, {0.0, 4.0, 0.0}, {0.0, 0.0, 5.0}}});
  auto inv = m->Invert();
  ASSERT_TRUE(inv);
  ExpectElements(*inv, {{{0.5, 0.0, 0.0}, {0.0, 0.25, 0.0}, {0.0, 0.0, 0.2}}});
}

TEST(Matrix33, InvertOfAxisSwapReturnsNoObject) {
  // The matrix is its own inverse, but its first pivot is zero and rows are
  // never exchanged.
  const Rows swap = {{{0.0, 1.0, 0.0}, {1.0, 0.0, 0.0}, {0.0, 0.0, 1.0}}};
  auto m = MakeMatrix(swap);
  EXPECT_FALSE(m->Invert());
  ExpectElements(*m, swap);
  EXPECT_TRUE(m->TimesM33(*m));  // regular all the same
  ExpectElements(*m->TimesM33(*m), kIdentity);
}

TEST(Matrix33, InvertReturnsNoObjectWhenAPivotBecomesZeroDuringElimination) {
  // Determinant 1, but eliminating the first column leaves a zero at (2,2).
  const Rows e = {{{1.0, 2.0, 3.0}, {2.0, 4.0, 7.0}, {1.0, 1.0, 1.0}}};
  auto m = MakeMatrix(e);
  EXPECT_FALSE(m->Invert());
  ExpectElements(*m, e);
}

TEST(Matrix33, InvertOfZeroMatrixReturnsNoObject) {
  Matrix33 m;
  EXPECT_FALSE(m.Invert());
  ExpectElements(m, kZero);
}

TEST(Matrix33, InvertTreatsAPivotThatIsNotANumberAsZero) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  auto m = MakeMatrix({{{nan, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}});
  EXPECT_FALSE(m->Invert());
}

TEST(Matrix33, InvertLeavesTheReceiverUnchanged) {
  const Rows e = {{{4.0, 1.0, -2.0}, {0.5, 3.0, 1.0}, {1.0, -1.0, 5.0}}};
  auto m = MakeMatrix(e);
  const auto r1 = m->L(1);
  const auto r2 = m->L(2);
  const auto r3 = m->L(3);
  auto inv = m->Invert();
  ASSERT_TRUE(inv);
  ExpectElements(*m, e);
  EXPECT_EQ(m->L(1), r1);
  EXPECT_EQ(m->L(2), r2);
  EXPECT_EQ(m->L(3), r3);
  EXPECT_NE(inv->L(1), r1);
}

TEST(Matrix33, InvertOfATinyPivotRaisesOverflowInsteadOfInfinity) {
  auto m = MakeMatrix({{{1e-310, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}});
  EXPECT_RUNTIME_ERROR(m->Invert(), 6);
}

TEST(Matrix33, InvertTimesMatrixIsIdentityForRandomMatrices) {
  std::mt19937_64 gen(21);
  for (int n = 0; n < 300; ++n) {
    auto m = RandomDominantMatrix(gen);
    auto inv = m->Invert();
    ASSERT_TRUE(inv);
    ExpectNear(*inv->TimesM33(*m), kIdentity, 1e-13);
    ExpectNear(*m->TimesM33(*inv), kIdentity, 1e-13);
  }
}

TEST(Matrix33, InvertFollowsGaussJordanWithoutRowExchange) {
  // A regular matrix with non-zero leading pivots; its inverse is exact in
  // binary, so every step of the elimination can be followed by hand.
  auto m = MakeMatrix({{{2.0, 1.0, 0.0}, {1.0, 2.0, 1.0}, {0.0, 1.0, 2.0}}});
  auto inv = m->Invert();
  ASSERT_TRUE(inv);
  ExpectNear(*inv, {{{0.75, -0.5, 0.25}, {-0.5, 1.0, -0.5}, {0.25, -0.5, 0.75}}}, 1e-15);
}

TEST(Matrix33, SharedRowFollowsChangesAndIsResetBySetZero) {
  Matrix33 m;
  auto v = NewVector(1.0, 2.0, 3.0);
  m.L(2, v);
  EXPECT_EQ(m.L(2), v);
  EXPECT_EQ(m.Mij(2, 1), 1.0);
  v->C1(42.0);
  EXPECT_EQ(m.Mij(2, 1), 42.0);
  m.Mij(2, 3, -7.0);
  EXPECT_EQ(v->C3(), -7.0);
  m.SetZero();
  EXPECT_EQ(v->C1(), 0.0);
  EXPECT_EQ(v->C2(), 0.0);
  EXPECT_EQ(v->C3(), 0.0);
  EXPECT_EQ(m.L(2), v);
}

TEST(Matrix33, RowGetterHandsOutTheRowItself) {
  Matrix33 m;
  m.L(1)->C2(5.0);
  EXPECT_EQ(m.Mij(1, 2), 5.0);
  EXPECT_EQ(m.L(3), m.L(3));
}

TEST(Matrix33, EmptyRowSlotIsRefilledWithAZeroVectorOnFirstUse) {
  auto m = MakeMatrix({{{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}, {7.0, 8.0, 9.0}}});
  m->L(2, nullptr);
  EXPECT_EQ(m->Mij(2, 1), 0.0);
  auto row = m->L(2);
  ASSERT_TRUE(row);
  EXPECT_EQ(m->L(2), row);
  m->L(3, nullptr);
  auto r = m->TimesV(ClsVector(1.0, 1.0, 1.0));
  EXPECT_EQ(r->C1(), 6.0);
  EXPECT_EQ(r->C2(), 0.0);
  EXPECT_EQ(r->C3(), 0.0);
}

TEST(Matrix33, ColumnIndexOutsideOneToThreeReadsZeroAndIsIgnoredWhenSet) {
  const Rows e = {{{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}, {7.0, 8.0, 9.0}}};
  auto m = MakeMatrix(e);
  EXPECT_EQ(m->Mij(1, 4), 0.0);
  EXPECT_EQ(m->Mij(3, 0), 0.0);
  m->Mij(1, 4, 11.0);
  m->Mij(2, 0, 11.0);
  auto c = m->Column(4);
  EXPECT_EQ(c->C1(), 0.0);
  EXPECT_EQ(c->C2(), 0.0);
  EXPECT_EQ(c->C3(), 0.0);
  m->Column(4, ClsVector(11.0, 12.0, 13.0));
  m->Column(0, ClsVector(11.0, 12.0, 13.0));
  ExpectElements(*m, e);
}

TEST(Matrix33, RowIndexOutsideOneToThreeRaisesSubscriptOutOfRange) {
  const Rows e = {{{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}, {7.0, 8.0, 9.0}}};
  auto m = MakeMatrix(e);
  EXPECT_RUNTIME_ERROR(m->Mij(4, 1), 9);
  EXPECT_RUNTIME_ERROR(m->Mij(0, 1), 9);
  EXPECT_RUNTIME_ERROR(m->Mij(4, 1, 1.0), 9);
  EXPECT_RUNTIME_ERROR(m->Ligne(0), 9);
  EXPECT_RUNTIME_ERROR(m->Ligne(4), 9);
  EXPECT_RUNTIME_ERROR(m->L(4), 9);
  EXPECT_RUNTIME_ERROR(m->L(0, NewVector()), 9);
  EXPECT_RUNTIME_ERROR(m->L(4, NewVector()), 9);
  ExpectElements(*m, e);
}

TEST(Matrix33, LigneAndColumnGiveNewVectors) {
  auto m = MakeMatrix({{{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}, {7.0, 8.0, 9.0}}});
  auto row = m->Ligne(2);
  EXPECT_NE(row, m->L(2));
  EXPECT_EQ(row->C1(), 4.0);
  EXPECT_EQ(row->C2(), 5.0);
  EXPECT_EQ(row->C3(), 6.0);
  row->C1(0.0);
  EXPECT_EQ(m->Mij(2, 1), 4.0);
  auto col = m->Column(3);
  EXPECT_EQ(col->C1(), 3.0);
  EXPECT_EQ(col->C2(), 6.0);
  EXPECT_EQ(col->C3(), 9.0);
  col->C2(0.0);
  EXPECT_EQ(m->Mij(2, 3), 6.0);
}

TEST(Matrix33, ColumnSetterWritesOneElementPerRow) {
  Matrix33 m;
  m.Column(2, ClsVector(1.0, 2.0, 3.0));
  ExpectElements(m, {{{0.0, 1.0, 0.0}, {0.0, 2.0, 0.0}, {0.0, 3.0, 0.0}}});
}

TEST(Matrix33, TimesVMultipliesRowsByTheVector) {
  auto m = MakeMatrix({{{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}, {7.0, 8.0, 10.0}}});
  ClsVector v(1.0, -1.0, 2.0);
  auto r = m->TimesV(v);
  EXPECT_EQ(r->C1(), 5.0);
  EXPECT_EQ(r->C2(), 11.0);
  EXPECT_EQ(r->C3(), 19.0);
  EXPECT_EQ(v.C1(), 1.0);
}

TEST(Matrix33, TimesM33IsTheMatrixProduct) {
  const Rows a = {{{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}, {7.0, 8.0, 10.0}}};
  const Rows b = {{{-1.0, 0.5, 2.0}, {3.0, 1.0, 0.0}, {2.0, -2.0, 1.0}}};
  Rows expected{};
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) {
      for (int k = 0; k < 3; ++k) expected[i][j] += a[i][k] * b[k][j];
    }
  }
  auto ma = MakeMatrix(a);
  auto mb = MakeMatrix(b);
  ExpectElements(*ma->TimesM33(*mb), expected);
  ExpectElements(*ma, a);
  ExpectElements(*mb, b);
}

TEST(Matrix33, TimesM33WithIdentityYieldsAnEqualMatrixWithNewRows) {
  const Rows e = {{{1.5, -2.0, 3.0}, {4.0, 0.25, 6.0}, {-7.0, 8.0, 9.5}}};
  auto m = MakeMatrix(e);
  auto id = MakeMatrix(kIdentity);
  auto right = m->TimesM33(*id);
  auto left = id->TimesM33(*m);
  ASSERT_TRUE(right);
  ASSERT_NE(right, m);
  ExpectElements(*right, e);
  ExpectElements(*left, e);
  for (Byte i = 1; i <= 3; ++i) {
    EXPECT_NE(right->L(i), m->L(i));
    EXPECT_NE(left->L(i), m->L(i));
  }
}

TEST(Matrix33, TimesM33IsAssociativeWithinRounding) {
  std::mt19937_64 gen(22);
  for (int n = 0; n < 300; ++n) {
    auto a = RandomMatrix(gen);
    auto b = RandomMatrix(gen);
    auto c = RandomMatrix(gen);
    auto ab_c = a->TimesM33(*b)->TimesM33(*c);
    auto a_bc = a->TimesM33(*b->TimesM33(*c));
    // Entries are sums of 27 products of magnitude below 1000.
    ExpectNear(*ab_c, Elements(*a_bc), 1e-11);
  }
}

TEST(Matrix33, TimesM33OfAMatrixWithItself) {
  auto m = MakeMatrix({{{1.0, 1.0, 0.0}, {0.0, 1.0, 1.0}, {0.0, 0.0, 1.0}}});
  ExpectElements(*m->TimesM33(*m), {{{1.0, 2.0, 1.0}, {0.0, 1.0, 2.0}, {0.0, 0.0, 1.0}}});
}

TEST(Matrix33, OverflowRaisesErrorSixInsteadOfInfinity) {
  auto m = MakeMatrix({{{1e200, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}});
  EXPECT_RUNTIME_ERROR(m->TimesV(ClsVector(1e200, 0.0, 0.0)), 6);
  EXPECT_RUNTIME_ERROR(m->TimesM33(*m), 6);
}

}  // namespace
}  // namespace tavric
