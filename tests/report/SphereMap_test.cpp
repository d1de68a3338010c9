#include "report/SphereMap.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace tavric::report {
namespace {

constexpr double kTolerance = 1e-12;

void ExpectAt(const Direction& d, bool upper, double x, double y) {
  const DiscPosition p = ProjectEqualArea(d);
  EXPECT_EQ(p.upper, upper);
  EXPECT_NEAR(p.x, x, kTolerance);
  EXPECT_NEAR(p.y, y, kTolerance);
}

TEST(ProjectEqualArea, PutsThePolesAtTheCentresAndTheEquatorOnTheRims) {
  ExpectAt({0.0, 0.0, 1.0}, true, 0.0, 0.0);
  ExpectAt({0.0, 0.0, -1.0}, false, 0.0, 0.0);
  ExpectAt({1.0, 0.0, 0.0}, true, 1.0, 0.0);
  ExpectAt({0.0, -1.0, 0.0}, true, 0.0, -1.0);
  const double s = std::sqrt(0.5);
  ExpectAt({s, s, 0.0}, true, s, s);
}

TEST(ProjectEqualArea, PlacesADirectionAtRootTwoTimesTheSineOfHalfItsPolarAngle) {
  const double sin60 = std::sqrt(3.0) / 2.0;
  const double r60 = std::numbers::sqrt2 * std::sin(std::numbers::pi / 6.0);  // 60° from the pole
  ExpectAt({sin60, 0.0, 0.5}, true, r60, 0.0);
  // The lower disc is seen from above too: x and y keep their signs.
  ExpectAt({0.0, sin60, -0.5}, false, 0.0, r60);
  ExpectAt({-sin60, 0.0, -0.5}, false, -r60, 0.0);
}

TEST(ProjectEqualArea, NormalisesTheDirection) {
  ExpectAt({0.0, 0.0, 5.0}, true, 0.0, 0.0);
  ExpectAt({2.0, 0.0, 0.0}, true, 1.0, 0.0);
}

// Equal area: directions spread evenly over the sphere fill each disc
// evenly, so the share inside radius r is r².
TEST(ProjectEqualArea, KeepsAreas) {
  const int n = 40000;
  const double golden = std::numbers::pi * (3.0 - std::sqrt(5.0));
  const std::vector<double> radii = {0.2, 0.4, 0.6, 0.8, 0.95};
  std::vector<int> inside(radii.size(), 0);
  int upper = 0;
  for (int i = 0; i < n; ++i) {
    const double z = 1.0 - (2.0 * i + 1.0) / n;
    const double r = std::sqrt(1.0 - z * z);
    const DiscPosition p =
        ProjectEqualArea({r * std::cos(golden * i), r * std::sin(golden * i), z});
    if (!p.upper) continue;
    ++upper;
    const double rho = std::hypot(p.x, p.y);
    EXPECT_LE(rho, 1.0 + kTolerance);
    for (std::size_t k = 0; k < radii.size(); ++k)
      if (rho <= radii[k]) ++inside[k];
  }
  EXPECT_EQ(upper, n / 2);
  for (std::size_t k = 0; k < radii.size(); ++k)
    EXPECT_NEAR(static_cast<double>(inside[k]) / upper, radii[k] * radii[k], 0.002) << radii[k];
}

TEST(ProjectEqualArea, RefusesZeroAndNonFiniteDirections) {
  EXPECT_RUNTIME_ERROR(ProjectEqualArea({0.0, 0.0, 0.0}), err::kInvalidCall);
  EXPECT_RUNTIME_ERROR(ProjectEqualArea({std::nan(""), 0.0, 1.0}), err::kInvalidCall);
}

// The coloured marks: circles with a fill colour and no outline (the discs'
// own circles are outlined, their clip paths unfilled).
std::size_t Marks(const std::string& svg) {
  std::size_t n = 0;
  for (std::size_t pos = svg.find("<circle "); pos != std::string::npos;
       pos = svg.find("<circle ", pos + 1)) {
    const std::string element = svg.substr(pos, svg.find("/>", pos) - pos);
    if (element.find("fill=\"#") != std::string::npos &&
        element.find("stroke") == std::string::npos)
      ++n;
  }
  return n;
}

TEST(SphereMapSvg, DrawsBothDiscsAColourBarAndThinsCrowdedMarks) {
  // 32767 directions along the equator and one meridian.
  std::vector<Direction> directions;
  std::vector<double> values;
  for (int i = 0; i < 32767; ++i) {
    const double a = 2.0 * std::numbers::pi * i / 32767.0;
    directions.push_back(i % 2 ? Direction{std::cos(a), std::sin(a), 0.0}
                               : Direction{std::cos(a), 0.0, std::sin(a)});
    values.push_back(i == 20000 ? 10.0 : std::sin(a));
  }
  const std::string svg =
      SphereMapSvg(directions, values, "residual <\xC2\xB5m>", true, "m", "map");
  EXPECT_NE(svg.find("<clipPath id=\"m-upper\">"), std::string::npos);
  EXPECT_NE(svg.find("<clipPath id=\"m-lower\">"), std::string::npos);
  EXPECT_NE(svg.find(">colour: residual &lt;\xC2\xB5m&gt;</text>"), std::string::npos);
  // A colour range symmetric about 0 that reaches the strongest value.
  EXPECT_NE(svg.find(">\xE2\x88\x92"
                     "10</text>"),
            std::string::npos);
  EXPECT_NE(svg.find(">10</text>"), std::string::npos);
  const std::size_t marks = Marks(svg);
  EXPECT_LT(marks, 4000u);
  EXPECT_GT(marks, 500u);
  // The strongest value survives the thinning in the top colour of the scale.
  EXPECT_NE(svg.find("fill=\"#fde725\"/>"), std::string::npos);
}

TEST(SphereMapSvg, NeedsAValuePerDirection) {
  const std::vector<Direction> directions = {{0.0, 0.0, 1.0}};
  EXPECT_RUNTIME_ERROR(SphereMapSvg(directions, std::vector<double>{}, "v", false, "m", "map"),
                       err::kInternalError);
}

}  // namespace
}  // namespace tavric::report
