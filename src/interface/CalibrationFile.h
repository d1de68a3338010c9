// The calibration-functions file: banner, sphere, fit statistics, then the
// polynomial's parameter section (see docs/file-formats.md).
#pragma once

#include <string>

#include "tavric/ReadDiagnostic.h"

namespace tavric {

// Writes this thread's sphere, statistics and calibration polynomial.
// "OK" or "SaveCalibrationFunctions Error n°<number> <description>".
std::string SaveCalibrationFunctions(const std::string& file_name);

// Reads them back. "OK", the polynomial section's own message, or
// "LoadCalibrationFunctions Error n°<number> <description>". State read
// before a failure stays changed. A `diagnostic`, when given, is filled with
// where and why reading stopped; the result is the same without it.
std::string LoadCalibrationFunctions(const std::string& file_name,
                                     ReadDiagnostic* diagnostic = nullptr);

}  // namespace tavric
