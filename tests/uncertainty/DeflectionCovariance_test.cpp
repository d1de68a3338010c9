#include "uncertainty/DeflectionCovariance.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <random>
#include <vector>

#include "TestSupport.h"

namespace tavric::uncertainty {
namespace {

bool SameBits(double a, double b) {
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

// The layout of an order-n calibration with the radius fitted, and a random
// symmetric covariance of its parameters.
CoefficientLayout Layout(int order) {
  CoefficientLayout layout;
  for (int i = 0; i <= order; ++i)
    for (int j = 0; j <= order - i; ++j)
      for (int k = 0; k <= order - i - j; ++k) layout.powers.push_back({i, j, k});
  return layout;
}

Eigen::MatrixXd RandomCovariance(int n, std::uint64_t seed) {
  std::mt19937_64 rng(seed);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  Eigen::MatrixXd b(n, n);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) b(i, j) = u(rng);
  return b * b.transpose();
}

using CovarianceKernels = testing::PerInstructionSet;

TEST_P(CovarianceKernels, AtEachEqualsAtBitForBit) {
  for (int order = 1; order <= 3; ++order) {
    const CoefficientLayout layout = Layout(order);
    const int n = 4 + 3 * (layout.Terms() - 1);
    const DeflectionCovarianceField field(RandomCovariance(n, static_cast<std::uint64_t>(order)),
                                          layout);
    std::mt19937_64 rng(7);
    std::uniform_real_distribution<double> reading(-3.0, 3.0);
    for (std::size_t count : {std::size_t{0}, std::size_t{1}, std::size_t{3}, std::size_t{4},
                              std::size_t{5}, std::size_t{102}}) {
      std::vector<double> readings(3 * count);
      for (double& r : readings) r = reading(rng);
      std::vector<Mat3> each(count);
      field.AtEach(readings.data(), count, each.data());
      for (std::size_t i = 0; i < count; ++i) {
        const Mat3 one = field.At(readings[3 * i], readings[3 * i + 1], readings[3 * i + 2]);
        for (std::size_t a = 0; a < 3; ++a)
          for (std::size_t b = 0; b < 3; ++b)
            EXPECT_TRUE(SameBits(each[i][a][b], one[a][b]))
                << "order " << order << " count " << count << " reading " << i;
      }
    }
  }
}

TAVRIC_FOR_EACH_INSTRUCTION_SET(CovarianceKernels);

TEST(Summarise, GivesTheNearestRankValuesOfTheSortedValues) {
  std::mt19937_64 rng(3);
  std::uniform_real_distribution<double> u(0.0, 5.0);
  for (std::size_t size : {std::size_t{1}, std::size_t{2}, std::size_t{19}, std::size_t{20},
                           std::size_t{21}, std::size_t{1000}}) {
    std::vector<double> values(size);
    for (double& v : values) v = u(rng);
    values[size / 2] = values[0];  // a tie
    std::vector<double> sorted = values;
    std::sort(sorted.begin(), sorted.end());
    const auto at_rank = [&](double fraction) {
      std::size_t k = static_cast<std::size_t>(std::ceil(fraction * static_cast<double>(size)));
      return sorted[std::clamp<std::size_t>(k, 1, size) - 1];
    };
    const Spread s = Summarise(values);
    EXPECT_EQ(s.max, sorted.back()) << size;
    EXPECT_EQ(s.p95, at_rank(0.95)) << size;
    EXPECT_EQ(s.median, at_rank(0.5)) << size;
  }
  const Spread empty = Summarise({});
  EXPECT_EQ(empty.max, 0.0);
}

}  // namespace
}  // namespace tavric::uncertainty
