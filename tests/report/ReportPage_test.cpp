#include "tavric/ReportPage.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <string>
#include <vector>

#include "Markup.h"
#include "TestSupport.h"

namespace tavric {
namespace {

using report::testing::CountOf;

// The ids a reader's bookmarks and the browser check rely on, in page order.
const char* const kPanels[] = {"panel-header",          "panel-warnings",   "panel-fit",
                               "panel-residuals",       "panel-sphere-map", "panel-convergence",
                               "panel-identifiability", "panel-histogram"};

// Content of every kind: `samples` residuals in ten scans along five great
// circles, an optimiser history with rejected trials, an uncertainty map.
ReportContent FullContent(int samples) {
  ReportContent c;
  c.header = {{"Data file", "scan.txt"}, {"Samples", std::to_string(samples)}};
  c.fit = {{"FitRMS", "0.2201 \xC2\xB5m"}};
  c.fit_tables = {{"First-order terms", {"", "P", "Q", "R"}, {{"X", "6.25e-05", "0", "0"}}}};
  const int per_scan = samples / 10;
  for (int i = 0; i < samples; ++i) {
    const int scan = std::min(i / per_scan, 9);
    const double a = std::numbers::pi * (i - scan * per_scan) / per_scan;
    const double plane = std::numbers::pi * (scan / 2) / 5.0;
    c.residuals_um.push_back(0.3 * std::sin(i * 0.7) + (i == samples / 3 ? 4.0 : 0.0));
    c.scan_numbers.push_back(scan + 1);
    c.sample_directions.push_back(
        {std::cos(a) * std::cos(plane), std::cos(a) * std::sin(plane), std::sin(a)});
  }
  c.initial_sum_of_squares = 4000.0;
  for (int k = 1; k <= 8; ++k)
    c.iterations.push_back({k, 40.0 / std::pow(10.0, k), std::pow(10.0, -k), k == 3 ? 2 : 0});
  for (int i = 0; i < 500; ++i) {
    const double z = 1.0 - (2.0 * i + 1.0) / 500.0, r = std::sqrt(1.0 - z * z);
    c.uncertainty.directions.push_back({r * std::cos(2.4 * i), r * std::sin(2.4 * i), z});
    c.uncertainty.values.push_back(0.1 + 0.05 * z);
  }
  c.uncertainty.value_title = "predicted deflection uncertainty (\xC2\xB5m)";
  c.weakest_directions = {"Along -Z the deflection is known to 0.15 \xC2\xB5m only."};
  c.warnings = {{"WEAK_DIRECTION", "The scan pins -Z down poorly."},
                {"ITERATION_LIMIT", "Stopped at the iteration limit <20>."}};
  return c;
}

TEST(RenderReportPage, HoldsEveryPanelOnceInOrder) {
  const std::string html = RenderReportPage(FullContent(4000));
  std::size_t previous = 0;
  for (const char* id : kPanels) {
    const std::string attribute = std::string("<section id=\"") + id + "\">";
    EXPECT_EQ(CountOf(html, attribute), 1u) << id;
    EXPECT_GT(html.find(attribute), previous) << id;
    previous = html.find(attribute);
  }
  ASSERT_EQ(std::size(kPanels), kReportPanelIds.size());
  for (std::size_t i = 0; i < kReportPanelIds.size(); ++i)
    EXPECT_EQ(kReportPanelIds[i], kPanels[i]);
}

TEST(RenderReportPage, DrawsEveryPictureAndNeedsNothingFromOutside) {
  const std::string html = RenderReportPage(FullContent(4000));
  EXPECT_EQ(CountOf(html, "<svg "), 6u);  // residuals, map, 2 convergence, uncertainty, histogram
  EXPECT_EQ(html.find("<script"), std::string::npos);
  EXPECT_EQ(html.find("<img"), std::string::npos);
  EXPECT_EQ(html.find("<link"), std::string::npos);
  EXPECT_EQ(html.find("url(http"), std::string::npos);
  EXPECT_EQ(html.find("href="), std::string::npos);
  // Ids of clip paths are unique in the page.
  for (const char* clip :
       {"chart-residuals-plot", "map-residuals-upper", "map-uncertainty-lower",
        "chart-sum-of-squares-plot", "chart-damping-plot", "chart-histogram-plot"})
    EXPECT_EQ(CountOf(html, std::string("id=\"") + clip + "\""), 1u) << clip;
}

TEST(RenderReportPage, ShowsEveryWarningInTheWarningsBox) {
  const std::string html = RenderReportPage(FullContent(1000));
  EXPECT_NE(html.find("<div class=\"warnings\" role=\"alert\">\n<p>\xE2\x9A\xA0 2 warnings</p>"),
            std::string::npos);
  EXPECT_NE(html.find("<li><code>WEAK_DIRECTION</code> The scan pins -Z down poorly.</li>"),
            std::string::npos);
  EXPECT_NE(html.find("<li><code>ITERATION_LIMIT</code> Stopped at the iteration limit "
                      "&lt;20&gt;.</li>"),
            std::string::npos);
}

TEST(RenderReportPage, MarksTheScanBoundariesAndTheRejectedTrials) {
  const std::string html = RenderReportPage(FullContent(4000));
  // Nine boundaries between ten scans, and the legend's swatch.
  EXPECT_EQ(CountOf(html, "stroke-dasharray=\"4 3\""), 10u);
  // Iteration 3 had two rejected trials: circled on both convergence charts.
  EXPECT_NE(html.find(">after rejected trials</text>"), std::string::npos);
  EXPECT_EQ(CountOf(html, "stroke=\"#d55e00\" stroke-width=\"1.5\""), 4u);  // 2 marks, 2 swatches
}

TEST(RenderReportPage, SaysSoWhenAPanelHasNoData) {
  ReportContent c;
  const std::string html = RenderReportPage(c);
  for (const char* id : kPanels)
    EXPECT_NE(html.find(std::string("<section id=\"") + id + "\">"), std::string::npos) << id;
  for (const char* note : {"No run facts given.", "No warnings.", "No fit given.",
                           "No residuals given.", "No sample directions given.",
                           "No iterations given.", "No identifiability analysis given."})
    EXPECT_NE(html.find(note), std::string::npos) << note;
  EXPECT_EQ(html.find("<svg"), std::string::npos);
}

TEST(RenderReportPage, APanelsNoteTakesThePlaceOfItsDefaultText) {
  ReportContent c;
  c.warnings_note = "Warnings come from a fit.";
  c.convergence_note = "History comes from a fit.";
  c.identifiability_note = "Uncertainty comes from a fit.";
  const std::string html = RenderReportPage(c);
  for (const char* gone :
       {"No warnings.", "No iterations given.", "No identifiability analysis given."})
    EXPECT_EQ(html.find(gone), std::string::npos) << gone;
  EXPECT_EQ(CountOf(html, "<p class=\"empty\">Warnings come from a fit.</p>"), 1u);
  EXPECT_EQ(CountOf(html, "<p class=\"empty\">History comes from a fit.</p>"), 1u);
  EXPECT_EQ(CountOf(html, "<p class=\"empty\">Uncertainty comes from a fit.</p>"), 1u);
}

TEST(RenderReportPage, NotesStandUnderAPanelsContent) {
  ReportContent c = FullContent(400);
  c.warnings = {{"few-planes", "Only two planes."}};
  c.warnings_note = "Thresholds were lowered.";
  c.identifiability_note = "Linear estimate.";
  const std::string html = RenderReportPage(c);
  const std::size_t warning = html.find("Only two planes.");
  const std::size_t note = html.find("<p>Thresholds were lowered.</p>");
  ASSERT_NE(note, std::string::npos);
  EXPECT_LT(warning, note);
  EXPECT_LT(note, html.find("id=\"panel-fit\""));
  const std::size_t weakest = html.find("Weakest directions:");
  const std::size_t linear = html.find("<p>Linear estimate.</p>");
  ASSERT_NE(weakest, std::string::npos);
  EXPECT_LT(weakest, linear);
  EXPECT_LT(linear, html.find("id=\"panel-histogram\""));
}

// Thinning keeps the pictures' size bounded by the pixels, not the samples;
// the statistics still count every sample.
TEST(RenderReportPage, StaysSmallForTheLargestDataWhileCountingEverySample) {
  const std::string small = RenderReportPage(FullContent(4000));
  const std::string large = RenderReportPage(FullContent(32767));
  EXPECT_LT(large.size(), 1'000'000u);
  EXPECT_LT(large.size(), 2 * small.size());
  EXPECT_NE(large.find(">histogram (n = 32767)</text>"), std::string::npos);
  EXPECT_NE(large.find("The residual of each of the 32767 samples"), std::string::npos);
}

TEST(RenderReportPage, RefusesInconsistentContentNamingTheField) {
  const auto expect_invalid = [](const ReportContent& c, const std::string& field) {
    try {
      RenderReportPage(c);
      ADD_FAILURE() << "no error for " << field;
    } catch (const RuntimeError& e) {
      EXPECT_EQ(e.Number(), err::kInvalidCall);
      EXPECT_NE(e.Description().find(field), std::string::npos) << e.Description();
    }
  };
  ReportContent c = FullContent(100);
  c.residuals_um[7] = std::numeric_limits<double>::quiet_NaN();
  expect_invalid(c, "residuals_um[7]");
  c = FullContent(100);
  c.scan_numbers.pop_back();
  expect_invalid(c, "scan_numbers has 99 values for 100 residuals");
  c = FullContent(100);
  c.sample_directions[3] = {0.0, 0.0, 0.0};
  expect_invalid(c, "sample_directions[3]");
  c = FullContent(100);
  c.iterations[2].damping = std::numeric_limits<double>::infinity();
  expect_invalid(c, "iterations.damping[2]");
  c = FullContent(100);
  c.uncertainty.values.pop_back();
  expect_invalid(c, "uncertainty has 499 values for 500 directions");
}

TEST(WriteReportPage, WritesThePageAndReportsFailuresAsText) {
  testing::TempDir dir;
  const ReportContent c = FullContent(500);
  EXPECT_EQ(WriteReportPage(dir.File("report.html"), c), "OK");
  EXPECT_EQ(testing::ReadFileBytes(dir.File("report.html")), RenderReportPage(c));
  EXPECT_EQ(WriteReportPage(dir.File("missing/report.html"), c),
            "WriteReportPage error 76 : Path not found");
  ReportContent bad = c;
  bad.residuals_um[0] = std::numeric_limits<double>::infinity();
  EXPECT_EQ(WriteReportPage(dir.File("bad.html"), bad),
            "WriteReportPage error 5 : Invalid report content: residuals_um[0] is not a finite "
            "number");
}

}  // namespace
}  // namespace tavric
