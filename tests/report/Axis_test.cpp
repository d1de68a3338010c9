#include "report/Axis.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace tavric::report {
namespace {

std::vector<std::string> Labels(const Scale& scale) {
  std::vector<std::string> out;
  for (const Tick& t : scale.Ticks()) out.push_back(t.label);
  return out;
}

std::vector<double> Values(const Scale& scale) {
  std::vector<double> out;
  for (const Tick& t : scale.Ticks()) out.push_back(t.value);
  return out;
}

void ExpectStep(RoundStep step, int mantissa, int exponent) {
  EXPECT_EQ(step.mantissa, mantissa);
  EXPECT_EQ(step.exponent, exponent);
}

TEST(NiceStep, IsTheSmallestOneTwoFiveStepWithinTheIntervalCount) {
  ExpectStep(NiceStep(10.0, 5), 2, 0);
  ExpectStep(NiceStep(1.61, 6), 5, -1);    // 0.268 per interval -> 0.5
  ExpectStep(NiceStep(7.0, 7), 1, 0);      // exactly 1 per interval
  ExpectStep(NiceStep(32766.0, 7), 5, 3);  // 4681 per interval -> 5000
  ExpectStep(NiceStep(3e-6, 3), 1, -6);
  ExpectStep(NiceStep(0.0011, 1), 2, -3);
}

TEST(DecimalLabel, WritesAsManyDecimalsAsTheStepNeeds) {
  EXPECT_EQ(DecimalLabel(0, 3), "0");
  EXPECT_EQ(DecimalLabel(0, -2), "0.00");
  EXPECT_EQ(DecimalLabel(15, -1), "1.5");
  EXPECT_EQ(DecimalLabel(10, -1), "1.0");
  EXPECT_EQ(DecimalLabel(3, -4), "0.0003");
  EXPECT_EQ(DecimalLabel(5, 6), "5000000");
  EXPECT_EQ(DecimalLabel(25000, 0), "25000");
}

TEST(DecimalLabel, WritesNegativeValuesWithATrueMinusSign) {
  EXPECT_EQ(DecimalLabel(-5, -1),
            "\xE2\x88\x92"
            "0.5");
}

TEST(DecimalLabel, UsesPowersOfTenForTinyStepsAndLargeValues) {
  EXPECT_EQ(DecimalLabel(25, -7),
            "2.5\xC3\x97"
            "10\xE2\x81\xBB\xE2\x81\xB6");                            // 2.5×10⁻⁶
  EXPECT_EQ(DecimalLabel(1, -8), "10\xE2\x81\xBB\xE2\x81\xB8");       // 10⁻⁸
  EXPECT_EQ(DecimalLabel(1, -12), "10\xE2\x81\xBB\xC2\xB9\xC2\xB2");  // 10⁻¹²
  EXPECT_EQ(DecimalLabel(12, 6),
            "1.2\xC3\x97"
            "10\xE2\x81\xB7");  // 1.2×10⁷
  EXPECT_EQ(DecimalLabel(-2, -5),
            "\xE2\x88\x92"
            "2\xC3\x97"
            "10\xE2\x81\xBB\xE2\x81\xB5");
}

TEST(LinearScale, WidensToRoundTicksAroundTheData) {
  const Scale s = Scale::Linear(-0.83, 0.78, 6);
  EXPECT_EQ(s.Min(), -1.0);
  EXPECT_EQ(s.Max(), 1.0);
  EXPECT_EQ(Labels(s), (std::vector<std::string>{"\xE2\x88\x92"
                                                 "1.0",
                                                 "\xE2\x88\x92"
                                                 "0.5",
                                                 "0.0", "0.5", "1.0"}));
}

TEST(LinearScale, TickValuesAreTheDoublesNearestTheirDecimals) {
  const Scale s = Scale::Linear(0.1, 0.3, 2);
  EXPECT_EQ(Values(s), (std::vector<double>{0.1, 0.2, 0.3}));
  EXPECT_EQ(Labels(s), (std::vector<std::string>{"0.1", "0.2", "0.3"}));
}

TEST(LinearScale, NeverExceedsTheIntervalCount) {
  for (const double hi : {0.7, 1.3, 9.99, 10.01, 47.0, 123.4, 999.0}) {
    const Scale s = Scale::Linear(-hi / 3.0, hi, 5);
    EXPECT_LE(s.Ticks().size(), 6u) << hi;
    EXPECT_LE(s.Min(), -hi / 3.0);
    EXPECT_GE(s.Max(), hi);
  }
}

TEST(LinearScale, CanEndAtTheDataWithRoundTicksInside) {
  const Scale s = Scale::Linear(1.0, 32767.0, 7, true, Scale::Ends::kData);
  EXPECT_EQ(s.Min(), 1.0);
  EXPECT_EQ(s.Max(), 32767.0);
  EXPECT_EQ(Labels(s),
            (std::vector<std::string>{"5000", "10000", "15000", "20000", "25000", "30000"}));
}

TEST(LinearScale, WidensASingleValue) {
  EXPECT_EQ(Values(Scale::Linear(5.0, 5.0, 4)), (std::vector<double>{4.5, 5.0, 5.5}));
  EXPECT_EQ(Values(Scale::Linear(0.0, 0.0, 4)), (std::vector<double>{-1.0, -0.5, 0.0, 0.5, 1.0}));
}

TEST(LinearScale, IntegerAxesStepByWholeNumbers) {
  EXPECT_EQ(Labels(Scale::Linear(0.0, 3.0, 10, true)),
            (std::vector<std::string>{"0", "1", "2", "3"}));
}

TEST(LinearScale, AcceptsReversedBounds) {
  const Scale s = Scale::Linear(10.0, 0.0, 5);
  EXPECT_EQ(s.Min(), 0.0);
  EXPECT_EQ(s.Max(), 10.0);
}

TEST(LinearScale, MapsValuesProportionallyOntoPixels) {
  Scale s = Scale::Linear(0.0, 10.0, 5);
  s.Place(50.0, 150.0);
  EXPECT_DOUBLE_EQ(s.Pixel(2.5), 75.0);
  s.Place(200.0, 0.0);  // a y axis: up is smaller
  EXPECT_DOUBLE_EQ(s.Pixel(0.0), 200.0);
  EXPECT_DOUBLE_EQ(s.Pixel(10.0), 0.0);
  EXPECT_DOUBLE_EQ(s.Pixel(5.0), 100.0);
}

TEST(LinearScale, KeepsPixelsOfFarOutsideValuesFinite) {
  Scale s = Scale::Linear(0.0, 1.0, 5);
  s.Place(0.0, 100.0);
  EXPECT_TRUE(std::isfinite(s.Pixel(1e300)));
  EXPECT_GT(s.Pixel(1e300), 100.0);
  EXPECT_LT(s.Pixel(-1e300), 0.0);
}

TEST(LogScale, HasOneTwoFiveTicksOverAFewDecades) {
  const Scale s = Scale::Log(3e-5, 7e-5);
  EXPECT_EQ(s.Min(), 2e-5);
  EXPECT_EQ(s.Max(), 1e-4);
  EXPECT_EQ(Labels(s), (std::vector<std::string>{"2\xC3\x97"
                                                 "10\xE2\x81\xBB\xE2\x81\xB5",
                                                 "5\xC3\x97"
                                                 "10\xE2\x81\xBB\xE2\x81\xB5",
                                                 "0.0001"}));
}

TEST(LogScale, EndsOnPowersOfTenOverManyDecades) {
  const Scale s = Scale::Log(0.0016, 3000.0);
  EXPECT_EQ(s.Min(), 0.001);
  EXPECT_EQ(s.Max(), 10000.0);
  EXPECT_EQ(Labels(s),
            (std::vector<std::string>{"0.001", "0.01", "0.1", "1", "10", "100", "1000", "10000"}));
}

TEST(LogScale, LabelsEveryOtherDecadeWhenThereAreMany) {
  const Scale s = Scale::Log(1e-15, 1e-5);
  EXPECT_EQ(Values(s), (std::vector<double>{1e-14, 1e-12, 1e-10, 1e-8, 1e-6}));
}

TEST(LogScale, MapsDecadesToEqualDistances) {
  Scale s = Scale::Log(1.0, 1000.0);
  s.Place(0.0, 300.0);
  EXPECT_NEAR(s.Pixel(1.0), 0.0, 1e-9);
  EXPECT_NEAR(s.Pixel(10.0), 100.0, 1e-9);
  EXPECT_NEAR(s.Pixel(100.0), 200.0, 1e-9);
  EXPECT_NEAR(s.Pixel(1000.0), 300.0, 1e-9);
}

TEST(LogScale, ShowsOnlyPositiveFiniteValues) {
  const Scale s = Scale::Log(1.0, 10.0);
  EXPECT_TRUE(s.Shows(1e-300));
  EXPECT_FALSE(s.Shows(0.0));
  EXPECT_FALSE(s.Shows(-1.0));
  EXPECT_FALSE(s.Shows(std::numeric_limits<double>::quiet_NaN()));
  EXPECT_RUNTIME_ERROR(s.Pixel(0.0), err::kInternalError);
}

TEST(LogScale, WidensASingleValueToTheNextRoundValue) {
  const Scale s = Scale::Log(2.0, 2.0);
  EXPECT_EQ(s.Min(), 2.0);
  EXPECT_EQ(s.Max(), 5.0);
}

}  // namespace
}  // namespace tavric::report
