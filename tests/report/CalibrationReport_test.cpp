#include "tavric/CalibrationReport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <string>
#include <vector>

#include "Markup.h"
#include "TestSupport.h"
#include "tavric/ScanSimulator.h"

namespace tavric {
namespace {

using report::testing::CountOf;

struct Simulated {
  sim::SimulatedData sim;
  std::vector<Sample> samples;
};

const Simulated& Scan() {
  static const Simulated s = [] {
    sim::Scenario scenario;
    scenario.plan.total_samples = 4000;
    scenario.noise.counts_sigma = 1.5;
    scenario.noise.position_sigma_um = 0.2;
    scenario.noise.seed = 3;
    Simulated out{sim::Simulate(scenario), {}};
    out.samples = samples_of(out.sim.data);
    return out;
  }();
  return s;
}

ReportFacts Facts(const std::string& data_file, const std::string& calibration_file = {}) {
  ReportFacts facts;
  facts.data_file = data_file;
  facts.calibration_file = calibration_file;
  facts.date = "today";
  facts.tool_version = "tavric 0.0.0";
  return facts;
}

const Calibration& Fitted() {
  static const Calibration cal = calibrate(Scan().samples);
  return cal;
}

// Samples along a circle of radius 10 about the origin in the plane with
// normal z (sense +1) or travelled the other way (sense -1).
std::vector<Sample> Circle(int count, int sense, double start_deg, double span_deg) {
  std::vector<Sample> out;
  for (int i = 0; i < count; ++i) {
    const double a = (start_deg + sense * span_deg * i / (count - 1)) * std::numbers::pi / 180.0;
    out.push_back({0.0, 0.0, 0.0, 10.0 * std::cos(a), 10.0 * std::sin(a), 0.0});
  }
  return out;
}

std::vector<Sample> Joined(std::vector<Sample> a, const std::vector<Sample>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// The first sample (0-based) of every scan after the first.
std::vector<std::size_t> Starts(const std::vector<int>& scans) {
  std::vector<std::size_t> starts;
  for (std::size_t k = 1; k < scans.size(); ++k)
    if (scans[k] != scans[k - 1]) starts.push_back(k);
  return starts;
}

TEST(DetectScans, FindsEveryScanOfASimulatedDataSetWithinOneSampleOfItsStart) {
  // Where a scan comes back along its plane, its last sample and the next
  // scan's first lie at the turn side by side; either may be taken as the
  // start.
  std::vector<std::size_t> truth;
  for (const sim::ScanInfo& scan : Scan().sim.truth.scans)
    if (scan.first_sample > 1) truth.push_back(static_cast<std::size_t>(scan.first_sample - 1));
  ASSERT_GT(truth.size(), 3u);
  const std::vector<std::size_t> found = Starts(detect_scans(Scan().samples));
  ASSERT_EQ(found.size(), truth.size());
  for (std::size_t i = 0; i < truth.size(); ++i)
    EXPECT_NEAR(static_cast<double>(found[i]), static_cast<double>(truth[i]), 1.0) << i;
}

TEST(DetectScans, TheSamePlaneTravelledBackIsANewScan) {
  // Out along a quarter circle, then back along it without a jump.
  const std::vector<Sample> there = Circle(200, 1, 0.0, 90.0);
  const std::vector<Sample> back = Circle(200, -1, 90.0 - 90.0 / 199.0, 89.0);
  const std::vector<int> scans = detect_scans(Joined(there, back));
  EXPECT_EQ(Starts(scans), (std::vector<std::size_t>{200}));
  EXPECT_EQ(scans.front(), 1);
  EXPECT_EQ(scans.back(), 2);
}

TEST(DetectScans, AJumpBackToTheStartOfTheSameCircleIsANewScan) {
  const std::vector<Sample> arc = Circle(300, 1, 0.0, 120.0);
  EXPECT_EQ(Starts(detect_scans(Joined(arc, arc))), (std::vector<std::size_t>{300}));
}

TEST(DetectScans, ATurnIntoAnotherPlaneStartsANewScanThere) {
  // Along the equator to (0, 10, 0), then on over the pole in the plane x = 0.
  std::vector<Sample> path = Circle(200, 1, 0.0, 90.0);
  for (int i = 1; i <= 200; ++i) {
    const double a = 90.0 * i / 200.0 * std::numbers::pi / 180.0;
    path.push_back({0.0, 0.0, 0.0, 0.0, 10.0 * std::cos(a), 10.0 * std::sin(a)});
  }
  EXPECT_EQ(Starts(detect_scans(path)), (std::vector<std::size_t>{200}));
}

TEST(DetectScans, OneScanWhenThereAreTooFewSamplesToTell) {
  EXPECT_EQ(detect_scans({}), std::vector<int>{});
  const std::vector<Sample> two = Circle(2, 1, 0.0, 90.0);
  EXPECT_EQ(detect_scans(two), (std::vector<int>{1, 1}));
}

TEST(SampleResiduals, AreTheFitsOwnResidualsOnTheDataItWasFittedTo) {
  const std::vector<double> r = sample_residuals(Fitted(), Scan().samples);
  const std::span<const double> fitted = Fitted().residuals();
  ASSERT_EQ(r.size(), fitted.size());
  for (std::size_t k = 0; k < r.size(); ++k) EXPECT_NEAR(r[k], fitted[k], 1e-12) << k;
}

TEST(SampleResiduals, AreRefusedWhenNotFinite) {
  std::vector<Sample> samples = Scan().samples;
  samples[5].X = std::numeric_limits<double>::infinity();
  try {
    sample_residuals(Fitted(), samples);
    FAIL() << "no error";
  } catch (const Error& e) {
    EXPECT_EQ(e.code(), ErrorCode::kInvalidData);
    EXPECT_EQ(e.text(), "Sample 6: its residual is not a finite number");
  }
}

TEST(CalibrationReportContent, OfAFitShowsItsResidualsHistoryUncertaintyAndWarnings) {
  const Calibration& cal = Fitted();
  const ReportContent c = CalibrationReportContent(cal, Scan().samples, Facts("scan.txt"));
  ASSERT_EQ(c.residuals_um.size(), Scan().samples.size());
  for (std::size_t k = 0; k < c.residuals_um.size(); ++k)
    ASSERT_EQ(c.residuals_um[k], cal.residuals()[k] * 1000.0);
  EXPECT_EQ(c.scan_numbers, detect_scans(Scan().samples));
  EXPECT_EQ(c.sample_directions.size(), c.residuals_um.size());
  ASSERT_EQ(c.iterations.size(), cal.run_report().iterations.size());
  EXPECT_EQ(c.iterations.back().sum_of_squares, cal.run_report().iterations.back().S);
  EXPECT_EQ(*c.initial_sum_of_squares, cal.run_report().initial_S);
  EXPECT_EQ(c.warnings.size(), cal.warnings().size());
  EXPECT_EQ(c.weakest_directions.size(), cal.uncertainty().weakest.size());
  EXPECT_FALSE(c.uncertainty.directions.empty());
  EXPECT_TRUE(c.convergence_note.empty());
  const std::string html = RenderReportPage(c);
  EXPECT_EQ(CountOf(html, "<th scope=\"row\">Result</th><td>OK</td>"), 1u);
  EXPECT_EQ(CountOf(html, "<th scope=\"row\">Settings not at their default</th><td>defaults</td>"),
            1u);
}

TEST(CalibrationReportContent, TheUncertaintyMapIsLargestAcrossTheWeakDirections) {
  // Every value is a standard uncertainty of the deflection at the scan's
  // mean deflection: no smaller than the smallest along the normal at the
  // samples, and somewhere about as large as across it.
  const ReportContent c = CalibrationReportContent(Fitted(), Scan().samples, Facts("scan.txt"));
  const FitUncertainty& u = Fitted().uncertainty();
  double smallest = 1e300, largest = 0.0;
  for (const double v : c.uncertainty.values) {
    smallest = std::min(smallest, v);
    largest = std::max(largest, v);
  }
  EXPECT_GT(largest, 0.5 * u.at_samples.across.median * 1000.0);
  EXPECT_LT(largest, 10.0 * u.over_range.across.max * 1000.0);
  EXPECT_GT(smallest, 0.0);
}

TEST(CalibrationReportContent, OfALoadedCalibrationShowsTheDataAgainstItAndSaysWhatIsMissing) {
  tavric::testing::TempDir dir;
  Fitted().save(dir.File("scan.cal"));
  const Calibration loaded = load(dir.File("scan.cal"));
  const ReportContent c =
      CalibrationReportContent(loaded, Scan().samples, Facts("scan.txt", "scan.cal"));
  ASSERT_EQ(c.residuals_um.size(), Scan().samples.size());
  for (std::size_t k = 0; k < c.residuals_um.size(); ++k)
    ASSERT_NEAR(c.residuals_um[k], Fitted().residuals()[k] * 1000.0, 1e-6);
  EXPECT_TRUE(c.iterations.empty());
  EXPECT_TRUE(c.warnings.empty());
  EXPECT_TRUE(c.uncertainty.directions.empty());
  const std::string html = RenderReportPage(c);
  EXPECT_EQ(CountOf(html, "keeps no optimiser history"), 1u);
  EXPECT_EQ(CountOf(html, "keeps no warnings"), 1u);
  EXPECT_EQ(CountOf(html, "keeps no uncertainty"), 1u);
  EXPECT_EQ(CountOf(html, "No warnings."), 0u);
  EXPECT_EQ(CountOf(html, "<th scope=\"row\">Calibration</th><td>read from scan.cal</td>"), 1u);
  EXPECT_EQ(CountOf(html, "RMS of this data"), 1u);
}

TEST(CalibrationReportContent, RefusesDataOfAnotherLengthThanTheFit) {
  const std::vector<Sample> fewer(Scan().samples.begin(), Scan().samples.end() - 1);
  try {
    CalibrationReportContent(Fitted(), fewer, Facts("scan.txt"));
    FAIL() << "no error";
  } catch (const Error& e) {
    EXPECT_EQ(e.code(), ErrorCode::kInvalidData);
    EXPECT_EQ(e.text(), "The calibration was fitted to 4000 samples; the report was given 3999");
  }
}

}  // namespace
}  // namespace tavric
