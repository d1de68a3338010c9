#include "LoadCalibration.h"

#include <iostream>

#include "tavric/DecimalSeparator.h"

namespace tavric::cli {

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
    Fail(e.text(), json, command, input, nullptr, settings, e.diagnostic());
    return std::nullopt;
  }
}

}  // namespace tavric::cli
