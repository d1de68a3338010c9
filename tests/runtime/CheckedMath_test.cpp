#include "runtime/CheckedMath.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "TestSupport.h"

namespace tavric {
namespace {

// Keeps the compiler from folding the faulting operations at compile time.
volatile double g_zero = 0.0;
volatile double g_big = 1e308;

TEST(CheckedMath, NonZeroDividedByZeroIsDivisionByZero) {
  volatile double r = 1.0 / g_zero;
  (void)r;
  EXPECT_RUNTIME_ERROR(fp::Check(), 11);
}

TEST(CheckedMath, ZeroDividedByZeroIsOverflow) {
  volatile double r = g_zero / g_zero;
  (void)r;
  EXPECT_RUNTIME_ERROR(fp::Check(), 6);
}

TEST(CheckedMath, AnOverflowingProductIsOverflow) {
  volatile double r = g_big * 10.0;
  (void)r;
  EXPECT_RUNTIME_ERROR(fp::Check(), 6);
}

TEST(CheckedMath, AReportedFaultIsClearedSoItIsRaisedOnce) {
  volatile double r = g_big * 10.0;
  (void)r;
  EXPECT_RUNTIME_ERROR(fp::Check(), 6);
  EXPECT_NO_THROW(fp::Check());
}

TEST(CheckedMath, SquareRootOfANegativeNumberIsAnInvalidCall) {
  EXPECT_RUNTIME_ERROR(fp::Sqr(-1.0), 5);
  EXPECT_EQ(fp::Sqr(16.0), 4.0);
}

TEST(CheckedMath, SquareIsTheCorrectlyRoundedProduct) {
  // 0.1 is held as 0.1000000000000000055511151231257827; its square rounds
  // to the double just above 0.01.
  EXPECT_EQ(fp::Square(0.1), 0.010000000000000002);
  EXPECT_EQ(fp::Square(-3.0), 9.0);
}

TEST(CheckedMath, PowerOfWholeExponentsIsRepeatedMultiplication) {
  EXPECT_EQ(fp::Power(1000.0, 3.0), 1e9);
  EXPECT_EQ(fp::Power(2.0, -2.0), 0.25);
  EXPECT_EQ(fp::Power(5.0, 0.0), 1.0);
  EXPECT_RUNTIME_ERROR(fp::Power(0.0, -1.0), 11);
  EXPECT_RUNTIME_ERROR(fp::Power(-8.0, 0.5), 5);
  EXPECT_RUNTIME_ERROR(fp::Power(1e200, 2.0), 6);
}

TEST(CheckedMath, RequireFiniteRejectsInfinityAndNaN) {
  EXPECT_RUNTIME_ERROR(fp::RequireFinite(std::numeric_limits<double>::infinity()), 6);
  EXPECT_RUNTIME_ERROR(fp::RequireFinite(std::numeric_limits<double>::quiet_NaN()), 6);
  EXPECT_EQ(fp::RequireFinite(2.0), 2.0);
}

TEST(CheckedMath, BoundaryHidesTheHostsFlagsAndGivesThemBack) {
  volatile double r = 1.0 / g_zero;  // the host's own fault
  (void)r;
  {
    fp::Boundary boundary;
    EXPECT_NO_THROW(fp::Check());
  }
  EXPECT_NE(std::fetestexcept(FE_DIVBYZERO), 0);
  fp::ClearFaults();
}

}  // namespace
}  // namespace tavric
