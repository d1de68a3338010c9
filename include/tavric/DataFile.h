// DataFile: reads a logged calibration data file into a data array, for
// hosts that want the samples themselves (to inspect, convert or re-fit
// them) rather than a calibration from the file.
//
// The file is read exactly as OptimiseFromFile reads it: with the marked
// layout's reader first ("DATA START" / "DATA END" records) and, when that
// does not succeed, with the generic logged-parameters reader. The array
// then has bounds (1 To 6, 1 To samples): rows P, Q, R (counts), X, Y, Z (mm).
//
// Example:
//   tavric::DataArray data;
//   std::string layout;
//   if (tavric::ReadCalibrationDataFile("scan.txt", data, &layout) == "OK") {
//     // data.UBound(2) samples, layout "marked" or "generic"
//   }
#pragma once

#include <string>

#include "tavric/BoundedArray.h"
#include "tavric/ReadDiagnostic.h"

namespace tavric {

// Reads `path` into `data` and returns "OK", or the message of the generic
// reader when neither layout could be read ("No Data identified.", "Fields
// missing", "File reading(Generic) error ..."); the marked reader's message is
// discarded as in OptimiseFromFile. On success `data` is replaced and
// `*layout` (when given) becomes "marked" or "generic"; on failure `data` is
// left as it was and `*layout` becomes empty. `*diagnostic` (when given) is
// filled with where and why reading stopped, or with the layout and the
// samples read; the result is the same with or without it.
std::string ReadCalibrationDataFile(const std::string& path, DataArray& data,
                                    std::string* layout = nullptr,
                                    ReadDiagnostic* diagnostic = nullptr);

}  // namespace tavric
