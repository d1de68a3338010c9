#include "report/Chart.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "Markup.h"
#include "TestSupport.h"

namespace tavric::report {
namespace {

using testing::CountOf;

// The points attribute of every polyline.
std::vector<std::string> Polylines(const std::string& svg) {
  std::vector<std::string> out;
  const std::string start = "<polyline points=\"";
  for (std::size_t pos = svg.find(start); pos != std::string::npos;
       pos = svg.find(start, pos + 1)) {
    const std::size_t first = pos + start.size();
    out.push_back(svg.substr(first, svg.find('"', first) - first));
  }
  return out;
}

TEST(Chart, DrawsAxesTitlesLegendAndAClippedPlot) {
  Chart chart(400, 240);
  chart.SetTitle("Residuals");
  chart.SetXAxis({.title = "sample"});
  chart.SetYAxis({.title = "residual (\xC2\xB5m)"});
  chart.AddLine({{0.0, -0.8}, {5.0, 0.2}, {10.0, 0.7}}, {.colour = {0, 0x72, 0xb2}}, "scan <1>");
  const std::string svg = chart.Svg("c1", "A chart");
  EXPECT_NE(svg.find("<clipPath id=\"c1-plot\">"), std::string::npos);
  EXPECT_NE(svg.find("clip-path=\"url(#c1-plot)\""), std::string::npos);
  EXPECT_NE(svg.find(">Residuals</text>"), std::string::npos);
  EXPECT_NE(svg.find(">sample</text>"), std::string::npos);
  EXPECT_NE(svg.find(">residual (\xC2\xB5m)</text>"), std::string::npos);
  EXPECT_NE(svg.find(">scan &lt;1&gt;</text>"), std::string::npos);
  EXPECT_NE(svg.find("stroke=\"#0072b2\""), std::string::npos);
  // Round ticks on both axes.
  for (const char* label : {">0</text>", ">5</text>", ">10</text>",
                            ">\xE2\x88\x92"
                            "1.0</text>",
                            ">0.5</text>", ">1.0</text>"})
    EXPECT_NE(svg.find(label), std::string::npos) << label;
  EXPECT_EQ(Polylines(svg).size(), 1u);
}

TEST(Chart, BreaksLinesAtPointsTheAxesCannotShow) {
  Chart chart(400, 240);
  chart.SetYAxis({.title = "S", .kind = AxisKind::kLogarithmic});
  chart.AddLine({{1.0, 1.0},
                 {2.0, 10.0},
                 {3.0, 0.0},
                 {4.0, 100.0},
                 {5.0, 1000.0},
                 {6.0, std::nan("")},
                 {7.0, 5.0}},
                {.colour = {}});
  const std::vector<std::string> lines = Polylines(chart.Svg("c", "log"));
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(CountOf(lines[0], ","), 2u);
  EXPECT_EQ(CountOf(lines[1], ","), 2u);
  // The lone point after the last gap is a dot: a segment of no length.
  const std::string dot = lines[2].substr(0, lines[2].find(' '));
  EXPECT_EQ(lines[2], dot + ' ' + dot);
}

TEST(Chart, LeavesOutBoundariesTooCloseToTellApart) {
  Chart chart(400, 240);
  chart.AddLine({{0.0, 0.0}, {10000.0, 1.0}}, {.colour = {}});
  for (int i = 1; i < 10000; ++i) chart.AddVerticalLine(i);
  const std::size_t drawn = CountOf(chart.Svg("c", "many"), "stroke-dasharray=\"4 3\"");
  EXPECT_GT(drawn, 100u);
  EXPECT_LT(drawn, 200u);  // at least 2 of the plot's fewer than 400 pixels apart
}

TEST(Chart, ThinsLongLinesToTheExtremesOfEachPixelColumn) {
  std::vector<Point> points;
  for (int i = 0; i < 100000; ++i) points.push_back({static_cast<double>(i), std::sin(i * 0.1)});
  points[61234].y = 40.0;
  Chart chart(680, 260);
  chart.AddLine(points, {.colour = {}});
  const std::string svg = chart.Svg("c", "long");
  const std::vector<std::string> lines = Polylines(svg);
  ASSERT_EQ(lines.size(), 1u);
  const std::size_t drawn = CountOf(lines[0], ",");
  EXPECT_LE(drawn, 4u * 680u);
  EXPECT_GE(drawn, 600u);
  // The spike sets the y axis and reaches its top.
  EXPECT_NE(svg.find(">40</text>"), std::string::npos);
}

TEST(Chart, DrawsMarkersBarsAndDashedVerticalLines) {
  Chart chart(400, 240);
  chart.AddMarkers({{1.0, 1.0}, {2.0, 2.0}}, {0xd5, 0x5e, 0x00}, "rejected");
  chart.AddBars({{0.0, 1.0, 3.0}, {1.0, 2.0, 5.0}}, {0x56, 0xb4, 0xe9}, "counts");
  chart.AddVerticalLine(1.5);
  chart.SetVerticalLineLegend("boundary");
  const std::string svg = chart.Svg("c", "mixed");
  EXPECT_EQ(CountOf(svg, "<circle"), 3u);                   // two markers and the legend's swatch
  EXPECT_EQ(CountOf(svg, "fill=\"#56b4e9\""), 3u);          // two bars and the swatch
  EXPECT_EQ(CountOf(svg, "stroke-dasharray=\"4 3\""), 2u);  // the line and the swatch
  EXPECT_NE(svg.find(">boundary</text>"), std::string::npos);
}

TEST(Chart, LeavesOutTopLabelsThatWouldOverlap) {
  Chart chart(400, 240);
  chart.AddLine({{0.0, 0.0}, {100.0, 1.0}}, {.colour = {}});
  chart.AddTopLabel(10.0, "first");
  chart.AddTopLabel(10.5, "crowded");
  chart.AddTopLabel(60.0, "apart");
  const std::string svg = chart.Svg("c", "labels");
  EXPECT_NE(svg.find(">first</text>"), std::string::npos);
  EXPECT_EQ(svg.find(">crowded</text>"), std::string::npos);
  EXPECT_NE(svg.find(">apart</text>"), std::string::npos);
}

TEST(Chart, WithoutDataStillDrawsItsAxes) {
  Chart chart(300, 200);
  chart.SetXAxis({.title = "x", .kind = AxisKind::kLogarithmic});
  const std::string svg = chart.Svg("c", "empty");
  EXPECT_NE(svg.find(">x</text>"), std::string::npos);
  EXPECT_NE(svg.find(">10</text>"), std::string::npos);
}

TEST(Chart, TooSmallToHoldAPlotIsADefect) {
  Chart chart(40, 30);
  chart.SetYAxis({.title = "a long axis title"});
  EXPECT_RUNTIME_ERROR(chart.Svg("c", "tiny"), err::kInternalError);
}

TEST(TextWidth, CountsCharactersNotBytes) {
  EXPECT_DOUBLE_EQ(TextWidth("abc", 10.0), 18.0);
  EXPECT_DOUBLE_EQ(TextWidth("\xC2\xB5m", 10.0), 12.0);
}

}  // namespace
}  // namespace tavric::report
