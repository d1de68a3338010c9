#include "polynomial/Polynome3Variables.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "TestSupport.h"
#include "runtime/CheckedMath.h"

namespace tavric {
namespace {

using Powers = std::array<int, 3>;

// The power triple of term t, read from the power table.
Powers PowersOf(const Polynome3Variables& poly, int t) {
  const auto& table = poly.PowerTable();
  return {table(1, t), table(2, t), table(3, t)};
}

std::vector<Powers> AllPowers(const Polynome3Variables& poly) {
  std::vector<Powers> out;
  for (int t = 1; t <= poly.TermCount(); ++t) out.push_back(PowersOf(poly, t));
  return out;
}

Array1<double> Triple(double x, double y, double z) {
  Array1<double> a(1, 3);
  a(1) = x;
  a(2) = y;
  a(3) = z;
  return a;
}

Polynome3Variables OfOrder(int n) {
  Polynome3Variables poly;
  Byte order = static_cast<Byte>(n);
  poly.INIT(order);
  return poly;
}

// Fills every coefficient with a random value in [-1, 1].
void Randomise(Polynome3Variables& poly, std::mt19937_64& rng) {
  std::uniform_real_distribution<double> dist(-1.0, 1.0);
  Array2<double> table(1, 3, 1, poly.TermCount());
  for (int t = 1; t <= poly.TermCount(); ++t)
    for (int axis = 1; axis <= 3; ++axis) table(axis, t) = dist(rng);
  poly.Coeff(table);
}

bool AllCoefficientsZero(const Polynome3Variables& poly) {
  const Array2<double> table = poly.Coeff();
  for (int t = 1; t <= poly.TermCount(); ++t)
    for (int axis = 1; axis <= 3; ++axis)
      if (table(axis, t) != 0.0) return false;
  return true;
}

// ---------------------------------------------------------------- creation

TEST(Polynome3Variables, CreatedAsOrderOneWithFourZeroTerms) {
  const Polynome3Variables poly;
  EXPECT_EQ(poly.Order(), 1);
  EXPECT_EQ(poly.Number_of_coeff(), 4);
  EXPECT_TRUE(AllCoefficientsZero(poly));
  const Array2<double> table = poly.Coeff();
  EXPECT_EQ(table.LBound(1), 1);
  EXPECT_EQ(table.UBound(1), 3);
  EXPECT_EQ(table.LBound(2), 1);
  EXPECT_EQ(table.UBound(2), 4);
}

TEST(Polynome3Variables, DefaultCalibrationFileNameIsKeptAndStoredPlainly) {
  Polynome3Variables poly;
  EXPECT_EQ(poly.CalibrationFileName(), "c:\\SPCalFile.txt");
  poly.CalibrationFileName("d:\\probe.txt");
  EXPECT_EQ(poly.CalibrationFileName(), "d:\\probe.txt");
}

// ------------------------------------------------------- term enumeration

TEST(Polynome3Variables, OrderOneTermsAreConstantThenRThenQThenP) {
  const Polynome3Variables poly = OfOrder(1);
  const std::vector<Powers> expected = {{0, 0, 0}, {0, 0, 1}, {0, 1, 0}, {1, 0, 0}};
  EXPECT_EQ(AllPowers(poly), expected);
}

TEST(Polynome3Variables, OrderTwoTermsFollowThePowerOfPOutermostAndROInnermost) {
  const Polynome3Variables poly = OfOrder(2);
  const std::vector<Powers> expected = {{0, 0, 0}, {0, 0, 1}, {0, 0, 2}, {0, 1, 0}, {0, 1, 1},
                                        {0, 2, 0}, {1, 0, 0}, {1, 0, 1}, {1, 1, 0}, {2, 0, 0}};
  EXPECT_EQ(AllPowers(poly), expected);
}

TEST(Polynome3Variables, TermCountsForOrdersOneToTen) {
  const int expected[] = {4, 10, 20, 35, 56, 84, 120, 165, 220, 286};
  for (int n = 1; n <= 10; ++n) {
    const Polynome3Variables poly = OfOrder(n);
    EXPECT_EQ(poly.TermCount(), expected[n - 1]) << "order " << n;
    EXPECT_EQ(poly.Coeff().UBound(2), expected[n - 1]) << "order " << n;
    EXPECT_EQ(poly.PowerTable().UBound(2), expected[n - 1]) << "order " << n;
  }
}

// Every order up to the largest one: the power table lists each (i, j, k)
// with i + j + k <= n exactly once, in lexicographic order of (i, j, k).
TEST(Polynome3Variables, PowerTableListsEveryMonomialOnceInLexicographicOrder) {
  for (int n = 0; n <= 30; ++n) {
    const Polynome3Variables poly = OfOrder(n);
    std::vector<Powers> expected;
    for (int i = 0; i <= n; ++i)
      for (int j = 0; j <= n; ++j)
        for (int k = 0; k <= n; ++k)
          if (i + j + k <= n) expected.push_back({i, j, k});
    EXPECT_EQ(AllPowers(poly), expected) << "order " << n;
    EXPECT_EQ(poly.TermCount(), (n + 1) * (n + 2) * (n + 3) / 6);
  }
}

// ------------------------------------------------------------------ order

TEST(Polynome3Variables, OrderZeroHasTheConstantTermOnly) {
  Polynome3Variables poly = OfOrder(0);
  EXPECT_EQ(poly.Number_of_coeff(), 1);
  EXPECT_EQ(AllPowers(poly), (std::vector<Powers>{{0, 0, 0}}));
  poly.theCoeff_i(1, Triple(1.25, -2.5, 7.0));
  double x = 0, y = 0, z = 0;
  poly.Value(123.0, -456.0, 789.0, x, y, z);
  EXPECT_EQ(x, 1.25);
  EXPECT_EQ(y, -2.5);
  EXPECT_EQ(z, 7.0);
  const Array1<double> monomials = poly.Power(123.0, -456.0, 789.0);
  EXPECT_EQ(monomials.LBound(), 1);
  EXPECT_EQ(monomials.UBound(), 1);
  EXPECT_EQ(monomials(1), 1.0);
}

TEST(Polynome3Variables, SettingTheOrderToItsPresentValueClearsAllCoefficients) {
  Polynome3Variables poly = OfOrder(2);
  std::mt19937_64 rng(7);
  Randomise(poly, rng);
  ASSERT_FALSE(AllCoefficientsZero(poly));
  poly.Order(2);
  EXPECT_EQ(poly.Order(), 2);
  EXPECT_EQ(poly.TermCount(), 10);
  EXPECT_TRUE(AllCoefficientsZero(poly));
}

TEST(Polynome3Variables, SettingADifferentOrderResizesAndClears) {
  Polynome3Variables poly;
  std::mt19937_64 rng(8);
  Randomise(poly, rng);
  poly.Order(3);
  EXPECT_EQ(poly.Order(), 3);
  EXPECT_EQ(poly.Number_of_coeff(), 20);
  EXPECT_TRUE(AllCoefficientsZero(poly));
}

TEST(Polynome3Variables, NumberOfCoeffAtOrderNineIs220) {
  EXPECT_EQ(OfOrder(9).Number_of_coeff(), 220);
}

TEST(Polynome3Variables, NumberOfCoeffAtOrderTenOverflowsAlthoughTheTermCountIsStored) {
  const Polynome3Variables poly = OfOrder(10);
  EXPECT_EQ(poly.TermCount(), 286);
  EXPECT_RUNTIME_ERROR(poly.Number_of_coeff(), err::kOverflow);
}

TEST(Polynome3Variables, InitOrderThirtyGives5456Terms) {
  const Polynome3Variables poly = OfOrder(30);
  EXPECT_EQ(poly.Order(), 30);
  EXPECT_EQ(poly.TermCount(), 5456);
  EXPECT_EQ(PowersOf(poly, 5456), (Powers{30, 0, 0}));
}

TEST(Polynome3Variables, InitOrderThirtyOneRaisesOverflow) {
  Polynome3Variables poly;
  Byte n = 31;
  EXPECT_RUNTIME_ERROR(poly.INIT(n), err::kOverflow);
  Byte largest = 255;
  EXPECT_RUNTIME_ERROR(poly.INIT(largest), err::kOverflow);
}

// A failed INIT has stored the order but kept the previous tables: the
// evaluation then fails on the table bounds instead of reading past them.
TEST(Polynome3Variables, EvaluationAfterAFailedInitRaisesSubscriptError) {
  Polynome3Variables poly;
  Byte n = 31;
  EXPECT_RUNTIME_ERROR(poly.INIT(n), err::kOverflow);
  EXPECT_EQ(poly.Order(), 31);
  EXPECT_EQ(poly.TermCount(), 4);
  double x = 0, y = 0, z = 0;
  EXPECT_RUNTIME_ERROR(poly.Value(1.0, 2.0, 3.0, x, y, z), err::kSubscriptOutOfRange);
  EXPECT_RUNTIME_ERROR(poly.Power(1.0, 2.0, 3.0), err::kSubscriptOutOfRange);
}

// ------------------------------------------------------------- evaluation

TEST(Polynome3Variables, OrderOneEvaluatesConstantPlusRThenQThenPTerms) {
  Polynome3Variables poly;
  std::mt19937_64 rng(11);
  Randomise(poly, rng);
  const Array2<double> c = poly.Coeff();
  const double P = 1234.5, Q = -876.25, R = 42.125;
  double x = 0, y = 0, z = 0;
  poly.Value(P, Q, R, x, y, z);
  EXPECT_EQ(x, c(1, 1) + c(1, 2) * R + c(1, 3) * Q + c(1, 4) * P);
  EXPECT_EQ(y, c(2, 1) + c(2, 2) * R + c(2, 3) * Q + c(2, 4) * P);
  EXPECT_EQ(z, c(3, 1) + c(3, 2) * R + c(3, 3) * Q + c(3, 4) * P);
}

// With small integer readings every monomial is exact, so Power must equal
// P^i Q^j R^k of each term's powers.
TEST(Polynome3Variables, PowerGivesEveryMonomialInTermOrder) {
  for (int n = 0; n <= 6; ++n) {
    const Polynome3Variables poly = OfOrder(n);
    const double P = 2.0, Q = -3.0, R = 5.0;
    const Array1<double> m = poly.Power(P, Q, R);
    ASSERT_EQ(m.LBound(), 1);
    ASSERT_EQ(m.UBound(), poly.TermCount());
    for (int t = 1; t <= poly.TermCount(); ++t) {
      const Powers e = PowersOf(poly, t);
      const double expected = std::pow(P, e[0]) * std::pow(Q, e[1]) * std::pow(R, e[2]);
      EXPECT_EQ(m(t), expected) << "order " << n << " term " << t;
    }
  }
}

// Power runs the same loops and running product as Value, so summing
// Power(t) * Coeff(axis, t) in term order reproduces Value bit for bit.
TEST(Polynome3Variables, ValueEqualsPowerDotEachCoefficientRow) {
  std::mt19937_64 rng(2024);
  std::uniform_real_distribution<double> reading(-3000.0, 3000.0);
  for (int n = 0; n <= 5; ++n) {
    Polynome3Variables poly = OfOrder(n);
    for (int trial = 0; trial < 50; ++trial) {
      Randomise(poly, rng);
      const double P = reading(rng), Q = reading(rng), R = reading(rng);
      const Array1<double> m = poly.Power(P, Q, R);
      const Array2<double> c = poly.Coeff();
      double sums[3] = {0.0, 0.0, 0.0};
      for (int t = 1; t <= poly.TermCount(); ++t)
        for (int axis = 1; axis <= 3; ++axis) sums[axis - 1] += m(t) * c(axis, t);
      double x = 0, y = 0, z = 0;
      poly.Value(P, Q, R, x, y, z);
      EXPECT_EQ(x, sums[0]);
      EXPECT_EQ(y, sums[1]);
      EXPECT_EQ(z, sums[2]);
    }
  }
}

// The running product agrees with an independent evaluation by powers.
TEST(Polynome3Variables, ValueAgreesWithEvaluationByPowers) {
  std::mt19937_64 rng(99);
  std::uniform_real_distribution<double> reading(-2.0, 2.0);
  Polynome3Variables poly = OfOrder(3);
  for (int trial = 0; trial < 100; ++trial) {
    Randomise(poly, rng);
    const double P = reading(rng), Q = reading(rng), R = reading(rng);
    const Array2<double> c = poly.Coeff();
    double expected[3] = {0, 0, 0};
    double scale = 0.0;
    for (int t = 1; t <= poly.TermCount(); ++t) {
      const Powers e = PowersOf(poly, t);
      const double mono = std::pow(P, e[0]) * std::pow(Q, e[1]) * std::pow(R, e[2]);
      scale += std::fabs(mono);
      for (int axis = 1; axis <= 3; ++axis) expected[axis - 1] += mono * c(axis, t);
    }
    double got[3];
    poly.Value(P, Q, R, got[0], got[1], got[2]);
    for (int axis = 0; axis < 3; ++axis) EXPECT_NEAR(got[axis], expected[axis], 1e-13 * scale);
  }
}

TEST(Polynome3Variables, FloatingPointOverflowInValueRaisesInsteadOfReturningInfinity) {
  Polynome3Variables poly;
  poly.TheCoeff(1, 0, 0, Triple(1e300, 0.0, 0.0));
  double x = 0, y = 0, z = 0;
  EXPECT_RUNTIME_ERROR(poly.Value(1e10, 0.0, 0.0, x, y, z), err::kOverflow);
  // The running product alone can overflow too (P^2 at order 2).
  Polynome3Variables second = OfOrder(2);
  EXPECT_RUNTIME_ERROR(second.Value(1e200, 0.0, 0.0, x, y, z), err::kOverflow);
}

TEST(Polynome3Variables, FloatingPointOverflowInPowerRaises) {
  const Polynome3Variables poly = OfOrder(3);
  EXPECT_RUNTIME_ERROR(poly.Power(0.0, 0.0, 1e120), err::kOverflow);
}

TEST(Polynome3Variables, InfiniteReadingOrCoefficientRaisesOverflow) {
  const double inf = std::numeric_limits<double>::infinity();
  Polynome3Variables poly;
  poly.theCoeff_i(4, Triple(1.0, 1.0, 1.0));
  double x = 0, y = 0, z = 0;
  EXPECT_RUNTIME_ERROR(poly.Value(inf, 0.0, 0.0, x, y, z), err::kOverflow);
  EXPECT_RUNTIME_ERROR(poly.Power(inf, 0.0, 0.0), err::kOverflow);
  poly.theCoeff_i(1, Triple(inf, 0.0, 0.0));
  EXPECT_RUNTIME_ERROR(poly.Value(1.0, 1.0, 1.0, x, y, z), err::kOverflow);
}

TEST(Polynome3Variables, ValueReadsACoefficientTableWithOtherBounds) {
  Polynome3Variables poly;
  // Same shape as the native table, but term numbers 0..3 and a fourth row.
  Array2<double> table(1, 4, 0, 3);
  table(1, 0) = 1.0;   // constant
  table(1, 1) = 10.0;  // R
  table(1, 2) = 100.0;
  table(1, 3) = 1000.0;
  table(2, 1) = 2.0;
  table(4, 1) = 99.0;  // not an axis
  poly.Coeff(table);
  double x = 0, y = 0, z = 0;
  // Term t reads column t: columns 1..3 hold 10, 100, 1000; column 4 is
  // missing, so the evaluation stops on the bounds.
  EXPECT_RUNTIME_ERROR(poly.Value(1.0, 1.0, 1.0, x, y, z), err::kSubscriptOutOfRange);
  Array2<double> wide(1, 4, 1, 4);
  wide(1, 1) = 1.0;
  wide(1, 2) = 10.0;
  wide(2, 3) = 100.0;
  wide(3, 4) = 1000.0;
  wide(4, 4) = 5.0;  // not an axis, never read
  poly.Coeff(wide);
  poly.Value(2.0, 3.0, 5.0, x, y, z);
  EXPECT_EQ(x, 1.0 + 10.0 * 5.0);
  EXPECT_EQ(y, 100.0 * 3.0);
  EXPECT_EQ(z, 1000.0 * 2.0);
}

TEST(Polynome3Variables, ValueWithATooShortCoefficientTableRaisesSubscriptError) {
  Polynome3Variables poly;
  poly.Coeff(Array2<double>(1, 3, 1, 3));
  double x = 0, y = 0, z = 0;
  EXPECT_RUNTIME_ERROR(poly.Value(1.0, 1.0, 1.0, x, y, z), err::kSubscriptOutOfRange);
}

// ------------------------------------------------------------ coefficients

TEST(Polynome3Variables, CoeffGetReturnsACopyAndLetReplacesTheTable) {
  Polynome3Variables poly;
  Array2<double> copy = poly.Coeff();
  copy(2, 3) = 5.0;
  EXPECT_EQ(poly.Coeff()(2, 3), 0.0);
  poly.Coeff(copy);
  EXPECT_EQ(poly.Coeff(), copy);
}

TEST(Polynome3Variables, TheCoeffIAddressesATermByNumber) {
  Polynome3Variables poly = OfOrder(2);
  poly.theCoeff_i(8, Triple(1.0, 2.0, 3.0));
  const Array1<double> got = poly.theCoeff_i(8);
  EXPECT_EQ(got.LBound(), 1);
  EXPECT_EQ(got.UBound(), 3);
  EXPECT_EQ(got, Triple(1.0, 2.0, 3.0));
  // Term 8 of order 2 is P*R.
  EXPECT_EQ(poly.TheCoeff(1, 0, 1), Triple(1.0, 2.0, 3.0));
  EXPECT_EQ(poly.Coeff()(3, 8), 3.0);
}

TEST(Polynome3Variables, TheCoeffIOutsideTheTableRaisesSubscriptError) {
  Polynome3Variables poly;
  EXPECT_RUNTIME_ERROR(poly.theCoeff_i(0), err::kSubscriptOutOfRange);
  EXPECT_RUNTIME_ERROR(poly.theCoeff_i(5), err::kSubscriptOutOfRange);
  EXPECT_RUNTIME_ERROR(poly.theCoeff_i(5, Triple(1, 2, 3)), err::kSubscriptOutOfRange);
  EXPECT_RUNTIME_ERROR(poly.theCoeff_i(1, Array1<double>(1, 2)), err::kSubscriptOutOfRange);
}

TEST(Polynome3Variables, TheCoeffAddressesATermByItsPowers) {
  Polynome3Variables poly = OfOrder(2);
  poly.TheCoeff(0, 2, 0, Triple(-1.5, 2.5, 4.0));
  // (0,2,0) is term 6 of order 2.
  EXPECT_EQ(poly.theCoeff_i(6), Triple(-1.5, 2.5, 4.0));
  EXPECT_EQ(poly.TheCoeff(0, 2, 0), Triple(-1.5, 2.5, 4.0));
}

TEST(Polynome3Variables, TheCoeffOfANonTermReadsZerosAndSettingItIsANoOp) {
  Polynome3Variables poly = OfOrder(2);
  std::mt19937_64 rng(5);
  Randomise(poly, rng);
  const Array2<double> before = poly.Coeff();
  EXPECT_EQ(poly.TheCoeff(5, 0, 0), Triple(0.0, 0.0, 0.0));
  poly.TheCoeff(5, 0, 0, Triple(1.0, 2.0, 3.0));
  EXPECT_EQ(poly.Coeff(), before);
  poly.TheCoeff(-1, 0, 0, Triple(1.0, 2.0, 3.0));
  EXPECT_EQ(poly.Coeff(), before);
}

// ------------------------------------------------------------------- Add

TEST(Polynome3Variables, AddOfOrdersTwoAndThreeReturnsOrdersMismatchAndChangesNothing) {
  std::mt19937_64 rng(3);
  Polynome3Variables two = OfOrder(2);
  Polynome3Variables three = OfOrder(3);
  Randomise(two, rng);
  Randomise(three, rng);
  const Array2<double> two_before = two.Coeff();
  const Array2<double> three_before = three.Coeff();
  EXPECT_EQ(two.Add(three), "Orders mismatch");
  EXPECT_EQ(three.Add(two), "Orders mismatch");
  EXPECT_EQ(two.Coeff(), two_before);
  EXPECT_EQ(three.Coeff(), three_before);
  EXPECT_EQ(two.Order(), 2);
  EXPECT_EQ(three.Order(), 3);
}

TEST(Polynome3Variables, AddSumsEveryCoefficient) {
  std::mt19937_64 rng(4);
  Polynome3Variables a = OfOrder(2);
  Polynome3Variables b = OfOrder(2);
  Randomise(a, rng);
  Randomise(b, rng);
  const Array2<double> ca = a.Coeff();
  const Array2<double> cb = b.Coeff();
  EXPECT_EQ(a.Add(b), "OK");
  for (int t = 1; t <= 10; ++t)
    for (int axis = 1; axis <= 3; ++axis) EXPECT_EQ(a.Coeff()(axis, t), ca(axis, t) + cb(axis, t));
  EXPECT_EQ(b.Coeff(), cb);
}

TEST(Polynome3Variables, AddToItselfDoublesTheCoefficients) {
  Polynome3Variables poly;
  poly.theCoeff_i(2, Triple(1.5, -2.0, 0.25));
  EXPECT_EQ(poly.Add(poly), "OK");
  EXPECT_EQ(poly.theCoeff_i(2), Triple(3.0, -4.0, 0.5));
}

TEST(Polynome3Variables, AddOverflowRaises) {
  Polynome3Variables a;
  Polynome3Variables b;
  a.theCoeff_i(1, Triple(1.5e308, 0.0, 0.0));
  b.theCoeff_i(1, Triple(1.5e308, 0.0, 0.0));
  EXPECT_RUNTIME_ERROR(a.Add(b), err::kOverflow);
}

// -------------------------------------------------------------- PolyScale

TEST(Polynome3Variables, PolyScaleTwoOnOrderOneHalvesLinearTermsAndKeepsConstants) {
  Polynome3Variables poly;
  poly.theCoeff_i(1, Triple(3.0, -5.0, 7.0));
  poly.theCoeff_i(2, Triple(2.0, 4.0, -6.0));
  poly.theCoeff_i(3, Triple(1.0, 3.0, 5.0));
  poly.theCoeff_i(4, Triple(-8.0, 0.5, 10.0));
  poly.PolyScale(2.0);
  EXPECT_EQ(poly.theCoeff_i(1), Triple(3.0, -5.0, 7.0));
  EXPECT_EQ(poly.theCoeff_i(2), Triple(1.0, 2.0, -3.0));
  EXPECT_EQ(poly.theCoeff_i(3), Triple(0.5, 1.5, 2.5));
  EXPECT_EQ(poly.theCoeff_i(4), Triple(-4.0, 0.25, 5.0));
}

TEST(Polynome3Variables, PolyScaleDividesByTheScaleToTheTotalDegree) {
  Polynome3Variables poly = OfOrder(3);
  Array2<double> table(1, 3, 1, 20);
  for (int t = 1; t <= 20; ++t)
    for (int axis = 1; axis <= 3; ++axis) table(axis, t) = 1.0;
  poly.Coeff(table);
  poly.PolyScale(10.0);
  for (int t = 1; t <= 20; ++t) {
    const Powers e = PowersOf(poly, t);
    const int d = e[0] + e[1] + e[2];
    const double expected = d == 0 ? 1.0 : d == 1 ? 0.1 : d == 2 ? 1.0 / 100.0 : 1.0 / 1000.0;
    for (int axis = 1; axis <= 3; ++axis) EXPECT_EQ(poly.Coeff()(axis, t), expected) << t;
  }
}

// Scaling the coefficients by s and the inputs by s leaves the outputs as
// they were, up to rounding.
TEST(Polynome3Variables, PolyScaledPolynomialAtScaledInputsMatchesTheOriginal) {
  std::mt19937_64 rng(1000);
  std::uniform_real_distribution<double> reading(-2.0, 2.0);
  std::uniform_real_distribution<double> log_scale(-3.0, 3.0);
  for (int n = 1; n <= 4; ++n) {
    for (int trial = 0; trial < 40; ++trial) {
      Polynome3Variables original = OfOrder(n);
      Randomise(original, rng);
      Polynome3Variables scaled = OfOrder(n);
      scaled.Coeff(original.Coeff());
      const double s = std::pow(10.0, log_scale(rng));
      scaled.PolyScale(s);
      const double P = reading(rng), Q = reading(rng), R = reading(rng);
      double x0, y0, z0, x1, y1, z1;
      original.Value(P, Q, R, x0, y0, z0);
      scaled.Value(s * P, s * Q, s * R, x1, y1, z1);
      // Bound the rounding by the sum of the magnitudes of the terms.
      double size = 0.0;
      const Array1<double> m = original.Power(P, Q, R);
      for (int t = 1; t <= original.TermCount(); ++t) size += std::fabs(m(t));
      EXPECT_NEAR(x1, x0, 1e-13 * size);
      EXPECT_NEAR(y1, y0, 1e-13 * size);
      EXPECT_NEAR(z1, z0, 1e-13 * size);
    }
  }
}

TEST(Polynome3Variables, PolyScaleByZeroRaisesDivisionByZero) {
  Polynome3Variables poly;
  poly.theCoeff_i(2, Triple(1.0, 1.0, 1.0));
  EXPECT_RUNTIME_ERROR(poly.PolyScale(0.0), err::kDivisionByZero);
}

TEST(Polynome3Variables, PolyScaleOverflowRaises) {
  Polynome3Variables poly;
  poly.theCoeff_i(4, Triple(1e200, 0.0, 0.0));
  EXPECT_RUNTIME_ERROR(poly.PolyScale(1e-200), err::kOverflow);
}

// --- Value at many readings --------------------------------------------------

using PolynomialKernels = testing::PerInstructionSet;

TEST_P(PolynomialKernels, ValuesAtGivesValueBitForBit) {
  std::mt19937_64 rng(5);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  for (Byte order = 0; order <= 4; ++order) {
    Polynome3Variables poly;
    Byte n = order;
    poly.INIT(n);
    Array2<double> c(1, 3, 1, poly.TermCount());
    for (Int32 t = 1; t <= poly.TermCount(); ++t)
      for (Int32 a = 1; a <= 3; ++a) c(a, t) = std::ldexp(u(rng), -4 * (t % 5));
    poly.Coeff(c);
    for (std::size_t count = 0; count <= 9; ++count) {
      std::vector<double> readings(3 * count), out(3 * count);
      for (double& r : readings) r = 3.0 * u(rng);
      const double shift[3] = {0.25, -1.5, 0.0};
      ASSERT_TRUE(poly.ValuesAt(readings.data(), count, shift, out.data()));
      for (std::size_t i = 0; i < count; ++i) {
        double x, y, z;
        poly.Value(readings[3 * i] + shift[0], readings[3 * i + 1] + shift[1],
                   readings[3 * i + 2] + shift[2], x, y, z);
        EXPECT_EQ(std::bit_cast<std::uint64_t>(out[3 * i]), std::bit_cast<std::uint64_t>(x));
        EXPECT_EQ(std::bit_cast<std::uint64_t>(out[3 * i + 1]), std::bit_cast<std::uint64_t>(y));
        EXPECT_EQ(std::bit_cast<std::uint64_t>(out[3 * i + 2]), std::bit_cast<std::uint64_t>(z));
      }
    }
  }
}

TEST_P(PolynomialKernels, ValuesAtDeclinesNonFiniteReadingsAndFaultsLeavingNoFlag) {
  Polynome3Variables poly;
  Byte n = 3;
  poly.INIT(n);
  Array2<double> c(1, 3, 1, 20);
  for (Int32 t = 1; t <= 20; ++t) c(1, t) = 1.0;
  poly.Coeff(c);
  const double shift[3] = {0.0, 0.0, 0.0};
  std::vector<double> out(15);
  const std::vector<double> nan = {1, 2, 3, 4, 5, 6, std::nan(""), 8, 9, 1, 1, 1, 1, 1, 1};
  EXPECT_FALSE(poly.ValuesAt(nan.data(), 5, shift, out.data()));
  const std::vector<double> huge = {1, 2, 3, 4, 5, 1e200, 7, 8, 9, 1, 1, 1, 1, 1, 1};
  EXPECT_FALSE(poly.ValuesAt(huge.data(), 5, shift, out.data()));
  EXPECT_FALSE(fp::FaultPending());
}

TAVRIC_FOR_EACH_INSTRUCTION_SET(PolynomialKernels);

}  // namespace
}  // namespace tavric
