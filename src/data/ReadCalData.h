// ReadCalData: readers of logged calibration data files.
//
// Two layouts are read into the measurement array, bounds (1 To 6, 1 To
// count): rows 1..3 the probe readings P, Q, R, rows 4..6 the machine
// position X, Y, Z of the same sample.
//
// Marked layout, read field by field (fields separated by commas or line
// ends, blanks around them dropped, quotes removed):
//   DATA START
//   <six header fields, ignored>
//   P,Q,R,X,Y,Z           one record per sample
//   DATA END
// The markers are compared whole and case-insensitively; every DATA START
// block of the file is appended.
//
// Generic layout, read line by line: a line containing LOGGED PARAMETERS
// (any case, anywhere in the line), then a header line naming the columns,
// separated by single spaces, then data lines with the same single-space
// pattern. The columns "TQ800Axis0.0", "TQ800Axis1.0", "TQ800Axis2.0", "X.51",
// "Y.51" and "Z.51" (exact names) give P, Q, R, X, Y, Z. Every line after the
// header is data except the file's very last line, which must be non-numeric
// (an empty line or a footer): a numeric last line runs past the end of the
// file, and a line after the footer (a blank line, say) makes the footer data.
//
// Numbers are converted with the decimal separator of the user's locale
// (tavric/DecimalSeparator.h).
// The array is grown by one column per record and never cleared first; a
// failed read keeps the columns already added.
#pragma once

#include <string>

#include "tavric/BoundedArray.h"
#include "tavric/ReadDiagnostic.h"

namespace tavric::ReadCalData {

// Reads the marked layout. Result "OK", "No Data identified." when the file
// holds no DATA START record, or "File reading(1) error " + number + " : " +
// description for any run-time error. A `diagnostic`, when given, is filled
// with where and why reading stopped (or the samples read); the result is the
// same with or without it.
std::string ReadMarkedFile(const std::string& file_name, Array2<double>& data,
                           ReadDiagnostic* diagnostic = nullptr);

// Reads the generic layout. Result "OK", "No Data identified." when no line
// holds LOGGED PARAMETERS, "Fields missing" when the header does not name the
// six columns, or "File reading(Generic) error " + number + " : " +
// description for any run-time error. `diagnostic` as for ReadMarkedFile.
std::string ReadGenericFile(const std::string& file_name, Array2<double>& data,
                            ReadDiagnostic* diagnostic = nullptr);

// Trims leading and trailing spaces from `line` (writing the trimmed text
// back), then cuts it at every occurrence of `separator`: fields 1 To k, two
// adjacent separators give an empty field, no separator gives the whole line.
// At most 255 fields (and a separator of at most 255 characters); beyond that
// raises 6.
Array1<std::string> Split(const std::string& separator, std::string& line);

// True when the text converts to a number (locale-aware); any conversion
// error is swallowed.
bool IsNumber(const std::string& text);

// True when exactly six of the header fields 1 To UBound, trimmed, equal one
// of the six column names. A name given twice counts twice. The field index
// is 8-bit, so more than 254 fields raise 6.
bool FieldsPresent(const Array1<std::string>& header);

}  // namespace tavric::ReadCalData
