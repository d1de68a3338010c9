#include "solvers/Tools.h"

#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>

#include "TestSupport.h"

namespace tavric {
namespace {

Array1<double> Vec(std::int32_t lower, std::initializer_list<double> values) {
  Array1<double> v(lower, lower + static_cast<std::int32_t>(values.size()) - 1);
  std::int32_t i = lower;
  for (double x : values) v(i++) = x;
  return v;
}

TEST(ToolsExtremeIndices, TiesKeepTheFirstOccurrence) {
  Int16 imax = -1, imin = -1;
  Tools::ExtremeIndices(Vec(1, {3, 1, 3, 1}), imax, imin);
  EXPECT_EQ(imax, 1);
  EXPECT_EQ(imin, 2);
}

TEST(ToolsExtremeIndices, OneElementGivesItsLowerBoundForBoth) {
  Int16 imax = -1, imin = -1;
  Tools::ExtremeIndices(Vec(7, {42.0}), imax, imin);
  EXPECT_EQ(imax, 7);
  EXPECT_EQ(imin, 7);
}

TEST(ToolsExtremeIndices, HonoursTheLowerBound) {
  Int16 imax = -1, imin = -1;
  Tools::ExtremeIndices(Vec(-2, {0.5, -4.0, 9.0, 2.0}), imax, imin);
  EXPECT_EQ(imax, 0);
  EXPECT_EQ(imin, -1);
}

TEST(ToolsExtremeIndices, MaximumAndMinimumAreFoundIndependently) {
  // The last element is a new minimum right after a new maximum.
  Int16 imax = -1, imin = -1;
  Tools::ExtremeIndices(Vec(1, {0.0, 5.0, -5.0}), imax, imin);
  EXPECT_EQ(imax, 2);
  EXPECT_EQ(imin, 3);
}

TEST(ToolsExtremeIndices, UnallocatedArrayRaises9) {
  Int16 imax = 0, imin = 0;
  EXPECT_RUNTIME_ERROR(Tools::ExtremeIndices(Array1<double>(), imax, imin),
                       err::kSubscriptOutOfRange);
}

TEST(ToolsExtremeIndices, EmptyArrayRaises9) {
  Int16 imax = 0, imin = 0;
  EXPECT_RUNTIME_ERROR(Tools::ExtremeIndices(Array1<double>(1, 0), imax, imin),
                       err::kSubscriptOutOfRange);
}

TEST(ToolsNorm, IsTheEuclideanNorm) {
  EXPECT_EQ(Tools::Norm(Vec(1, {3.0, 4.0})), 5.0);
  EXPECT_EQ(Tools::Norm(Vec(1, {-2.0, 1.0, 2.0})), 3.0);
}

TEST(ToolsNorm, LowerBoundZeroIncludesElementZero) {
  EXPECT_EQ(Tools::Norm(Vec(0, {3.0, 4.0})), 5.0);
  EXPECT_EQ(Tools::Norm(Vec(0, {12.0, 0.0, 5.0})), 13.0);
}

TEST(ToolsNorm, EmptyArrayHasNormZero) { EXPECT_EQ(Tools::Norm(Array1<double>(1, 0)), 0.0); }

TEST(ToolsNorm, UnallocatedArrayRaises9) {
  EXPECT_RUNTIME_ERROR(Tools::Norm(Array1<double>()), err::kSubscriptOutOfRange);
}

TEST(ToolsNorm, OverflowingSquaresRaise6) {
  EXPECT_RUNTIME_ERROR(Tools::Norm(Vec(1, {1e200, 1.0})), err::kOverflow);
}

TEST(ToolsNorm, BoundsBeyondSixteenBitsRaise6) {
  EXPECT_RUNTIME_ERROR(Tools::Norm(Array1<double>(1, 40000)), err::kOverflow);
}

TEST(ToolsMean, DividesTheSumByTheCount) {
  EXPECT_EQ(Tools::Mean(Vec(1, {1, 2, 3, 4})), 2.5);
  EXPECT_EQ(Tools::Mean(Vec(-3, {6.0, 0.0, 0.0})), 2.0);
}

TEST(ToolsMean, UnallocatedArrayRaises9) {
  EXPECT_RUNTIME_ERROR(Tools::Mean(Array1<double>()), err::kSubscriptOutOfRange);
}

TEST(ToolsSumSquaredDeviations, OfOneToFourIsFive) {
  EXPECT_EQ(Tools::SumSquaredDeviations(Vec(1, {1, 2, 3, 4})), 5.0);
}

TEST(ToolsSumSquaredDeviations, UnallocatedArrayRaises9) {
  EXPECT_RUNTIME_ERROR(Tools::SumSquaredDeviations(Array1<double>()), err::kSubscriptOutOfRange);
}

TEST(ToolsVariance, OfOneToFourIsFiveThirds) {
  EXPECT_EQ(Tools::Variance(Vec(1, {1, 2, 3, 4})), 5.0 / 3.0);
}

TEST(ToolsVariance, HonoursTheLowerBound) {
  EXPECT_EQ(Tools::Variance(Vec(0, {1, 2, 3, 4})), 5.0 / 3.0);
}

TEST(ToolsVariance, NoSquareRootIsTaken) {
  // Deviations -2, 0, 2: sum of squares 8, divisor 2.
  EXPECT_EQ(Tools::Variance(Vec(1, {1, 3, 5})), 4.0);
}

TEST(ToolsVariance, OneElementRaisesARunTimeError) {
  // 0 / 0 is an invalid operation, reported as an overflow.
  EXPECT_RUNTIME_ERROR(Tools::Variance(Vec(1, {2.5})), err::kOverflow);
}

TEST(ToolsVariance, UnallocatedArrayRaises9) {
  EXPECT_RUNTIME_ERROR(Tools::Variance(Array1<double>()), err::kSubscriptOutOfRange);
}

}  // namespace
}  // namespace tavric
