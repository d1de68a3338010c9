#include "geometry/ClsVector.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "TestSupport.h"

namespace tavric {
namespace {

void ExpectComponents(const ClsVector& v, double c1, double c2, double c3) {
  EXPECT_EQ(v.C1(), c1);
  EXPECT_EQ(v.C2(), c2);
  EXPECT_EQ(v.C3(), c3);
}

ClsVector RandomVector(std::mt19937_64& gen) {
  std::uniform_real_distribution<double> d(-10.0, 10.0);
  const double c1 = d(gen);
  const double c2 = d(gen);
  const double c3 = d(gen);
  return ClsVector(c1, c2, c3);
}

TEST(ClsVector, NewVectorIsZero) {
  ClsVector v;
  ExpectComponents(v, 0.0, 0.0, 0.0);
  ExpectComponents(*NewVector(), 0.0, 0.0, 0.0);
}

TEST(ClsVector, NormerOnZeroVectorReturnsFalseAndLeavesItZero) {
  ClsVector v;
  EXPECT_FALSE(v.Normer());
  ExpectComponents(v, 0.0, 0.0, 0.0);
  EXPECT_EQ(v.CachedLength(), 0.0);
}

TEST(ClsVector, NormerOnThreeZeroFourGivesUnitVectorAndCachesTheOldLength) {
  ClsVector v(3.0, 0.0, 4.0);
  EXPECT_TRUE(v.Normer());
  ExpectComponents(v, 3.0 / 5.0, 0.0, 4.0 / 5.0);
  EXPECT_DOUBLE_EQ(v.C1(), 0.6);
  EXPECT_DOUBLE_EQ(v.C3(), 0.8);
  // The cached length is the one the components were divided by.
  EXPECT_EQ(v.CachedLength(), 5.0);
  // Norme is recomputed at every read and refreshes the cache.
  EXPECT_EQ(v.Norme(), 1.0);
  EXPECT_EQ(v.CachedLength(), 1.0);
}

TEST(ClsVector, NormerOnALengthThatIsNotANumberReturnsFalseAndChangesNothing) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  ClsVector v(nan, 1.0, 2.0);
  EXPECT_FALSE(v.Normer());
  EXPECT_TRUE(std::isnan(v.C1()));
  EXPECT_EQ(v.C2(), 1.0);
  EXPECT_EQ(v.C3(), 2.0);
}

TEST(ClsVector, NormeIsTheEuclideanLength) {
  ClsVector v(2.0, -3.0, 6.0);
  EXPECT_EQ(v.Norme(), 7.0);
  EXPECT_EQ(v.CachedLength(), 7.0);
  ExpectComponents(v, 2.0, -3.0, 6.0);
}

TEST(ClsVector, ComponentIndexOutsideOneToThreeReadsZero) {
  ClsVector v(1.0, 2.0, 3.0);
  EXPECT_EQ(v.C(0), 0.0);
  EXPECT_EQ(v.C(4), 0.0);
  EXPECT_EQ(v.C(255), 0.0);
  EXPECT_EQ(v.C(1), 1.0);
  EXPECT_EQ(v.C(2), 2.0);
  EXPECT_EQ(v.C(3), 3.0);
}

TEST(ClsVector, SettingAComponentOutsideOneToThreeChangesNothing) {
  ClsVector v(1.0, 2.0, 3.0);
  v.C(4, 9.0);
  v.C(0, 9.0);
  ExpectComponents(v, 1.0, 2.0, 3.0);
  v.C(1, 7.0);
  v.C(2, 8.0);
  v.C(3, 9.0);
  ExpectComponents(v, 7.0, 8.0, 9.0);
}

TEST(ClsVector, AddWithMinusOneGivesTheDifference) {
  ClsVector a(5.0, 7.0, -1.0);
  ClsVector b(1.0, 2.0, 3.0);
  auto d = a.Add(b, -1.0);
  ExpectComponents(*d, 4.0, 5.0, -4.0);
  ExpectComponents(a, 5.0, 7.0, -1.0);
  ExpectComponents(b, 1.0, 2.0, 3.0);
}

TEST(ClsVector, AddWithFactorScalesTheOperand) {
  ClsVector a(1.0, 1.0, 1.0);
  ClsVector b(1.0, 2.0, 3.0);
  ExpectComponents(*a.Add(b, 2.0), 3.0, 5.0, 7.0);
}

TEST(ClsVector, AddWithZeroGivesACopyAsANewObject) {
  auto a = NewVector(1.5, -2.5, 3.25);
  ClsVector b(10.0, 20.0, 30.0);
  auto c = a->Add(b, 0.0);
  ASSERT_TRUE(c);
  EXPECT_NE(c.get(), a.get());
  ExpectComponents(*c, 1.5, -2.5, 3.25);
  c->C1(99.0);
  EXPECT_EQ(a->C1(), 1.5);
}

TEST(ClsVector, CrossWithItselfIsZero) {
  std::mt19937_64 gen(11);
  for (int n = 0; n < 100; ++n) {
    const ClsVector a = RandomVector(gen);
    ExpectComponents(*a.Cross(a), 0.0, 0.0, 0.0);
  }
}

TEST(ClsVector, CrossFollowsTheRightHandRule) {
  ClsVector x(1.0, 0.0, 0.0);
  ClsVector y(0.0, 1.0, 0.0);
  ClsVector z(0.0, 0.0, 1.0);
  ExpectComponents(*x.Cross(y), 0.0, 0.0, 1.0);
  ExpectComponents(*y.Cross(z), 1.0, 0.0, 0.0);
  ExpectComponents(*z.Cross(x), 0.0, 1.0, 0.0);
  ClsVector a(1.0, 2.0, 3.0);
  ClsVector b(4.0, 5.0, 6.0);
  ExpectComponents(*a.Cross(b), -3.0, 6.0, -3.0);
  ExpectComponents(a, 1.0, 2.0, 3.0);
  ExpectComponents(b, 4.0, 5.0, 6.0);
}

TEST(ClsVector, CrossIsAntiCommutative) {
  std::mt19937_64 gen(12);
  for (int n = 0; n < 200; ++n) {
    const ClsVector a = RandomVector(gen);
    const ClsVector b = RandomVector(gen);
    auto ab = a.Cross(b);
    auto ba = b.Cross(a);
    // x - y and y - x round to values of opposite sign, so this is exact.
    EXPECT_EQ(ab->C1(), -ba->C1());
    EXPECT_EQ(ab->C2(), -ba->C2());
    EXPECT_EQ(ab->C3(), -ba->C3());
  }
}

TEST(ClsVector, CrossIsOrthogonalToBothOperands) {
  std::mt19937_64 gen(13);
  for (int n = 0; n < 100; ++n) {
    const ClsVector a = RandomVector(gen);
    const ClsVector b = RandomVector(gen);
    auto c = a.Cross(b);
    EXPECT_NEAR(c->Scal(a), 0.0, 1e-12);
    EXPECT_NEAR(c->Scal(b), 0.0, 1e-12);
  }
}

TEST(ClsVector, ScalWithItselfEqualsTheSquareOfNorme) {
  std::mt19937_64 gen(14);
  for (int n = 0; n < 200; ++n) {
    ClsVector a = RandomVector(gen);
    const double norme = a.Norme();
    EXPECT_NEAR(a.Scal(a), norme * norme, 1e-13 * norme * norme);
  }
}

TEST(ClsVector, ScalIsTheDotProduct) {
  ClsVector a(1.0, 2.0, 3.0);
  ClsVector b(-4.0, 5.0, 0.5);
  EXPECT_EQ(a.Scal(b), 7.5);
  EXPECT_EQ(b.Scal(a), 7.5);
}

TEST(ClsVector, ScalAddsTheThirdProductLast) {
  // 1e16 + 1 rounds back to 1e16, so the sum is 0 only when the third
  // product is added after the first two.
  ClsVector a(1.0, 1e16, -1e16);
  ClsVector ones(1.0, 1.0, 1.0);
  EXPECT_EQ(a.Scal(ones), 0.0);
}

TEST(ClsVector, FoisScalesIntoANewVector) {
  ClsVector a(1.0, -2.0, 4.0);
  auto b = a.Fois(-0.5);
  ExpectComponents(*b, -0.5, 1.0, -2.0);
  ExpectComponents(a, 1.0, -2.0, 4.0);
}

TEST(ClsVector, SetValCopiesTheComponents) {
  ClsVector a;
  ClsVector b(1.0, 2.0, 3.0);
  a.SetVal(b);
  ExpectComponents(a, 1.0, 2.0, 3.0);
  b.C1(5.0);
  EXPECT_EQ(a.C1(), 1.0);
}

TEST(ClsVector, OverflowRaisesErrorSixInsteadOfInfinity) {
  ClsVector big(1e200, 1e200, 1e200);
  ClsVector other(1e200, -1e200, 1e200);
  EXPECT_RUNTIME_ERROR(big.Scal(other), 6);
  EXPECT_RUNTIME_ERROR(big.Norme(), 6);
  EXPECT_RUNTIME_ERROR(big.Normer(), 6);
  ExpectComponents(big, 1e200, 1e200, 1e200);
  EXPECT_RUNTIME_ERROR(big.Cross(other), 6);
  EXPECT_RUNTIME_ERROR(big.Fois(1e200), 6);
  EXPECT_RUNTIME_ERROR(big.Add(other, 1e200), 6);
  ClsVector max(std::numeric_limits<double>::max(), 0.0, 0.0);
  EXPECT_RUNTIME_ERROR(max.Add(max, 1.0), 6);
}

TEST(ClsVector, NoFaultIsLeftBehindAfterAnOverflowWasReported) {
  ClsVector big(1e200, 0.0, 0.0);
  EXPECT_RUNTIME_ERROR(big.Norme(), 6);
  ClsVector v(3.0, 4.0, 0.0);
  EXPECT_EQ(v.Norme(), 5.0);
}

}  // namespace
}  // namespace tavric
