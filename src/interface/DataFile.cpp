#include "tavric/DataFile.h"

#include <utility>

#include "data/ReadCalData.h"
#include "data/ReadExplain.h"
#include "runtime/CheckedMath.h"
#include "runtime/ErrorTrap.h"

namespace tavric {
namespace {

constexpr const char* kNoData = "No Data identified.";

// The diagnostic of a read: the place where the reader that got furthest
// stopped. The marked reader's own failure is only discarded from the
// result; when the generic reader found nothing, it is the explanation.
ReadDiagnostic Explain(const std::string& path, const std::string& marked_text,
                       const ReadDiagnostic& marked, const std::string* generic_text,
                       const ReadDiagnostic& generic) {
  const bool marked_stopped =
      !marked.layout.empty() && marked_text != "OK" && marked_text != kNoData;
  ReadDiagnostic d =
      generic_text == nullptr || (*generic_text == kNoData && marked_stopped) ? marked : generic;
  d.file = path;
  d.tried = {"marked: " + marked_text};
  if (generic_text != nullptr) d.tried.push_back("generic: " + *generic_text);
  if (generic_text != nullptr && *generic_text == kNoData && !marked_stopped) {
    d.layout.clear();
    d.hint = ReadCalData::WhatTheFileSeemsToBe(path);
    if (d.hint.empty())
      d.hint =
          "neither layout's start was found: a marked file has a DATA START record, a "
          "generic file a line holding LOGGED PARAMETERS";
  }
  return d;
}

}  // namespace

std::string ReadCalibrationDataFile(const std::string& path, DataArray& data, std::string* layout,
                                    ReadDiagnostic* diagnostic) {
  fp::Boundary boundary;
  if (layout) layout->clear();
  try {
    // One array for both readers, as in OptimiseFromFile: the readers only
    // ever grow it.
    DataArray read_data;
    ReadDiagnostic marked;
    ReadDiagnostic generic;
    const std::string marked_read =
        ReadCalData::ReadMarkedFile(path, read_data, diagnostic ? &marked : nullptr);
    std::string read = marked_read;
    std::string found = "marked";
    if (read != "OK") {
      read = ReadCalData::ReadGenericFile(path, read_data, diagnostic ? &generic : nullptr);
      found = "generic";
    }
    if (diagnostic) {
      *diagnostic =
          Explain(path, marked_read, marked, found == "generic" ? &read : nullptr, generic);
      if (read == "OK") {
        diagnostic->layout = found;
        diagnostic->tried.clear();
      }
    }
    if (read != "OK") return read;
    data = std::move(read_data);
    if (layout) *layout = found;
    return read;
  } catch (...) {
    return TrapText("Error ", CurrentErrorInfo(), " : ");
  }
}

}  // namespace tavric
