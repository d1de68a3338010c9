#include "geometry/ClsQuaternion.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <random>

#include "TestSupport.h"

namespace tavric {
namespace {

constexpr double kPi = std::numbers::pi;

void ExpectParts(const ClsQuaternion& q, double a, double b, double c, double d) {
  EXPECT_EQ(q.A(), a);
  EXPECT_EQ(q.B(), b);
  EXPECT_EQ(q.C(), c);
  EXPECT_EQ(q.D(), d);
}

void ExpectPartsNear(const ClsQuaternion& q, double a, double b, double c, double d,
                     double tolerance) {
  EXPECT_NEAR(q.A(), a, tolerance);
  EXPECT_NEAR(q.B(), b, tolerance);
  EXPECT_NEAR(q.C(), c, tolerance);
  EXPECT_NEAR(q.D(), d, tolerance);
}

void ExpectVectorNear(const ClsVector& v, double c1, double c2, double c3, double tolerance) {
  EXPECT_NEAR(v.C1(), c1, tolerance);
  EXPECT_NEAR(v.C2(), c2, tolerance);
  EXPECT_NEAR(v.C3(), c3, tolerance);
}

// Length of a - b, computed here without the library's vector code.
double Distance(const ClsVector& a, const ClsVector& b) {
  const double d1 = a.C1() - b.C1();
  const double d2 = a.C2() - b.C2();
  const double d3 = a.C3() - b.C3();
  return std::sqrt(d1 * d1 + d2 * d2 + d3 * d3);
}

double Length(const ClsVector& v) {
  return std::sqrt(v.C1() * v.C1() + v.C2() * v.C2() + v.C3() * v.C3());
}

// A random unit quaternion, uniformly distributed over rotations (both signs
// of A occur).
ClsQuaternion RandomUnitQuaternion(std::mt19937_64& gen) {
  std::normal_distribution<double> n(0.0, 1.0);
  const double a = n(gen);
  const double b = n(gen);
  const double c = n(gen);
  const double d = n(gen);
  ClsQuaternion q(a, b, c, d);
  q.Normalize();
  return q;
}

ClsVector RandomVector(std::mt19937_64& gen) {
  std::uniform_real_distribution<double> u(-100.0, 100.0);
  const double c1 = u(gen);
  const double c2 = u(gen);
  const double c3 = u(gen);
  return ClsVector(c1, c2, c3);
}

// The Hamilton product in its textbook form, for comparison.
ClsQuaternion Hamilton(const ClsQuaternion& p, const ClsQuaternion& q) {
  return ClsQuaternion(p.A() * q.A() - p.B() * q.B() - p.C() * q.C() - p.D() * q.D(),
                       p.A() * q.B() + p.B() * q.A() + p.C() * q.D() - p.D() * q.C(),
                       p.A() * q.C() - p.B() * q.D() + p.C() * q.A() + p.D() * q.B(),
                       p.A() * q.D() + p.B() * q.C() - p.C() * q.B() + p.D() * q.A());
}

TEST(ClsQuaternion, NewQuaternionIsTheIdentity) {
  ClsQuaternion q;
  ExpectParts(q, 1.0, 0.0, 0.0, 0.0);
  ExpectParts(*NewQuaternion(), 1.0, 0.0, 0.0, 0.0);
  EXPECT_EQ(q.Norm(), 1.0);
}

TEST(ClsQuaternion, IdentityHasTheIdentityRotationMatrix) {
  ClsQuaternion q;
  auto m = q.Rotate_Matrix();
  ASSERT_TRUE(m);
  for (Byte i = 1; i <= 3; ++i) {
    for (Byte j = 1; j <= 3; ++j) EXPECT_EQ(m->Mij(i, j), i == j ? 1.0 : 0.0);
  }
}

TEST(ClsQuaternion, IdentityRotatesIntoANewEqualVector) {
  ClsQuaternion q;
  ClsVector v(1.5, -2.25, 3.0);
  auto r = q.Rotate(v);
  ASSERT_TRUE(r);
  EXPECT_NE(r.get(), &v);
  EXPECT_EQ(r->C1(), 1.5);
  EXPECT_EQ(r->C2(), -2.25);
  EXPECT_EQ(r->C3(), 3.0);
}

TEST(ClsQuaternion, QuarterTurnAboutZRotatesXToY) {
  ClsQuaternion q;
  q.From_u(kPi / 2.0, ClsVector(0.0, 0.0, 1.0));
  ExpectPartsNear(q, std::sqrt(0.5), 0.0, 0.0, std::sqrt(0.5), 1e-15);
  ClsVector x(1.0, 0.0, 0.0);
  ExpectVectorNear(*q.Rotate(x), 0.0, 1.0, 0.0, 1e-15);
  ExpectVectorNear(*q.Rotate_Matrix()->TimesV(x), 0.0, 1.0, 0.0, 1e-15);
  EXPECT_EQ(x.C1(), 1.0);
  EXPECT_EQ(x.C2(), 0.0);
}

TEST(ClsQuaternion, QuarterTurnAboutZHasTheTextbookMatrix) {
  ClsQuaternion q;
  q.From_u(kPi / 2.0, ClsVector(0.0, 0.0, 1.0));
  auto m = q.Rotate_Matrix();
  const double expected[3][3] = {{0.0, -1.0, 0.0}, {1.0, 0.0, 0.0}, {0.0, 0.0, 1.0}};
  for (Byte i = 1; i <= 3; ++i) {
    for (Byte j = 1; j <= 3; ++j) EXPECT_NEAR(m->Mij(i, j), expected[i - 1][j - 1], 1e-15);
  }
}

TEST(ClsQuaternion, FromUUsesTheAxisWithoutNormalisingIt) {
  ClsQuaternion q;
  const ClsVector axis(0.0, 0.0, 2.0);
  q.From_u(kPi, axis);
  EXPECT_EQ(q.A(), std::cos(kPi / 2.0));
  EXPECT_EQ(q.B(), 0.0);
  EXPECT_EQ(q.C(), 0.0);
  EXPECT_EQ(q.D(), 2.0 * std::sin(kPi / 2.0));
  EXPECT_EQ(axis.C3(), 2.0);
}

TEST(ClsQuaternion, FromUWithAnInfiniteAngleRaisesOverflow) {
  ClsQuaternion q;
  EXPECT_RUNTIME_ERROR(q.From_u(std::numeric_limits<double>::infinity(), ClsVector(1, 0, 0)), 6);
}

TEST(ClsQuaternion, FromM33ReproducesAUnitQuaternionWithPositiveA) {
  ClsVector axis(1.0, 2.0, 3.0);
  axis.Normer();
  ClsQuaternion q;
  q.From_u(2.0, axis);  // A = cos(1) > 0
  ClsQuaternion back(0.0, 0.0, 0.0, 0.0);
  back.From_M33(*q.Rotate_Matrix());
  ExpectPartsNear(back, q.A(), q.B(), q.C(), q.D(), 1e-15);
}

TEST(ClsQuaternion, FromM33GivesTheNegatedQuaternionWhenAIsNegative) {
  ClsVector axis(-2.0, 0.5, 1.0);
  axis.Normer();
  ClsQuaternion q;
  q.From_u(2.0, axis);
  q.Scal(-1.0);  // the same rotation, A < 0
  ASSERT_LT(q.A(), 0.0);
  ClsQuaternion back;
  back.From_M33(*q.Rotate_Matrix());
  ExpectPartsNear(back, -q.A(), -q.B(), -q.C(), -q.D(), 1e-15);
}

TEST(ClsQuaternion, FromM33OfAHalfTurnRaisesAnArithmeticError) {
  // Half a turn about Z: trace -1, so A = 0 and every quotient is 0 / 0.
  Matrix33 m;
  m.Mij(1, 1, -1.0);
  m.Mij(2, 2, -1.0);
  m.Mij(3, 3, 1.0);
  ClsQuaternion q(0.5, 0.5, 0.5, 0.5);
  EXPECT_RUNTIME_ERROR(q.From_M33(m), 6);
  // A was already stored; the parts after the fault were not.
  EXPECT_EQ(q.A(), 0.0);
  EXPECT_EQ(q.B(), 0.5);
  EXPECT_EQ(q.C(), 0.5);
  EXPECT_EQ(q.D(), 0.5);
}

TEST(ClsQuaternion, FromM33OfTraceMinusOneWithAnAsymmetryRaisesDivisionByZero) {
  Matrix33 m;
  m.Mij(1, 1, -1.0);
  m.Mij(2, 2, -1.0);
  m.Mij(3, 3, 1.0);
  m.Mij(2, 3, 1.0);
  ClsQuaternion q;
  EXPECT_RUNTIME_ERROR(q.From_M33(m), 11);
}

TEST(ClsQuaternion, FromM33OfTraceBelowMinusOneRaisesInvalidCall) {
  Matrix33 m;
  m.Mij(1, 1, -1.0);
  m.Mij(2, 2, -1.0);
  m.Mij(3, 3, -1.0);
  ClsQuaternion q(0.5, 0.5, 0.5, 0.5);
  EXPECT_RUNTIME_ERROR(q.From_M33(m), 5);
  ExpectParts(q, 0.5, 0.5, 0.5, 0.5);
}

TEST(ClsQuaternion, ScalDoublesThePartsAndReturnsNoObject) {
  ClsQuaternion q(1.0, -2.0, 3.0, 0.5);
  auto r = q.Scal(2.0);
  EXPECT_FALSE(r);
  ExpectParts(q, 2.0, -4.0, 6.0, 1.0);
}

TEST(ClsQuaternion, MulIsNotCommutative) {
  ClsQuaternion i(0.0, 1.0, 0.0, 0.0);
  ClsQuaternion j(0.0, 0.0, 1.0, 0.0);
  ExpectParts(*i.Mul(j), 0.0, 0.0, 0.0, 1.0);
  ExpectParts(*j.Mul(i), 0.0, 0.0, 0.0, -1.0);
  ExpectParts(i, 0.0, 1.0, 0.0, 0.0);
  ExpectParts(j, 0.0, 0.0, 1.0, 0.0);
}

TEST(ClsQuaternion, MulFollowsHamiltonsRules) {
  ClsQuaternion i(0.0, 1.0, 0.0, 0.0);
  ClsQuaternion j(0.0, 0.0, 1.0, 0.0);
  ClsQuaternion k(0.0, 0.0, 0.0, 1.0);
  ExpectParts(*i.Mul(i), -1.0, 0.0, 0.0, 0.0);
  ExpectParts(*j.Mul(j), -1.0, 0.0, 0.0, 0.0);
  ExpectParts(*k.Mul(k), -1.0, 0.0, 0.0, 0.0);
  ExpectParts(*i.Mul(j)->Mul(k), -1.0, 0.0, 0.0, 0.0);
  ExpectParts(*j.Mul(k), 0.0, 1.0, 0.0, 0.0);
  ExpectParts(*k.Mul(i), 0.0, 0.0, 1.0, 0.0);
}

TEST(ClsQuaternion, MulMatchesTheTextbookProductOnSmallIntegers) {
  std::mt19937_64 gen(31);
  std::uniform_int_distribution<int> d(-9, 9);
  for (int n = 0; n < 200; ++n) {
    ClsQuaternion p(d(gen), d(gen), d(gen), d(gen));
    ClsQuaternion q(d(gen), d(gen), d(gen), d(gen));
    const ClsQuaternion e = Hamilton(p, q);
    ExpectParts(*p.Mul(q), e.A(), e.B(), e.C(), e.D());
  }
}

TEST(ClsQuaternion, MulOfANormIsTheProductOfTheNorms) {
  ClsQuaternion p(1.0, 2.0, 2.0, 4.0);  // norm 5
  ClsQuaternion q(0.0, 3.0, 0.0, 4.0);  // norm 5
  EXPECT_EQ(p.Norm(), 5.0);
  EXPECT_NEAR(p.Mul(q)->Norm(), 25.0, 1e-13);
}

TEST(ClsQuaternion, ConjugateAndAddLeaveTheReceiverUnchanged) {
  ClsQuaternion q(1.0, 2.0, 3.0, 4.0);
  ClsQuaternion other(10.0, 20.0, 30.0, 40.0);
  auto c = q.Conjugate();
  ExpectParts(*c, 1.0, -2.0, -3.0, -4.0);
  ExpectParts(q, 1.0, 2.0, 3.0, 4.0);
  auto s = q.Add(other);
  ExpectParts(*s, 11.0, 22.0, 33.0, 44.0);
  ExpectParts(q, 1.0, 2.0, 3.0, 4.0);
  ExpectParts(other, 10.0, 20.0, 30.0, 40.0);
  EXPECT_NE(s.get(), &q);
}

TEST(ClsQuaternion, NormalizeDividesByTheNorm) {
  ClsQuaternion q(1.0, 1.0, 1.0, 1.0);
  EXPECT_EQ(q.Norm(), 2.0);
  q.Normalize();
  ExpectParts(q, 0.5, 0.5, 0.5, 0.5);
  ClsQuaternion r(0.0, 3.0, 0.0, 4.0);
  r.Normalize();
  ExpectParts(r, 0.0, 3.0 / 5.0, 0.0, 4.0 / 5.0);
}

TEST(ClsQuaternion, NormalizeOfTheZeroQuaternionRaisesAnArithmeticError) {
  ClsQuaternion q(0.0, 0.0, 0.0, 0.0);
  EXPECT_RUNTIME_ERROR(q.Normalize(), 6);
  ExpectParts(q, 0.0, 0.0, 0.0, 0.0);
}

TEST(ClsQuaternion, RotateOfANonUnitQuaternionScalesByTheSquaredNorm) {
  ClsQuaternion q(2.0, 0.0, 0.0, 0.0);
  ClsVector v(1.0, -2.0, 3.0);
  auto r = q.Rotate(v);
  EXPECT_EQ(r->C1(), 4.0);
  EXPECT_EQ(r->C2(), -8.0);
  EXPECT_EQ(r->C3(), 12.0);
  ClsQuaternion p;
  p.From_u(1.0, ClsVector(0.0, 1.0, 0.0));
  ClsQuaternion p3 = p;
  p3.Scal(3.0);
  auto unit = p.Rotate(v);
  auto scaled = p3.Rotate(v);
  ExpectVectorNear(*scaled, 9.0 * unit->C1(), 9.0 * unit->C2(), 9.0 * unit->C3(), 1e-13);
}

TEST(ClsQuaternion, OverflowRaisesErrorSixInsteadOfInfinity) {
  ClsQuaternion big(1e200, 1e200, 1e200, 1e200);
  EXPECT_RUNTIME_ERROR(big.Norm(), 6);
  EXPECT_RUNTIME_ERROR(big.Normalize(), 6);
  EXPECT_RUNTIME_ERROR(big.Mul(big), 6);
  EXPECT_RUNTIME_ERROR(big.Rotate_Matrix(), 6);
  EXPECT_RUNTIME_ERROR(big.Rotate(ClsVector(1.0, 1.0, 1.0)), 6);
  const double max = std::numeric_limits<double>::max();
  ClsQuaternion huge(max, max, max, max);
  EXPECT_RUNTIME_ERROR(huge.Add(huge), 6);
  ClsQuaternion q(1e10, 1.0, 1.0, 1.0);
  EXPECT_RUNTIME_ERROR(q.Scal(1e300), 6);
  EXPECT_EQ(q.A(), 1e10);
}

// ---- Properties over random rotations ----

TEST(ClsQuaternion, RotationMatrixTimesVEqualsRotate) {
  std::mt19937_64 gen(41);
  for (int n = 0; n < 500; ++n) {
    const ClsQuaternion q = RandomUnitQuaternion(gen);
    const ClsVector v = RandomVector(gen);
    auto by_matrix = q.Rotate_Matrix()->TimesV(v);
    auto by_quaternion = q.Rotate(v);
    EXPECT_LE(Distance(*by_matrix, *by_quaternion), 1e-12 * Length(v));
  }
}

TEST(ClsQuaternion, RotatePreservesLengthForUnitQuaternions) {
  std::mt19937_64 gen(42);
  for (int n = 0; n < 500; ++n) {
    const ClsQuaternion q = RandomUnitQuaternion(gen);
    const ClsVector v = RandomVector(gen);
    EXPECT_NEAR(Length(*q.Rotate(v)), Length(v), 1e-12 * Length(v));
  }
}

TEST(ClsQuaternion, RotationMatrixIsOrthonormalWithDeterminantOne) {
  std::mt19937_64 gen(43);
  for (int n = 0; n < 300; ++n) {
    const ClsQuaternion q = RandomUnitQuaternion(gen);
    auto m = q.Rotate_Matrix();
    for (Byte i = 1; i <= 3; ++i) {
      for (Byte j = 1; j <= 3; ++j) {
        EXPECT_NEAR(m->L(i)->Scal(*m->L(j)), i == j ? 1.0 : 0.0, 1e-14);
      }
    }
    EXPECT_NEAR(m->L(1)->Cross(*m->L(2))->Scal(*m->L(3)), 1.0, 1e-14);
  }
}

TEST(ClsQuaternion, FromM33OfRotateMatrixReproducesTheQuaternionUpToSign) {
  std::mt19937_64 gen(44);
  int negative = 0;
  for (int n = 0; n < 500; ++n) {
    const ClsQuaternion q = RandomUnitQuaternion(gen);
    // Near half a turn A is small and the quotients lose digits as 1/A.
    if (std::fabs(q.A()) < 0.05) continue;
    const double sign = q.A() < 0.0 ? -1.0 : 1.0;
    if (sign < 0.0) ++negative;
    ClsQuaternion back;
    back.From_M33(*q.Rotate_Matrix());
    EXPECT_GT(back.A(), 0.0);
    ExpectPartsNear(back, sign * q.A(), sign * q.B(), sign * q.C(), sign * q.D(), 1e-12);
  }
  EXPECT_GT(negative, 50);
}

TEST(ClsQuaternion, MulComposesRotations) {
  std::mt19937_64 gen(45);
  for (int n = 0; n < 300; ++n) {
    const ClsQuaternion p = RandomUnitQuaternion(gen);
    const ClsQuaternion q = RandomUnitQuaternion(gen);
    const ClsVector v = RandomVector(gen);
    auto composed = p.Mul(q)->Rotate(v);
    auto in_turn = p.Rotate(*q.Rotate(v));
    EXPECT_LE(Distance(*composed, *in_turn), 1e-12 * Length(v));
    auto m_pq = p.Mul(q)->Rotate_Matrix();
    auto m_p_m_q = p.Rotate_Matrix()->TimesM33(*q.Rotate_Matrix());
    for (Byte i = 1; i <= 3; ++i) {
      for (Byte j = 1; j <= 3; ++j) EXPECT_NEAR(m_pq->Mij(i, j), m_p_m_q->Mij(i, j), 1e-14);
    }
  }
}

TEST(ClsQuaternion, FromUKeepsTheAxisAndTurnsPerpendicularVectorsByTheAngle) {
  std::mt19937_64 gen(46);
  std::uniform_real_distribution<double> angle(-kPi, kPi);
  for (int n = 0; n < 300; ++n) {
    ClsVector axis = RandomVector(gen);
    axis.Normer();
    const double theta = angle(gen);
    ClsQuaternion q;
    q.From_u(theta, axis);
    EXPECT_NEAR(q.Norm(), 1.0, 1e-15);
    auto kept = q.Rotate(axis);
    EXPECT_LE(Distance(*kept, axis), 1e-14);
    auto w = axis.Cross(RandomVector(gen));
    w->Normer();
    auto turned = q.Rotate(*w);
    EXPECT_NEAR(turned->Scal(*w), std::cos(theta), 1e-14);
    // Right-handed: w x turned points along the axis by sin(theta).
    EXPECT_NEAR(w->Cross(*turned)->Scal(axis), std::sin(theta), 1e-14);
  }
}

TEST(ClsQuaternion, ConjugateUndoesTheRotation) {
  std::mt19937_64 gen(47);
  for (int n = 0; n < 300; ++n) {
    const ClsQuaternion q = RandomUnitQuaternion(gen);
    const ClsVector v = RandomVector(gen);
    auto back = q.Conjugate()->Rotate(*q.Rotate(v));
    EXPECT_LE(Distance(*back, v), 1e-12 * Length(v));
  }
}

}  // namespace
}  // namespace tavric
