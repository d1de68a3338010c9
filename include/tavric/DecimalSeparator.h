// DecimalSeparator: the decimal separator of the library's locale-aware
// number conversions.
//
// Three things follow the user's locale: the numbers of logged calibration
// data files (ReadCalibrationDataFile, OptimiseFromFile), the sphere radius
// read back from a calibration-functions file, and the values shown by the
// progress display ("#0.00" and the like). Everything else the library
// writes or reads (calibration-functions files, the polynomial section,
// simulated data files) uses a period whatever the locale.
//
// By default the separator is the one of the C library's locale of the
// process (LC_NUMERIC, as std::setlocale sets it; "C", a period, until the
// program sets another). A host that keeps its user's locale elsewhere
// installs a source that returns the separator; the Windows automation
// server installs one that reads the Windows user's locale, and the tavric
// tool's --decimal-comma installs one that returns ",".
//
// Grouping separators are never part of a number: with a decimal comma,
// "1.234,5" is not a number.
#pragma once

#include <string>

namespace tavric {

// Returns the decimal separator in force (UTF-8, never empty).
using DecimalSeparatorSource = std::string (*)();

// Installs `source` for the whole process (nullptr goes back to the C
// library's locale) and returns the source installed before.
DecimalSeparatorSource SetDecimalSeparatorSource(DecimalSeparatorSource source) noexcept;

// The decimal separator now in force; a source that returns an empty text
// counts as a period.
std::string DecimalSeparator();

}  // namespace tavric
