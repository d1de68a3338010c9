// ReadDiagnostic: where and why reading a file stopped, for explaining a
// failure to a person.
//
// The readers of data files and calibration files return a short failure
// text that hosts and scripts match on ("No Data identified.", "File
// reading(Generic) error 13 : Type mismatch"); that text never changes. A
// reader given a ReadDiagnostic also fills it with what it knew when it
// stopped: the place in the file, the text found there, the layouts it tried
// and a hint in plain words. Filling it never changes the result.
//
// Example:
//   tavric::DataArray data;
//   tavric::ReadDiagnostic why;
//   if (tavric::ReadCalibrationDataFile("scan.txt", data, nullptr, &why) != "OK")
//     std::cerr << why.file << ", line " << why.line << ": " << why.hint << '\n';
#pragma once

#include <string>
#include <vector>

namespace tavric {

struct ReadDiagnostic {
  // The file read, as given.
  std::string file;
  // The layout whose reader stopped at the place below: "marked", "generic"
  // or "calibration"; empty when no reader got as far as the file's text.
  std::string layout;
  // Each layout tried, in order, with its reader's own result text, e.g.
  // "marked: File reading(1) error 13 : Type mismatch".
  std::vector<std::string> tried;
  // Where reading stopped, 1-based (the column counts bytes); 0 when the
  // reader did not stop at a place in the text (a file that cannot be opened).
  int line = 0;
  int column = 0;
  // The text found there (a field or a line, at most 60 characters, bytes
  // that are not printable ASCII written as \xHH); empty at the end of the file.
  std::string found;
  bool at_end_of_file = false;
  // Samples read, whole or before the stop; -1 when not counted.
  int samples = -1;
  // What usually causes such a failure, in one sentence; empty when nothing
  // more can be said.
  std::string hint;

  // True when anything beyond the file name is known.
  bool empty() const { return layout.empty() && tried.empty() && hint.empty() && line == 0; }
};

}  // namespace tavric
