// The calibration-functions file: banner, sphere, fit statistics, then the
// polynomial's parameter section (see docs/file-formats.md).
#pragma once

#include <string>

namespace tavric {

// Writes this thread's sphere, statistics and calibration polynomial.
// "OK" or "SaveCalibrationFunctions Error n°<number> <description>".
std::string SaveCalibrationFunctions(const std::string& file_name);

// Reads them back. "OK", the polynomial section's own message, or
// "LoadCalibrationFunctions Error n°<number> <description>". State read
// before a failure stays changed.
std::string LoadCalibrationFunctions(const std::string& file_name);

}  // namespace tavric
