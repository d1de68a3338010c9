// DataCheck: what a user needs to know about scan data before calibrating.
//
// It reads the data (a data array, or a file in the marked or the generic
// layout), fits the reference sphere to the machine positions with the
// settings a calibration uses, and runs the scan-path check: how many scans
// and planes were found, and how many planes were scanned in both senses (a
// calibration needs at least three). It leaves the calibration state of the
// thread untouched.
#pragma once

#include <array>
#include <string>

#include "tavric/BoundedArray.h"

namespace tavric {

struct DataCheckReport {
  // "OK" when the data could be read, otherwise the reader's message (or the
  // error text of a failure while checking).
  std::string result;
  // "marked", "generic", or "array" for data handed over in memory; empty
  // when the file could not be read.
  std::string layout;
  int samples = 0;

  // The sphere fit: its result text, centre and radius (mm), and the
  // smallest, largest and variance of the radial deviations (mm, mm^2).
  std::string sphere_result;
  std::array<double, 3> centre{0.0, 0.0, 0.0};
  double radius = 0.0;
  double deviation_min = 0.0;
  double deviation_max = 0.0;
  double deviation_variance = 0.0;

  // The scan-path check (run only when the sphere fit succeeded).
  int scans = 0;
  int planes = 0;
  int bidirectional_planes = 0;

  // True when a calibration would accept the data: the sphere fit succeeded
  // and at least three planes were scanned in both senses.
  bool accepted = false;
};

// Checks a calibration data array (fields x samples, any lower bounds).
DataCheckReport CheckCalibrationData(const DataArray& data);

// Reads a data file (marked layout first, then generic) and checks it.
DataCheckReport CheckCalibrationDataFile(const std::string& file_name);

}  // namespace tavric
