#include "LoadCalibration.h"

#include <iostream>

#include "tavric/DataFile.h"
#include "tavric/DecimalSeparator.h"

namespace tavric::cli {

std::optional<Calibration> LoadOrExplain(const std::string& path, bool json, const char* command,
                                         const Json& input) {
  // A calibration file holds periods whatever the locale: --decimal-comma is
  // for data files, so the file is read with the process locale's period.
  struct PeriodWhileLoading {
    DecimalSeparatorSource saved = SetDecimalSeparatorSource(nullptr);
    ~PeriodWhileLoading() { SetDecimalSeparatorSource(saved); }
  } period;
  try {
    return load(path);
  } catch (const Error& e) {
    if (json) PrintJson(FailureJson(command, input, nullptr, e.text()));
    std::cerr << e.text() << '\n';
    if (e.code() == ErrorCode::kNotACalibration) {
      DataArray data;
      std::string layout;
      if (ReadCalibrationDataFile(path, data, &layout) == "OK")
        std::cerr << "hint: " << path << " is a calibration data file (" << layout
                  << " layout); calibrate it first with: tavric calibrate " << path << '\n';
    }
    return std::nullopt;
  }
}

}  // namespace tavric::cli
