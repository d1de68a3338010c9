// The calibration report page: one self-contained HTML file that shows a
// calibration as a person judges it, by looking at it.
//
// The page has inline CSS and inline SVG pictures only: no script, no font,
// image or style sheet fetched from anywhere, so it reads the same offline
// and prints to A4 (each panel kept on one page where it fits). Its panels,
// in order, each a <section> with a stable element id:
//
//   panel-header           title and the facts of the run (ReportContent::header)
//   panel-warnings         every warning, in a box that stands out (also in grey print)
//   panel-fit              the fit's numbers and tables
//   panel-residuals        residual per sample along the data, coloured by scan,
//                          scan boundaries dashed
//   panel-sphere-map       residuals on the sphere: sample directions on an
//                          equal-area map, one disc per hemisphere
//   panel-convergence      sum of squares and damping per iteration (log
//                          scale), rejected trial steps marked
//   panel-identifiability  predicted deflection uncertainty over the probe
//                          directions, the weakest directions in words
//   panel-histogram        histogram of the residuals and the normal curve of
//                          the same mean and standard deviation
//
// A panel whose data is not given says so in words. Long series are thinned
// for drawing only (the extremes of every pixel column are kept); every
// statistic on the page is computed from all the values.
//
// Example:
//   tavric::ReportContent content;
//   content.header = {{"Data file", "scan.txt"}, {"Samples", "4000"}};
//   content.residuals_um = residuals;  // one per sample
//   content.scan_numbers = scans;      // one per sample
//   std::string result = tavric::WriteReportPage("report.html", content);   // "OK"
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavric {

// The element ids of the page's panels, in page order.
inline constexpr std::array<std::string_view, 8> kReportPanelIds = {
    "panel-header",          "panel-warnings",   "panel-fit",
    "panel-residuals",       "panel-sphere-map", "panel-convergence",
    "panel-identifiability", "panel-histogram"};

// A labelled value, shown as it is given ("FitRMS", "0.2201 µm").
struct ReportField {
  std::string label;
  std::string value;
};

// A table of texts. Columns whose cells all read as numbers are aligned
// right. Rows shorter than `columns` are padded with empty cells.
struct ReportTable {
  std::string caption;
  std::vector<std::string> columns;
  std::vector<std::vector<std::string>> rows;
};

// A warning: a stable code for scripts and a sentence for people.
struct ReportWarning {
  std::string code;
  std::string text;
};

// One accepted iteration of the optimiser.
struct ReportIteration {
  int iteration = 0;            // iteration number (1-based)
  double sum_of_squares = 0.0;  // S after the step, mm²
  double damping = 0.0;         // damping of the accepted step
  int rejected_trials = 0;      // trial steps rejected before it
};

// Values over a set of directions (any length, not zero; normalised for
// drawing), one value per direction.
struct ReportDirectionMap {
  std::vector<std::array<double, 3>> directions;
  std::vector<double> values;
  // What the values are, with their unit ("predicted deflection uncertainty (µm)").
  std::string value_title;
};

// Everything the page shows. Texts are shown as given (escaped); numbers
// that are drawn must be finite.
struct ReportContent {
  // Page title, also the document's title.
  std::string title = "Calibration report";

  // panel-header: data file, samples, order, settings that differ from the
  // defaults, result text, stop reason, date, tool version...
  std::vector<ReportField> header;

  // panel-fit: sphere, fit statistics, first-order matrix, offsets...
  std::vector<ReportField> fit;
  std::vector<ReportTable> fit_tables;

  // panel-residuals and panel-histogram: the residual of every sample, µm,
  // in the order of the data.
  std::vector<double> residuals_um;
  // The scan each sample belongs to (same length as residuals_um), or empty
  // when the scans are not known. A boundary is drawn wherever it changes.
  std::vector<int> scan_numbers;

  // panel-sphere-map: the direction of every sample from the fitted sphere
  // centre (same length as residuals_um), or empty.
  std::vector<std::array<double, 3>> sample_directions;

  // panel-convergence: S at the starting point (drawn as iteration 0) and
  // every accepted iteration.
  std::optional<double> initial_sum_of_squares;
  std::vector<ReportIteration> iterations;

  // panel-identifiability: the predicted deflection uncertainty over the
  // probe's directions, the weakest directions in words, and tables.
  ReportDirectionMap uncertainty;
  std::vector<std::string> weakest_directions;
  std::vector<ReportTable> identifiability_tables;

  // panel-warnings.
  std::vector<ReportWarning> warnings;

  // Notes in words, e.g. that a calibration read from a file keeps no
  // optimiser history, uncertainty or warnings. Each is shown in its panel
  // in place of the default text of a panel with nothing to show ("No
  // warnings.", "No iterations given.", ...); the warnings and the
  // identifiability notes are also shown under their panel's content.
  std::string warnings_note;
  std::string convergence_note;
  std::string identifiability_note;
};

// The page as HTML text (UTF-8). Raises RuntimeError 5 "Invalid procedure
// call or argument" with a description naming the field when the content
// is inconsistent: lengths that should match and do not, a drawn number
// that is not finite, a zero direction.
std::string RenderReportPage(const ReportContent& content);

// Writes the page to `path`. Returns "OK" or
// "WriteReportPage error <number> : <description>".
std::string WriteReportPage(const std::string& path, const ReportContent& content);

}  // namespace tavric
