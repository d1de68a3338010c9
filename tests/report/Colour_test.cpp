#include "report/Colour.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <string>

namespace tavric::report {
namespace {

TEST(Rgb, WritesHexInLowerCase) { EXPECT_EQ((Rgb{0x0a, 0xbc, 0xff}).Hex(), "#0abcff"); }

TEST(Viridis, RunsFromDarkVioletToYellowAndClampsOutsideTheUnitInterval) {
  EXPECT_EQ(Viridis(0.0).Hex(), "#440154");
  EXPECT_EQ(Viridis(1.0).Hex(), "#fde725");
  EXPECT_EQ(Viridis(-3.0), Viridis(0.0));
  EXPECT_EQ(Viridis(7.0), Viridis(1.0));
  EXPECT_EQ(Viridis(std::numeric_limits<double>::quiet_NaN()), Viridis(0.0));
}

TEST(Viridis, InterpolatesBetweenItsColours) {
  // Halfway between the fifth (#26828e) and sixth (#1f9e89) of its ten colours.
  const Rgb mid = Viridis(4.5 / 9.0);
  EXPECT_EQ(mid.r, 0x23);
  EXPECT_EQ(mid.g, 0x90);
  EXPECT_EQ(mid.b, 0x8c);
}

// Grey print and colour-blind readers see lightness: it must rise steadily
// with the value over the whole range. Rounding to 8-bit channels may let it
// dip by far less than a visible step (about 1 L*); a fifth of that is
// allowed.
TEST(Viridis, LightnessRisesMonotonicallyOverAWideRange) {
  double highest = Lightness(Viridis(0.0));
  for (int i = 1; i <= 500; ++i) {
    const double l = Lightness(Viridis(i / 500.0));
    EXPECT_GT(l, highest - 0.2) << "at t = " << i / 500.0;
    highest = std::max(highest, l);
  }
  EXPECT_LT(Lightness(Viridis(0.0)), 20.0);
  EXPECT_GT(Lightness(Viridis(1.0)), 85.0);
  // Tenths of the range stay apart in grey.
  for (int i = 1; i <= 10; ++i)
    EXPECT_GT(Lightness(Viridis(i / 10.0)) - Lightness(Viridis((i - 1) / 10.0)), 4.0) << i;
}

TEST(Lightness, IsTheCieLightnessOfSrgb) {
  EXPECT_NEAR(Lightness({0, 0, 0}), 0.0, 1e-9);
  EXPECT_NEAR(Lightness({255, 255, 255}), 100.0, 1e-9);
  EXPECT_NEAR(Lightness({0x77, 0x77, 0x77}), 50.0, 0.1);
  EXPECT_GT(Lightness({0, 255, 0}), Lightness({255, 0, 0}));  // green is lighter than red
}

TEST(CategoryColour, CyclesThroughDistinctColours) {
  std::set<std::string> seen;
  for (std::size_t i = 0; i < kCategoryColours; ++i) seen.insert(CategoryColour(i).Hex());
  EXPECT_EQ(seen.size(), kCategoryColours);
  EXPECT_EQ(CategoryColour(2), CategoryColour(2 + kCategoryColours));
}

TEST(CategoryColour, NeighboursDifferInLightness) {
  // Scans next to each other stay apart in grey print too.
  for (std::size_t i = 0; i < kCategoryColours; ++i)
    EXPECT_GT(std::abs(Lightness(CategoryColour(i)) - Lightness(CategoryColour(i + 1))), 10.0) << i;
}

}  // namespace
}  // namespace tavric::report
