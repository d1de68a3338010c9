#include "LoadCalibration.h"

#include <fstream>
#include <iostream>

#include "tavric/DataFile.h"
#include "tavric/DecimalSeparator.h"

namespace tavric::cli {
namespace {

// What a file that holds no calibration seems to be, from its first bytes:
// empty, blank, binary or JSON; an empty text for any other text.
std::string WhatTheFileSeemsToBe(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::string start(512, '\0');
  in.read(start.data(), static_cast<std::streamsize>(start.size()));
  start.resize(static_cast<std::size_t>(in.gcount()));
  const auto first = start.find_first_not_of(" \t\r\n");
  if (first == std::string::npos) return start.empty() ? "is empty" : "holds only blank lines";
  if (start.find('\0') != std::string::npos) return "is a binary file, not text";
  if (start[first] == '{' || start[first] == '[')
    return "looks like JSON (a truth file of tavric simulate?), not a calibration";
  return {};
}

void PrintHint(const std::string& path, const std::string& seems) {
  std::cerr << "hint: " << path << " " << seems
            << "; a calibration file is written by tavric calibrate\n";
}

}  // namespace

std::optional<Calibration> LoadOrExplain(const std::string& path, bool json, const char* command,
                                         const Json& input, const Json& settings) {
  // A calibration file holds periods whatever the locale: --decimal-comma is
  // for data files, so the file is read with the process locale's period.
  struct PeriodWhileLoading {
    DecimalSeparatorSource saved = SetDecimalSeparatorSource(nullptr);
    ~PeriodWhileLoading() { SetDecimalSeparatorSource(saved); }
  } period;
  try {
    return load(path);
  } catch (const Error& e) {
    if (json) PrintJson(FailureJson(command, input, nullptr, settings, e.text()));
    std::cerr << e.text() << '\n';
    const std::string seems = WhatTheFileSeemsToBe(path);
    if (e.code() == ErrorCode::kLoadFailed && !seems.empty()) PrintHint(path, seems);
    if (e.code() == ErrorCode::kNotACalibration) {
      DataArray data;
      std::string layout;
      if (ReadCalibrationDataFile(path, data, &layout) == "OK") {
        std::cerr << "hint: " << path << " is a calibration data file (" << layout
                  << " layout); calibrate it first with: tavric calibrate " << path << '\n';
      } else {
        PrintHint(path, seems.empty()
                            ? "is a text file in neither the calibration layout nor a data layout"
                            : seems);
      }
    }
    return std::nullopt;
  }
}

}  // namespace tavric::cli
