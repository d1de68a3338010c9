// The warnings of a run: each fires on the wrong side of its threshold, says
// its figure, and stays quiet on the right side.
#include <gtest/gtest.h>

#include <functional>

#include "tavric/Calibration.h"
#include "tavric/ClsProbeCalibration.h"
#include "tavric/RunReport.h"

namespace tavric {
namespace {

// A report of a good third-order fit: five planes, small uncertainties,
// noise-like residuals, converged.
RunReport GoodReport() {
  RunReport r;
  r.result = "OK";
  r.order = 3;
  r.samples = 4000;
  r.planes = 5;
  r.bidirectional_planes = 5;
  r.stop_reason = StopReason::kConverged;
  FitUncertainty& u = r.uncertainty;
  u.available = true;
  u.parameters = 61;
  u.rank = 61;
  u.at_samples.normal.p95 = 0.00015;
  u.at_samples.across.p95 = 0.03;
  u.deflection_variation = 0.21;
  u.plane_spread = 0.2;
  u.plane_axis = {0.0, 0.0, 1.0};
  u.residual_autocorrelation = 0.01;
  u.outlier_fraction = 0.0;
  return r;
}

std::vector<std::string> Codes(const RunReport& r, const WarningThresholds& t = {}) {
  std::vector<std::string> codes;
  for (const Warning& w : diagnose(r, t)) codes.push_back(w.code);
  return codes;
}

TEST(Warnings, AGoodFitHasNone) { EXPECT_TRUE(diagnose(GoodReport(), {}).empty()); }

TEST(Warnings, AFailedRunHasNone) {
  RunReport r = GoodReport();
  r.result = "Bi-directionnal scans detection error.";
  EXPECT_TRUE(diagnose(r, {}).empty());
}

struct Case {
  const char* code;
  std::function<void(RunReport&, const WarningThresholds&, bool over)> set;
};

// Each case puts one figure just over (or at) its limit.
const Case kCases[] = {
    {"few-planes", [](RunReport& r, const WarningThresholds&,
                      bool over) { r.bidirectional_planes = over ? 3 : 4; }},
    {"normal-uncertainty",
     [](RunReport& r, const WarningThresholds& t, bool over) {
       r.uncertainty.at_samples.normal.p95 = t.normal_uncertainty / 2.0 * (over ? 1.01 : 1.0);
     }},
    {"across-uncertainty",
     [](RunReport& r, const WarningThresholds& t, bool over) {
       r.uncertainty.at_samples.across.p95 = t.across_uncertainty / 2.0 * (over ? 1.01 : 1.0);
     }},
    {"constant-deflection",
     [](RunReport& r, const WarningThresholds& t, bool over) {
       r.uncertainty.deflection_variation = t.deflection_variation * (over ? 0.99 : 1.0);
     }},
    {"planes-share-axis",
     [](RunReport& r, const WarningThresholds& t, bool over) {
       r.uncertainty.plane_spread = t.plane_spread * (over ? 0.99 : 1.0);
     }},
    {"still-moving",
     [](RunReport& r, const WarningThresholds& t, bool over) {
       r.stop_reason = StopReason::kIterationLimit;
       r.uncertainty.last_step_across_change =
           t.last_step_share * r.uncertainty.at_samples.across.p95 * (over ? 1.01 : 1.0);
     }},
    {"residual-pattern",
     [](RunReport& r, const WarningThresholds& t, bool over) {
       r.uncertainty.residual_autocorrelation = t.residual_autocorrelation * (over ? 1.01 : 1.0);
     }},
    {"outliers",
     [](RunReport& r, const WarningThresholds& t, bool over) {
       r.uncertainty.outlier_fraction = t.outlier_fraction * (over ? 1.01 : 1.0);
     }},
};

TEST(Warnings, EachFiresOnlyBeyondItsThreshold) {
  const WarningThresholds t;
  for (const Case& c : kCases) {
    RunReport at = GoodReport();
    c.set(at, t, false);
    EXPECT_TRUE(Codes(at, t).empty()) << c.code << " fired at its limit";
    RunReport over = GoodReport();
    c.set(over, t, true);
    EXPECT_EQ(Codes(over, t), std::vector<std::string>{c.code}) << c.code;
    const Warning w = diagnose(over, t).front();
    EXPECT_FALSE(w.text.empty());
    EXPECT_NE(w.value, w.limit) << c.code;
  }
}

TEST(Warnings, ThresholdsComeFromTheOptions) {
  RunReport r = GoodReport();
  WarningThresholds strict;
  strict.normal_uncertainty = 0.0002;  // 2 x 0.15 um = 0.3 um > 0.2 um
  EXPECT_EQ(Codes(r, strict), std::vector<std::string>{"normal-uncertainty"});
  const Warning w = diagnose(r, strict).front();
  EXPECT_EQ(
      w.text,
      "The deflection along the sphere's normal is uncertain by up to \u00b10.30 \u00b5m (95 %), "
      "more than \u00b10.20 \u00b5m.");
  EXPECT_DOUBLE_EQ(w.value, 0.0003);
  EXPECT_DOUBLE_EQ(w.limit, 0.0002);
}

TEST(Warnings, AHeldRadiusIsNotAskedToVaryTheDeflection) {
  RunReport r = GoodReport();
  r.uncertainty.deflection_variation = 0.0;
  EXPECT_EQ(Codes(r), std::vector<std::string>{"constant-deflection"});
  r.radius_held = true;
  EXPECT_TRUE(Codes(r).empty());
}

TEST(Warnings, AMissingUncertaintyAndAnUndeterminedCombinationAreWarned) {
  RunReport r = GoodReport();
  r.uncertainty.rank = 59;
  EXPECT_EQ(Codes(r), std::vector<std::string>{"undetermined"});
  EXPECT_NE(diagnose(r, {}).front().text.find("2 combination"), std::string::npos);
  r.uncertainty = FitUncertainty{};
  r.uncertainty.note = "no more samples than parameters";
  EXPECT_EQ(Codes(r), std::vector<std::string>{"no-uncertainty"});
}

TEST(Warnings, TheFewestPlanesDependOnTheOrder) {
  RunReport r = GoodReport();
  r.bidirectional_planes = 3;
  for (int order = 1; order <= 3; ++order) {
    r.order = order;
    EXPECT_EQ(Codes(r).empty(), order < 3) << order;
  }
}

}  // namespace
}  // namespace tavric
