#include "simulation/GaussianNoise.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

namespace tavric::sim {
namespace {

TEST(GaussianNoise, SameSeedGivesTheSameBits) {
  GaussianNoise a(42), b(42);
  for (int i = 0; i < 1000; ++i) {
    const double x = a.Next(), y = b.Next();
    ASSERT_EQ(std::memcmp(&x, &y, sizeof x), 0) << "deviate " << i;
  }
}

TEST(GaussianNoise, DifferentSeedsGiveDifferentSequences) {
  GaussianNoise a(1), b(2);
  int equal = 0;
  for (int i = 0; i < 100; ++i) equal += a.Next() == b.Next() ? 1 : 0;
  EXPECT_EQ(equal, 0);
}

// Mean 0, variance 1, about 68.27 % within one standard deviation and
// 95.45 % within two: the deviates are standard normal.
TEST(GaussianNoise, DeviatesAreStandardNormal) {
  GaussianNoise g(7);
  constexpr int kCount = 200000;
  double sum = 0.0, sum_sq = 0.0;
  int within1 = 0, within2 = 0;
  for (int i = 0; i < kCount; ++i) {
    const double x = g.Next();
    ASSERT_TRUE(std::isfinite(x));
    sum += x;
    sum_sq += x * x;
    within1 += std::fabs(x) < 1.0 ? 1 : 0;
    within2 += std::fabs(x) < 2.0 ? 1 : 0;
  }
  const double mean = sum / kCount;
  EXPECT_NEAR(mean, 0.0, 0.01);
  EXPECT_NEAR(sum_sq / kCount - mean * mean, 1.0, 0.01);
  EXPECT_NEAR(static_cast<double>(within1) / kCount, 0.6827, 0.005);
  EXPECT_NEAR(static_cast<double>(within2) / kCount, 0.9545, 0.003);
}

// Successive deviates are uncorrelated (the pairs of the polar method too).
TEST(GaussianNoise, SuccessiveDeviatesAreUncorrelated) {
  GaussianNoise g(11);
  constexpr int kPairs = 100000;
  double sum_xy = 0.0;
  for (int i = 0; i < kPairs; ++i) {
    const double x = g.Next(), y = g.Next();
    sum_xy += x * y;
  }
  EXPECT_NEAR(sum_xy / kPairs, 0.0, 0.015);
}

}  // namespace
}  // namespace tavric::sim
