#include "tavric/BoundedArray.h"

#include <gtest/gtest.h>

#include "TestSupport.h"

namespace tavric {
namespace {

TEST(BoundedArray, HoldsAnyLowerBound) {
  Array2<double> a(0, 5, 3, 10);
  EXPECT_EQ(a.LBound(1), 0);
  EXPECT_EQ(a.UBound(1), 5);
  EXPECT_EQ(a.LBound(2), 3);
  EXPECT_EQ(a.UBound(2), 10);
  a(5, 10) = 1.5;
  EXPECT_EQ(a(5, 10), 1.5);
  EXPECT_EQ(a(0, 3), 0.0);
  Array1<int> v(-2, 2);
  v(-2) = 7;
  EXPECT_EQ(v(-2), 7);
  EXPECT_EQ(v.Count(), 5);
}

TEST(BoundedArray, AccessOutsideTheBoundsIsSubscriptOutOfRange) {
  Array2<double> a(1, 3, 1, 4);
  EXPECT_RUNTIME_ERROR(a(0, 1), 9);
  EXPECT_RUNTIME_ERROR(a(4, 1), 9);
  EXPECT_RUNTIME_ERROR(a(1, 5), 9);
  EXPECT_RUNTIME_ERROR(a.LBound(3), 9);
  Array1<double> v(1, 3);
  EXPECT_RUNTIME_ERROR(v(4), 9);
  EXPECT_RUNTIME_ERROR(v.CheckRange(1, 4), 9);
  EXPECT_NO_THROW(v.CheckRange(1, 3));
}

TEST(BoundedArray, AnUnallocatedArrayHasNoBounds) {
  Array1<double> v;
  EXPECT_FALSE(v.Allocated());
  EXPECT_RUNTIME_ERROR(v.UBound(), 9);
  EXPECT_RUNTIME_ERROR(v(1), 9);
  Array2<double> a;
  EXPECT_RUNTIME_ERROR(a.UBound(1), 9);
}

TEST(BoundedArray, AnEmptyDimensionIsAllowedButAnInvertedOneIsNot) {
  Array2<double> a(1, 0, 1, 3);
  EXPECT_EQ(a.Extent1(), 0);
  EXPECT_RUNTIME_ERROR(a.ReDim(1, -1, 1, 1), 9);
}

TEST(BoundedArray, ReDimClears) {
  Array1<double> v(1, 3);
  v(2) = 5.0;
  v.ReDim(1, 3);
  EXPECT_EQ(v(2), 0.0);
}

TEST(BoundedArray, ReDimPreserveKeepsTheContentsWhileGrowingTheLastDimension) {
  Array2<double> a(1, 6, 1, 1);
  for (int f = 1; f <= 6; ++f) a(f, 1) = f;
  a.ReDimPreserve(2);
  for (int f = 1; f <= 6; ++f) {
    EXPECT_EQ(a(f, 1), f);
    EXPECT_EQ(a(f, 2), 0.0);
  }
  EXPECT_EQ(a.UBound(2), 2);
  Array1<int> v(0, 1);
  v(1) = 3;
  v.ReDimPreserve(4);
  EXPECT_EQ(v(1), 3);
  EXPECT_EQ(v.UBound(), 4);
}

TEST(BoundedArray, ImpossiblyLargeArraysAreOutOfMemory) {
  Array2<double> a;
  EXPECT_RUNTIME_ERROR(a.ReDim(1, 2000000000, 1, 2000000000), 7);
}

}  // namespace
}  // namespace tavric
