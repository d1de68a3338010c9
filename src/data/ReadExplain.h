// ReadExplain: fills a ReadDiagnostic (tavric/ReadDiagnostic.h) when a reader
// of data files stops, so that a failure can say where and why. Nothing here
// changes a reader's result, and none of it throws: a diagnostic that cannot
// be made is left as it was.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "runtime/Narrow.h"
#include "runtime/TextFile.h"
#include "tavric/ReadDiagnostic.h"

namespace tavric::ReadCalData {

// How a reader stopped: its layout and result text, the run-time error's
// number, the file (open or not), the text it was reading or converting (a
// view into the file, or empty), the samples read before, and whether the
// reader had found the start of its layout (a marked reader that stops before
// any DATA START record explains nothing).
struct ReaderStop {
  const char* layout;
  const std::string& text;
  int error;
  const TextFile& file;
  std::string_view at;
  Int32 samples;
  bool started;
};

void ExplainStop(ReadDiagnostic& diagnostic, const ReaderStop& stop);

// The generic layout's header line `header` does not name the six columns.
void ExplainMissingFields(ReadDiagnostic& diagnostic, const TextFile& file,
                          std::string_view header);

// The calibration-file reader stopped with run-time error `error` (0 when
// not known), at `place` when the file was open.
void ExplainLoadStop(ReadDiagnostic& diagnostic, const std::string& path, int error,
                     const std::optional<TextFile::Place>& place);

// What a file that is not what its reader expected seems to be (empty,
// UTF-16, binary, starting with a byte-order mark, a calibration file, JSON),
// as a hint; empty when it seems to be none of these.
std::string WhatTheFileSeemsToBe(const std::string& path);

// `text` cut to 60 characters, with bytes that are not printable ASCII
// written as \xHH.
std::string Printable(std::string_view text);

}  // namespace tavric::ReadCalData
