// The report page of a calibration: what ReportPage.h draws, filled from a
// tavric::Calibration and the data it describes.
//
//   tavric::DataArray data;
//   tavric::ReadCalibrationDataFile("scan.txt", data);
//   const std::vector<tavric::Sample> samples = tavric::samples_of(data);
//   tavric::Calibration cal = tavric::calibrate(samples);
//   tavric::ReportFacts facts{.data_file = "scan.txt", .date = "2026-01-05 10:00 UTC"};
//   tavric::WriteReportPage("scan.html", tavric::CalibrationReportContent(cal, samples, facts));
//
// A calibration fitted to the samples brings everything: its residuals,
// optimiser history, uncertainty and warnings. A calibration read from a file
// (tavric::load) keeps none of those: the page then shows the residuals of
// the samples against it (so the data can be another scan than the one it
// was fitted to), says in the convergence, identifiability and warnings
// panels that those come from a fit, and shows the fit statistics the file
// holds beside those of the samples.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "tavric/Calibration.h"
#include "tavric/ReportPage.h"

namespace tavric {

// What the page tells about the run besides the calibration itself.
struct ReportFacts {
  std::string data_file;         // the data the samples come from
  std::string calibration_file;  // the calibration file read, or empty when fitted to the data
  // The settings that differ from their defaults, as the host names them.
  std::vector<ReportField> settings;
  std::string date;
  std::string tool_version;
};

// The page's content. For a fitted calibration the samples must be those it
// was fitted to (the same number); throws Error (kInvalidData) otherwise, and
// when a sample's residual or direction from the sphere centre cannot be
// formed (not finite, or the tip at the centre).
ReportContent CalibrationReportContent(const Calibration& calibration,
                                       std::span<const Sample> samples, const ReportFacts& facts);

// The residual of each sample against a calibration (mm): the distance of
// the tip centre (machine position plus the deflection at the readings) from
// the sphere centre, minus the radius. The same figure as a fit's residuals,
// for any data. Throws Error (kInvalidData) when one is not finite.
std::vector<double> sample_residuals(const Calibration& calibration,
                                     std::span<const Sample> samples);

// The scan of each sample (1, 2, ...), found from the machine positions
// alone: a scan is a run of positions along one plane curve (a great or a
// small circle of the sphere), so a new scan starts where the plane the
// positions travel in turns away (its normal by more than about 18 degrees,
// including the same plane travelled the other way), or where the position
// jumps by more than five times the median step between samples.
std::vector<int> detect_scans(std::span<const Sample> samples);

}  // namespace tavric
