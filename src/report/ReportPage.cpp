// The calibration report page: the panels of ReportContent drawn with the
// plotting module and put together as one HTML page.
#include "tavric/ReportPage.h"

#include <cmath>
#include <string>

#include "report/Chart.h"
#include "report/Colour.h"
#include "report/Histogram.h"
#include "report/HtmlPage.h"
#include "report/SphereMap.h"
#include "runtime/CheckedMath.h"
#include "runtime/ErrorTrap.h"
#include "runtime/TextFile.h"
#include "tavric/RuntimeError.h"

namespace tavric {
namespace {

using report::AxisKind;
using report::CategoryColour;
using report::Chart;
using report::ParagraphHtml;
using report::Point;

constexpr double kFullWidth = 680.0;
constexpr double kHalfWidth = 340.0;
// Convergence charts: blue and bluish green lines, vermillion circles.
constexpr report::Rgb kSumOfSquaresColour = {0x00, 0x72, 0xb2};
constexpr report::Rgb kDampingColour = {0x00, 0x9e, 0x73};
constexpr report::Rgb kRejectedColour = {0xd5, 0x5e, 0x00};

[[noreturn]] void Invalid(const std::string& what) {
  throw RuntimeError(err::kInvalidCall, "Invalid report content: " + what);
}

void RequireFinite(double value, const char* field, std::size_t index) {
  if (!std::isfinite(value))
    Invalid(std::string(field) + "[" + std::to_string(index) + "] is not a finite number");
}

void RequireDirections(const std::vector<std::array<double, 3>>& directions, const char* field) {
  for (std::size_t i = 0; i < directions.size(); ++i) {
    const auto& d = directions[i];
    if (!std::isfinite(d[0]) || !std::isfinite(d[1]) || !std::isfinite(d[2]) ||
        (d[0] == 0.0 && d[1] == 0.0 && d[2] == 0.0))
      Invalid(std::string(field) + "[" + std::to_string(i) +
              "] is not a finite, non-zero direction");
  }
}

void RequireLength(std::size_t size, std::size_t expected, const char* field, const char* other) {
  if (size != 0 && size != expected)
    Invalid(std::string(field) + " has " + std::to_string(size) + " values for " +
            std::to_string(expected) + " " + other);
}

void CheckContent(const ReportContent& c) {
  for (std::size_t i = 0; i < c.residuals_um.size(); ++i)
    RequireFinite(c.residuals_um[i], "residuals_um", i);
  RequireLength(c.scan_numbers.size(), c.residuals_um.size(), "scan_numbers", "residuals");
  RequireLength(c.sample_directions.size(), c.residuals_um.size(), "sample_directions",
                "residuals");
  RequireDirections(c.sample_directions, "sample_directions");
  if (c.initial_sum_of_squares && !std::isfinite(*c.initial_sum_of_squares))
    Invalid("initial_sum_of_squares is not a finite number");
  for (std::size_t i = 0; i < c.iterations.size(); ++i) {
    RequireFinite(c.iterations[i].sum_of_squares, "iterations.sum_of_squares", i);
    RequireFinite(c.iterations[i].damping, "iterations.damping", i);
  }
  if (c.uncertainty.values.size() != c.uncertainty.directions.size())
    Invalid("uncertainty has " + std::to_string(c.uncertainty.values.size()) + " values for " +
            std::to_string(c.uncertainty.directions.size()) + " directions");
  for (std::size_t i = 0; i < c.uncertainty.values.size(); ++i)
    RequireFinite(c.uncertainty.values[i], "uncertainty.values", i);
  RequireDirections(c.uncertainty.directions, "uncertainty.directions");
}

std::string Empty(std::string_view text) { return ParagraphHtml(text, "empty"); }

std::string WarningsBody(const std::vector<ReportWarning>& warnings, const std::string& note) {
  if (warnings.empty() && !note.empty()) return Empty(note);
  if (warnings.empty())
    return "<div class=\"no-warnings\">" + ParagraphHtml("No warnings.") + "</div>\n";
  std::string out = "<div class=\"warnings\" role=\"alert\">\n";
  out += ParagraphHtml("\xE2\x9A\xA0 " + std::to_string(warnings.size()) +
                       (warnings.size() == 1 ? " warning" : " warnings"));
  out += "<ul>\n";
  for (const ReportWarning& w : warnings)
    out += "<li><code>" + report::EscapeXml(w.code) + "</code> " + report::EscapeXml(w.text) +
           "</li>\n";
  out += "</ul>\n";
  if (!note.empty()) out += ParagraphHtml(note);
  return out + "</div>\n";
}

std::string FitBody(const ReportContent& c) {
  if (c.fit.empty() && c.fit_tables.empty()) return Empty("No fit given.");
  std::string out = report::FieldsHtml(c.fit);
  for (const ReportTable& t : c.fit_tables) out += report::TableHtml(t);
  return out;
}

// The end of the run of samples that share the scan of sample `first`
// (all `count` samples when the scans are not known).
std::size_t RunEnd(const std::vector<int>& scans, std::size_t first, std::size_t count) {
  if (scans.empty()) return count;
  std::size_t end = first + 1;
  while (end < count && scans[end] == scans[first]) ++end;
  return end;
}

std::string ResidualsBody(const ReportContent& c) {
  const std::vector<double>& r = c.residuals_um;
  if (r.empty()) return Empty("No residuals given.");
  Chart chart(kFullWidth, 280.0);
  chart.SetXAxis({.title = "sample", .integers = true, .ends_at_data = true});
  chart.SetYAxis({.title = "residual (\xC2\xB5m)"});
  chart.SetVerticalLineLegend("scan boundary");
  // One line per run of samples of the same scan; sample numbers are 1-based.
  std::size_t run = 0;
  for (std::size_t first = 0, end = 0; first < r.size(); first = end, ++run) {
    end = RunEnd(c.scan_numbers, first, r.size());
    std::vector<Point> points;
    points.reserve(end - first);
    for (std::size_t i = first; i < end; ++i) points.push_back({static_cast<double>(i + 1), r[i]});
    chart.AddLine(std::move(points), {.colour = CategoryColour(run), .width = 1.0});
    if (first > 0) chart.AddVerticalLine(static_cast<double>(first) + 0.5);
    if (!c.scan_numbers.empty())
      chart.AddTopLabel(static_cast<double>(first + end + 1) / 2.0,
                        std::to_string(c.scan_numbers[first]));
  }
  std::string out = chart.Svg("chart-residuals", "Residual of each sample along the data");
  out += ParagraphHtml(
      "The residual of each of the " + std::to_string(r.size()) +
          " samples in the order of the data. " +
          (c.scan_numbers.empty() ? std::string()
                                  : "The colour changes from scan to scan; the numbers above the "
                                    "plot are the scan numbers. ") +
          "Long series are drawn thinned to the extremes of each pixel column, so no peak is lost.",
      "caption");
  return out;
}

std::string SphereMapBody(const ReportContent& c) {
  if (c.sample_directions.empty()) return Empty("No sample directions given.");
  std::string out =
      report::SphereMapSvg(c.sample_directions, c.residuals_um, "residual (\xC2\xB5m)", true,
                           "map-residuals", "Residuals on the sphere, one disc per hemisphere");
  out += ParagraphHtml(
      "Direction of each sample from the fitted sphere centre, in Lambert's azimuthal "
      "equal-area projection (equal areas on the sphere stay equal on the discs). The rims are "
      "the equator; the dashed circles are 30\xC2\xB0 and 60\xC2\xB0 from the poles. Where marks "
      "crowd, the largest residual in size is shown.",
      "caption");
  return out;
}

// One convergence chart: a value per iteration on a logarithmic axis, with
// the iterations that followed rejected trial steps circled.
std::string ConvergenceChart(const ReportContent& c, bool sum_of_squares) {
  Chart chart(kHalfWidth, 250.0);
  chart.SetXAxis({.title = "iteration", .integers = true, .ends_at_data = true});
  chart.SetYAxis({.title = sum_of_squares ? "sum of squares S (mm\xC2\xB2)" : "damping \xCE\xBC",
                  .kind = AxisKind::kLogarithmic});
  std::vector<Point> line, rejected;
  if (sum_of_squares && c.initial_sum_of_squares) line.push_back({0.0, *c.initial_sum_of_squares});
  for (const ReportIteration& it : c.iterations) {
    const Point p = {static_cast<double>(it.iteration),
                     sum_of_squares ? it.sum_of_squares : it.damping};
    line.push_back(p);
    if (it.rejected_trials > 0) {
      rejected.push_back(p);
      chart.AddTopLabel(p.x, std::to_string(it.rejected_trials));
    }
  }
  chart.AddLine(std::move(line), {.colour = sum_of_squares ? kSumOfSquaresColour : kDampingColour},
                sum_of_squares ? "S" : "\xCE\xBC");
  if (!rejected.empty())
    chart.AddMarkers(std::move(rejected), kRejectedColour, "after rejected trials");
  return chart.Svg(sum_of_squares ? "chart-sum-of-squares" : "chart-damping",
                   sum_of_squares ? "Sum of squares per iteration" : "Damping per iteration");
}

std::string ConvergenceBody(const ReportContent& c) {
  if (c.iterations.empty() && !c.initial_sum_of_squares)
    return Empty(c.convergence_note.empty() ? "No iterations given." : c.convergence_note);
  std::string out = "<div class=\"pair\">\n" + ConvergenceChart(c, true) + '\n' +
                    ConvergenceChart(c, false) + "\n</div>\n";
  out += ParagraphHtml(
      "Sum of squares S and damping \xCE\xBC of each accepted step" +
          std::string(c.initial_sum_of_squares ? "; iteration 0 is the starting point" : "") +
          ". Circles mark steps accepted after rejected trial steps, whose number stands above "
          "the plot.",
      "caption");
  return out;
}

std::string IdentifiabilityBody(const ReportContent& c) {
  std::string out;
  const ReportDirectionMap& u = c.uncertainty;
  if (!u.directions.empty()) {
    out += report::SphereMapSvg(u.directions, u.values, u.value_title, false, "map-uncertainty",
                                "Predicted deflection uncertainty over the probe directions");
    out += ParagraphHtml(
        "Over the directions of the probe's deflection, in the same projection as the residual "
        "map.",
        "caption");
  }
  if (!c.weakest_directions.empty()) {
    out += ParagraphHtml("Weakest directions:");
    out += report::ListHtml(c.weakest_directions);
  }
  for (const ReportTable& t : c.identifiability_tables) out += report::TableHtml(t);
  if (out.empty()) {
    out = Empty(c.identifiability_note.empty() ? "No identifiability analysis given."
                                               : c.identifiability_note);
  } else if (!c.identifiability_note.empty()) {
    out += ParagraphHtml(c.identifiability_note);
  }
  if (!c.warnings.empty())
    out += ParagraphHtml("The warnings are listed at the top of the report.");
  return out;
}

std::string HistogramBody(const ReportContent& c) {
  if (c.residuals_um.empty()) return Empty("No residuals given.");
  const Chart chart =
      report::HistogramChart(c.residuals_um, "residual", "\xC2\xB5m", kFullWidth, 260.0);
  std::string out = chart.Svg("chart-histogram", "Histogram of the residuals");
  out += ParagraphHtml(
      "All residuals, counted in bins of equal width; the curve is the normal distribution of "
      "their mean and standard deviation, scaled to the counts.",
      "caption");
  return out;
}

}  // namespace

std::string RenderReportPage(const ReportContent& content) {
  fp::Boundary boundary;
  CheckContent(content);
  report::HtmlPage page(content.title);
  page.AddSection(
      "panel-header", content.title,
      content.header.empty() ? Empty("No run facts given.") : report::FieldsHtml(content.header),
      1);
  page.AddSection("panel-warnings", "Warnings",
                  WarningsBody(content.warnings, content.warnings_note));
  page.AddSection("panel-fit", "Fit", FitBody(content));
  page.AddSection("panel-residuals", "Residuals along the data", ResidualsBody(content));
  page.AddSection("panel-sphere-map", "Residuals on the sphere", SphereMapBody(content));
  page.AddSection("panel-convergence", "Convergence", ConvergenceBody(content));
  page.AddSection("panel-identifiability", "Identifiability", IdentifiabilityBody(content));
  page.AddSection("panel-histogram", "Distribution of the residuals", HistogramBody(content));
  std::string html = page.Html();
  // The drawing's arithmetic must not have overflowed or divided by zero.
  fp::Check();
  return html;
}

std::string WriteReportPage(const std::string& path, const ReportContent& content) {
  fp::Boundary boundary;
  try {
    WriteWholeTextFile(path, RenderReportPage(content));
    return "OK";
  } catch (...) {
    return TrapText("WriteReportPage error ", CurrentErrorInfo(), " : ");
  }
}

}  // namespace tavric
